// SPDX-License-Identifier: Apache-2.0
#include "core/base/testing/fdostream.hpp"

#include <gtest/gtest.h>

#include <string_view>

#include <fcntl.h>
#include <unistd.h>

using Ostrel::fdostream;

TEST(Fdostream, HandsOnAtOnceWhatTheSystemTakes) {
  constexpr std::streamsize HUGE_SIZE = std::streamsize{5} << 30, MOST = 1 << 30;
  constexpr int END = std::char_traits<char>::eof();
  int ends[2], broken[2];
  ASSERT_EQ(pipe(ends) + pipe(broken) + close(broken[0]), 0);
  int const nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  struct {
    char const *name;
    int descriptor, character;
    std::streamsize written, written_of_huge;
  } const cases[] = {{"none", -1, '\xFF' & 0xFF, -1, -1},
                     {"broken", broken[1], END, -1, -1},
                     {"closed", 12345, END, -1, -1},
                     {"nowhere", nowhere, '\xFF' & 0xFF, 2, MOST}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.name);
    fdostream stream(c.descriptor);
    EXPECT_EQ(stream.rdbuf()->descriptor(), c.descriptor);
    EXPECT_EQ(stream.rdbuf()->sputc('\xFF'), c.character);
    EXPECT_EQ(stream.rdbuf()->sputn("yz", 2), c.written);
    EXPECT_EQ(stream.rdbuf()->sputn("x", HUGE_SIZE), c.written_of_huge);
    EXPECT_EQ(stream.rdbuf()->sputn(nullptr, 1), -1);
    EXPECT_EQ(static_cast<bool>(stream << "text"), c.written == 2);
    stream.clear();
    stream.rdbuf()->set_descriptor(ends[1]);
    stream << 'c' << std::string_view() << "text" << 12 << std::string("\0\xFF", 2) << std::endl;
    char text[20] = "";
    EXPECT_EQ(std::string(text, std::size_t(read(ends[0], text, sizeof text))),
              std::string("ctext12\0\xFF\n", 10));
  }
  EXPECT_EQ(close(ends[0]) + close(ends[1]) + close(broken[1]) + close(nowhere), 0);
}
