// SPDX-License-Identifier: Apache-2.0
#include "core/base/testing/fdostream.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <string>
#include <string_view>
#include <thread>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

using Ostrel::fdostream;

namespace {

constexpr int ROOM = 4096; // capacity of a pipe

struct Pipe {
  Pipe() { is_made = pipe(ends) == 0 && fcntl(ends[1], F_SETPIPE_SZ, ROOM) == ROOM; }
  Pipe(Pipe const &) = delete;
  Pipe &operator=(Pipe const &) = delete;
  ~Pipe() {
    close(ends[0]);
    close(ends[1]);
  }

  bool is_made;
  int ends[2];
};

struct Unbuffered : Ostrel::fdoutbuf {
  using Ostrel::fdoutbuf::fdoutbuf, Ostrel::fdoutbuf::overflow;
};

} // namespace

TEST(Fdostream, WritesWithoutBuffering) {
  constexpr int END = std::char_traits<char>::eof();
  Pipe const whole, full, broken;
  ASSERT_TRUE(whole.is_made && full.is_made && broken.is_made);
  ASSERT_EQ(fcntl(full.ends[1], F_SETFL, O_NONBLOCK) + close(broken.ends[0]), 0);
  struct {
    char const *name;
    int descriptor;
    std::streamsize written, written_then;
    int character;
  } const cases[] = {{"none", -1, -1, -1, '\xFF' & 0xFF},
                     {"broken", broken.ends[1], -1, -1, END},
                     {"closed", 12345, -1, -1, END},
                     {"full", full.ends[1], ROOM, -1, END}};
  std::string const text(ROOM + 1, 'x');
  for (auto const &c : cases) {
    SCOPED_TRACE(c.name);
    fdostream stream(c.descriptor);
    EXPECT_EQ(stream.rdbuf()->descriptor(), c.descriptor);
    EXPECT_EQ(stream.rdbuf()->sputn(text.data(), ROOM + 1), c.written);
    EXPECT_EQ(stream.rdbuf()->sputn("y", 1), c.written_then);
    EXPECT_EQ(stream.rdbuf()->sputc('\xFF'), c.character);
    EXPECT_EQ(stream.rdbuf()->sputn(nullptr, 1), -1);
    EXPECT_FALSE(stream << "text");
    stream.clear();
    stream.rdbuf()->set_descriptor(whole.ends[1]);
    EXPECT_EQ(Unbuffered(whole.ends[1]).overflow(END), END) << "without writing it";
    stream << 'c' << std::string_view() << "text" << 12 << std::string("\0\xFF", 2) << std::endl;
    char read_back[20] = "";
    auto const size = read(whole.ends[0], read_back, sizeof read_back);
    EXPECT_EQ(std::string(read_back, std::size_t(size)), std::string("ctext12\0\xFF\n", 10));
  }
}

TEST(Fdostream, SignalsLoseNoOutput) {
  Pipe const slow;
  ASSERT_TRUE(slow.is_made);
  struct sigaction interrupting = {}, before = {};
  interrupting.sa_handler = [](int) {};
  sigaction(SIGUSR1, &interrupting, &before);
  constexpr std::streamsize SIZE = std::streamsize{10} * ROOM;
  std::string const text(SIZE, 'x');
  std::atomic<std::streamsize> written{0};
  std::thread writer([&] { written = fdostream(slow.ends[1]).rdbuf()->sputn(text.data(), SIZE); });
  char buffer[ROOM / 8];
  for (std::streamsize got = 0, now = 1; got < SIZE && now > 0; got += now) {
    pthread_kill(writer.native_handle(), SIGUSR1);
    now = read(slow.ends[0], buffer, sizeof buffer);
  }
  writer.join();
  EXPECT_EQ(written, SIZE);
  sigaction(SIGUSR1, &before, nullptr);
}
