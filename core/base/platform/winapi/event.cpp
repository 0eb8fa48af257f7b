// SPDX-License-Identifier: Apache-2.0
// CreateEventA and set_event_before: an auto-reset event, on one word. Setting it needs a call of
// the system only if a thread may be sleeping. A sleeper that resets the event cannot know whether
// others sleep, and so leaves the word as if they did.
#include "core/base/platform/posix/cancellation.hpp"
#include "core/base/platform/posix/futex.hpp"
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/handle.hpp"
#include "core/base/platform/winapi/mutex.hpp"
#include "core/base/platform/winapi/system.hpp"

#include <new>

namespace Ostrel {

namespace {

class Event final : public Handle {
public:
  explicit Event(bool is_set) noexcept : word_(is_set ? SET : CLEAR) {}

  DWORD wait(DWORD milliseconds) noexcept override;
  void set(HANDLE mutex) noexcept;

private:
  enum Word : std::uint32_t { CLEAR, SET, SLEPT_ON };

  bool take(Word left) noexcept {
    std::uint32_t word = SET;
    return word_.compare_exchange_strong(word, left, std::memory_order_acquire,
                                         std::memory_order_relaxed);
  }

  std::atomic<std::uint32_t> word_;
};

DWORD Event::wait(DWORD milliseconds) noexcept {
  if (take(CLEAR)) {
    return WAIT_OBJECT_0;
  }
  Deadline const deadline(milliseconds);
  TerminableWait const here(&word_);
  bool is_in_time = milliseconds != 0;
  while (is_in_time) {
    std::uint32_t word = CLEAR;
    if (word_.compare_exchange_strong(word, SLEPT_ON, std::memory_order_relaxed) ||
        word == SLEPT_ON) {
      is_in_time = sleep_on(word_, SLEPT_ON, deadline);
    }
    if (take(SLEPT_ON)) {
      return WAIT_OBJECT_0;
    }
  }
  return WAIT_TIMEOUT;
}

// Does not touch the object after the exchange: the thread whose wait ends may close it.
void Event::set(HANDLE mutex) noexcept {
  std::atomic<std::uint32_t> *const word = &word_;
  if (word->exchange(SET, std::memory_order_release) == SLEPT_ON && !wake_at_release(mutex, word)) {
    wake_one(word);
  }
}

} // namespace

bool set_event_before(void *event, void *mutex) noexcept {
  static_cast<Event *>(Handle::of(event))->set(mutex);
  return true;
}

} // namespace Ostrel

HANDLE CreateEventA(SECURITY_ATTRIBUTES *security, BOOL manual_reset, BOOL initial_state,
                    char const *name) {
  if (security != nullptr || manual_reset != FALSE || name != nullptr) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return nullptr;
  }
  auto *const event = new (std::nothrow) Ostrel::Event(initial_state != FALSE);
  if (event == nullptr) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  return event->handle();
}
