// SPDX-License-Identifier: Apache-2.0
// GetEnvironmentVariableA, _putenv and SetEnvironmentVariableA, on the C library's own array of
// entries ("NAME=value"), which its `getenv` walks in other threads without a lock. So no entry and
// no array that was ever in place is freed, and every change is made by single stores of pointers.
//
// A new value replaces the entry in its slot. A new variable goes in front of the first one. If a
// variable is removed, the first entry moves into its slot, and the environment then begins one
// slot later. Entries thus move in one direction only, the one in which a walk goes: a walk that is
// under way passes each of them at its old place or at its new one.
//
// A program that runs with more rights than its user (set-user-ID) must not load settings and
// libraries from places that the user names. So there the variables of the library and PATH are
// removed at load.
#include "core/base/platform/process/NeverDestroyed.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"
#include "core/base/platform/winapi/error.hpp"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <list>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <sys/auxv.h>
#include <unistd.h>

namespace {

using Ostrel::fail;
using Ostrel::ProcessMutex;

constexpr std::size_t FIRST_SPARE = 32; // free slots, beside as many as there are entries

// The entries and arrays that have ever been in place: another thread may still read them.
struct Kept {
  std::list<std::string> entries; // one for each distinct value that was set
  // The entries end at the end of an array; the slots in front of them are free.
  std::list<std::vector<char *>> arrays;
  char **begin = nullptr; // what `environ` is, unless other code has changed it since
};

Kept &kept() noexcept OSTBASE_REQUIRES(ProcessMutex::of(ProcessMutex::ENVIRONMENT)) {
  static Ostrel::NeverDestroyed<Kept> instance;
  return *instance;
}

bool is_of(char const *entry, std::string_view name) noexcept {
  return std::strncmp(entry, name.data(), name.size()) == 0 && entry[name.size()] == '=';
}

// Returns the kept entry of that variable and value. Needs memory only for a new one.
char *keep(std::string_view name, char const *value)
    OSTBASE_REQUIRES(ProcessMutex::of(ProcessMutex::ENVIRONMENT)) {
  for (std::string &entry : kept().entries) {
    if (is_of(entry.c_str(), name) &&
        entry.compare(name.size() + 1, std::string::npos, value) == 0) {
      return entry.data();
    }
  }
  return kept().entries.emplace_back(std::string(name) + '=' + value).data();
}

// --- The array --------------------------------------------------------------------------------

void put(char **slot, char *entry) noexcept {
  __atomic_store_n(slot, entry, __ATOMIC_RELEASE);
}

std::size_t count_slots() noexcept {
  std::size_t count = 0;
  while (environ != nullptr && environ[count] != nullptr) {
    ++count;
  }
  return count;
}

struct Place {
  char **slot;
  char const *entry; // null: the variable is not set
};

// The first entry of that variable. Needs no lock, like `getenv`; without one, the slot may have
// another entry afterwards.
Place find(std::string_view name) noexcept {
  char **slot = __atomic_load_n(&environ, __ATOMIC_ACQUIRE);
  char const *entry = slot == nullptr ? nullptr : __atomic_load_n(slot, __ATOMIC_ACQUIRE);
  while (entry != nullptr && !is_of(entry, name)) {
    entry = __atomic_load_n(++slot, __ATOMIC_ACQUIRE);
  }
  return {slot, entry};
}

void begin_at(char **slot) noexcept OSTBASE_REQUIRES(ProcessMutex::of(ProcessMutex::ENVIRONMENT)) {
  kept().begin = slot;
  __atomic_store_n(&environ, slot, __ATOMIC_RELEASE);
}

bool is_ours() noexcept OSTBASE_REQUIRES(ProcessMutex::of(ProcessMutex::ENVIRONMENT)) {
  return kept().begin != nullptr && environ == kept().begin;
}

// Replaces the array, which is full or was set by other code, by one with free slots.
void grow() OSTBASE_REQUIRES(ProcessMutex::of(ProcessMutex::ENVIRONMENT)) {
  std::size_t const count = count_slots(), spare = count + FIRST_SPARE;
  std::vector<char *> &slots = kept().arrays.emplace_back(spare + count + 1);
  std::copy(environ, environ + count, slots.data() + spare);
  begin_at(slots.data() + spare);
}

void add(char *entry) OSTBASE_REQUIRES(ProcessMutex::of(ProcessMutex::ENVIRONMENT)) {
  if (!is_ours() || environ == kept().arrays.back().data()) {
    grow();
  }
  put(environ - 1, entry);
  begin_at(environ - 1);
}

// Removes every entry of that variable.
void remove_entries(std::string_view name)
    OSTBASE_REQUIRES(ProcessMutex::of(ProcessMutex::ENVIRONMENT)) {
  if (find(name).entry != nullptr && !is_ours()) {
    grow();
  }
  for (Place place = find(name); place.entry != nullptr; place = find(name)) {
    put(place.slot, *environ);
    begin_at(environ + 1);
  }
}

// --- What is not trusted ----------------------------------------------------------------------

bool is_untrusted(char const *entry) noexcept {
  constexpr char const *BEGINNINGS[] = {"OSTREL_", "OVRA_", "PATH=", "srcdir="};
  return std::any_of(std::begin(BEGINNINGS), std::end(BEGINNINGS), [entry](char const *beginning) {
    return std::strncmp(entry, beginning, std::strlen(beginning)) == 0;
  });
}

// Runs once: at load, or before that if the constructor of another source reads a variable.
bool remove_untrusted() noexcept {
  static bool const is_done = [] {
    if (getauxval(AT_SECURE) != 0 && environ != nullptr) {
      *std::remove_if(environ, environ + count_slots(), is_untrusted) = nullptr;
    }
    return true;
  }();
  return is_done;
}

[[maybe_unused]] bool const removed_at_load = remove_untrusted();

// --- Operations -------------------------------------------------------------------------------

// Null removes the variable. False, with the environment unchanged, without memory.
bool change(std::string_view name, char const *value) noexcept try {
  Ostrel::ProcessLock const lock(ProcessMutex::ENVIRONMENT);
  if (value == nullptr) {
    remove_entries(name);
    return true;
  }
  char *const entry = keep(name, value);
  if (Place const place = find(name); place.entry != nullptr) {
    put(place.slot, entry);
  } else {
    add(entry);
  }
  return true;
} catch (std::bad_alloc const &) {
  return false;
}

} // namespace

DWORD GetEnvironmentVariableA(char const *name, char *buffer, DWORD size) {
  remove_untrusted();
  char const *const entry = name == nullptr ? nullptr : find(name).entry;
  if (entry == nullptr) {
    SetLastError(ERROR_ENVVAR_NOT_FOUND);
    return 0;
  }
  char const *const value = entry + std::strlen(name) + 1;
  auto const length = static_cast<DWORD>(std::strlen(value));
  if (length >= size) {
    return length + 1;
  }
  std::memcpy(buffer, value, std::size_t{length} + 1);
  return length;
}

int _putenv(char const *text) {
  char const *const equals = text == nullptr ? nullptr : std::strchr(text, '=');
  if (equals == nullptr || equals == text) {
    errno = EINVAL;
    return -1;
  }
  std::string_view const name(text, static_cast<std::size_t>(equals - text));
  if (!change(name, equals[1] == '\0' ? nullptr : equals + 1)) {
    errno = ENOMEM;
    return -1;
  }
  return 0;
}

BOOL SetEnvironmentVariableA(char const *name, char const *value) {
  if (name == nullptr || name[0] == '\0' || std::strchr(name, '=') != nullptr) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  return change(name, value) ? TRUE : fail(ERROR_NOT_ENOUGH_MEMORY);
}
