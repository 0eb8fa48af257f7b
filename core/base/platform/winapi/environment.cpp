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
// libraries from where the user says. So there the variables of the library and PATH are
// removed at load.
#include "core/base/platform/process/ProcessLock.hpp"
#include "core/base/platform/winapi/error.hpp"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>

#include <sys/auxv.h>
#include <unistd.h>

namespace {

using Ostrel::fail;

constexpr std::size_t BUCKETS = 256;    // of the table of entries
constexpr std::size_t FIRST_SPARE = 32; // free slots, beside as many as there are entries

// --- Entries ----------------------------------------------------------------------------------

// An entry is made once and found again each time the variable has that value: what is kept is
// bounded by the distinct values.
struct Entry {
  Entry *next;

  char *text() noexcept { return reinterpret_cast<char *>(this + 1); }
};

Entry *entries[BUCKETS]; // guarded by ProcessMutex::ENVIRONMENT, never destroyed

struct Free {
  void operator()(void *memory) const noexcept { std::free(memory); }
};

struct Name {
  char const *text;
  std::size_t length;

  // Whether the entry is one of that variable.
  bool is_of(char const *entry) const noexcept {
    return std::strncmp(entry, text, length) == 0 && entry[length] == '=';
  }
};

std::size_t bucket_of(Name name, char const *value) noexcept {
  constexpr std::size_t MULTIPLIER = 31;
  std::size_t hash = 0;
  for (std::size_t i = 0; i < name.length; ++i) {
    hash = hash * MULTIPLIER + static_cast<unsigned char>(name.text[i]);
  }
  for (; *value != '\0'; ++value) {
    hash = hash * MULTIPLIER + static_cast<unsigned char>(*value);
  }
  return hash % BUCKETS;
}

// The entry of that variable and value; null without memory for a new one.
char *intern(Name name, char const *value) noexcept {
  Entry *&first = entries[bucket_of(name, value)];
  for (Entry *entry = first; entry != nullptr; entry = entry->next) {
    if (name.is_of(entry->text()) && std::strcmp(entry->text() + name.length + 1, value) == 0) {
      return entry->text();
    }
  }
  std::size_t const value_size = std::strlen(value) + 1;
  std::unique_ptr<Entry, Free> made(
      static_cast<Entry *>(std::malloc(sizeof(Entry) + name.length + 1 + value_size)));
  if (made == nullptr) {
    return nullptr;
  }
  char *const text = made->text();
  std::memcpy(text, name.text, name.length);
  text[name.length] = '=';
  std::memcpy(text + name.length + 1, value, value_size);
  made->next = first;
  first = made.release();
  return text;
}

// --- The array --------------------------------------------------------------------------------

// An array that was put in place, with those before it: another thread may still be walking it.
// Its entries end at its end; the slots in front of them are free.
struct Array {
  Array *previous;
  char **begin; // what `environ` is, unless other code has changed it since

  char **slots() noexcept { return reinterpret_cast<char **>(this + 1); }
};

Array *current = nullptr; // guarded by ProcessMutex::ENVIRONMENT, never destroyed

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

// The last slot of that variable; null when there is none.
char **find_last_slot(Name name) noexcept {
  for (std::size_t i = count_slots(); i > 0; --i) {
    if (name.is_of(environ[i - 1])) {
      return &environ[i - 1];
    }
  }
  return nullptr;
}

// Stores the entry in every slot of that variable. False when there is none. From the last to the
// first, so that a reader never sees a stale duplicate.
bool replace(Name name, char *entry) noexcept {
  bool is_found = false;
  for (std::size_t i = count_slots(); i > 0; --i) {
    if (name.is_of(environ[i - 1])) {
      put(&environ[i - 1], entry);
      is_found = true;
    }
  }
  return is_found;
}

void begin_at(char **slot) noexcept {
  current->begin = slot;
  __atomic_store_n(&environ, slot, __ATOMIC_RELEASE);
}

bool is_ours() noexcept {
  return current != nullptr && environ == current->begin;
}

// Puts an array with room in place of the one that is full, or that other code has put there. False
// without memory.
bool grow() noexcept {
  std::size_t const count = count_slots(), spare = count + FIRST_SPARE;
  auto *const array =
      static_cast<Array *>(std::calloc(1, sizeof(Array) + (spare + count + 1) * sizeof(char *)));
  if (array == nullptr) {
    return false;
  }
  array->previous = current;
  char **const begin = array->slots() + spare;
  std::copy(environ, environ + count, begin);
  current = array;
  begin_at(begin);
  return true;
}

// False without memory.
bool add(char *entry) noexcept {
  bool const has_room = is_ours() && environ != current->slots();
  if (!has_room && !grow()) {
    return false;
  }
  put(environ - 1, entry);
  begin_at(environ - 1);
  return true;
}

// Removes every entry of that variable. False without memory.
bool remove_entries(Name name) noexcept {
  char **slot = find_last_slot(name);
  if (slot == nullptr) {
    return true;
  }
  if (!is_ours()) {
    if (!grow()) {
      return false;
    }
    slot = find_last_slot(name);
  }
  for (; slot != nullptr; slot = find_last_slot(name)) {
    put(slot, *environ);
    begin_at(environ + 1);
  }
  return true;
}

// --- What is not trusted ----------------------------------------------------------------------

bool is_untrusted(char const *entry) noexcept {
  constexpr char const *BEGINNINGS[] = {"OSTREL_", "OVRA_", "PATH=", "srcdir="};
  return std::any_of(std::begin(BEGINNINGS), std::end(BEGINNINGS), [entry](char const *beginning) {
    return std::strncmp(entry, beginning, std::strlen(beginning)) == 0;
  });
}

// In the array itself: it needs no memory, which might be missing.
bool remove_untrusted() noexcept {
  if (getauxval(AT_SECURE) != 0 && environ != nullptr) {
    *std::remove_if(environ, environ + count_slots(), is_untrusted) = nullptr;
  }
  return true;
}

// At load, or before that if the constructor of another file reads a variable.
bool remove_untrusted_once() noexcept {
  static bool const is_done = remove_untrusted();
  return is_done;
}

[[maybe_unused]] bool const is_done_at_load = remove_untrusted_once();

// --- Operations -------------------------------------------------------------------------------

// The first entry of that variable; null when there is none. Without the lock, as `getenv`.
char *find_entry(Name name) noexcept {
  char **slot = __atomic_load_n(&environ, __ATOMIC_ACQUIRE);
  char *entry = slot == nullptr ? nullptr : __atomic_load_n(slot, __ATOMIC_ACQUIRE);
  while (entry != nullptr && !name.is_of(entry)) {
    entry = __atomic_load_n(++slot, __ATOMIC_ACQUIRE);
  }
  return entry;
}

// These are false without memory, and need ProcessMutex::ENVIRONMENT held.

bool set_entry(Name name, char *entry) noexcept {
  return replace(name, entry) || add(entry);
}

bool set_value(Name name, char const *value) noexcept {
  char *const entry = intern(name, value);
  return entry != nullptr && set_entry(name, entry);
}

// Null removes the variable. False without memory.
bool change(Name name, char const *value) noexcept {
  remove_untrusted_once();
  Ostrel::ProcessLock const lock(Ostrel::ProcessMutex::ENVIRONMENT);
  return value == nullptr ? remove_entries(name) : set_value(name, value);
}

} // namespace

DWORD GetEnvironmentVariableA(char const *name, char *buffer, DWORD size) {
  remove_untrusted_once();
  std::size_t const name_length = name == nullptr ? 0 : std::strlen(name);
  char const *const entry = name == nullptr ? nullptr : find_entry({name, name_length});
  if (entry == nullptr) {
    SetLastError(ERROR_ENVVAR_NOT_FOUND);
    return 0;
  }
  char const *const value = entry + name_length + 1;
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
  Name const name = {text, static_cast<std::size_t>(equals - text)};
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
  return change({name, std::strlen(name)}, value) ? TRUE : fail(ERROR_NOT_ENOUGH_MEMORY);
}
