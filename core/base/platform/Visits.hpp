// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

namespace Ostrel {

/// Who is inside something of the whole process, which at the end of the library goes only when
/// nobody is. Threads that go on while the process ends then find it whole, or nothing. Internal to
/// the library.
///
/// In static storage, constant at first and never destroyed.
class Visits {
public:
  /// What is visited: one object for each.
  enum Place : int { SETTINGS, FACADES, PLACES };

  constexpr explicit Visits(Place place) noexcept : place_(place) {}
  Visits(Visits const &) = delete;
  Visits &operator=(Visits const &) = delete;

  /// Lets nobody in any more, and waits for about a second until everybody has left; not at all
  /// when the caller is inside, whose log output or layout ends the process.
  /// @return whether nobody is there: else what they are inside must stay.
  bool close() noexcept;

  /// For the child of a fork, which has the visits of the other threads, but not the threads.
  void forget_others() noexcept;

private:
  friend class Visit;

  // A counter on a line of the cache of its own, which threads in a row of calls need not take from
  // each other.
  struct alignas(64) Counter {
    std::atomic<std::uint32_t> count{0};
  };
  static constexpr std::uint32_t COUNTERS = 16;

  // Sequentially consistent: either the end sees the visitor, or the visitor sees the end.
  bool enter() noexcept {
    ++_own[place_];
    inside_[counter()].count.fetch_add(1);
    bool const is_let_in = !is_closed_.load();
    if (!is_let_in) {
      leave();
    }
    return is_let_in;
  }
  void leave() noexcept {
    inside_[counter()].count.fetch_sub(1);
    --_own[place_];
  }
  static std::uint32_t counter() noexcept {
    return _counter != 0 ? _counter - 1 : choose_counter();
  }
  static std::uint32_t choose_counter() noexcept;
  bool is_anybody_inside() const noexcept;

  // The calling thread's: how often it is inside, and one more than the number of its counter.
  static thread_local std::uint32_t _own[PLACES] __attribute__((tls_model("initial-exec")));
  static thread_local std::uint32_t _counter __attribute__((tls_model("initial-exec")));

  Place const place_;
  std::atomic<bool> is_closed_{false};
  Counter inside_[COUNTERS];
};

/// One visit, until the end of a block.
class Visit {
public:
  explicit Visit(Visits &visits) noexcept : visits_(visits), is_inside_(visits.enter()) {}
  Visit(Visit const &) = delete;
  Visit &operator=(Visit const &) = delete;
  ~Visit() {
    if (is_inside_) {
      visits_.leave();
    }
  }

  /// False when nobody is let in any more.
  explicit operator bool() const noexcept { return is_inside_; }

private:
  Visits &visits_;
  bool const is_inside_;
};

} // namespace Ostrel
