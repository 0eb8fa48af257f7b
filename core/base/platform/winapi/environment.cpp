// SPDX-License-Identifier: Apache-2.0
// GetEnvironmentVariableA, _putenv and SetEnvironmentVariableA, on the C library's own array of
// entries ("NAME=value"), which its `getenv` walks in other threads without a lock. So no entry and
// no array that was ever in place is freed or written again, and a change is one store of a
// pointer.
//
// A removed entry must not be closed up: a walk would miss an entry that moves down past it. Its
// slot gets a text without an equals sign instead, which is nobody's: `getenv`, `setenv` and
// `unsetenv` pass it by, and so do the programs that inherit it (shells drop it). The next variable
// that is new goes there, so that there are never more of them than there once were variables.
//
// A program that runs with more rights than who started it (set-user-ID) would lend them to whoever
// may say where its settings and libraries are. So there the variables of the library and PATH do
// not count as this layer sees it, unless they were set since. Others find them as they are.
#include "core/base/platform/winapi/descriptor.hpp"
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/fork.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <string>

#include <fcntl.h>
#include <sys/auxv.h>
#include <unistd.h>

namespace {

using Ostrel::Descriptor;
using Ostrel::fail;
using Ostrel::retry;

constexpr std::size_t BUCKETS = 256;    // of the table of entries
constexpr std::size_t FIRST_SPARE = 32; // slots, in the first array
constexpr char const *REMOVED = "(removed)";

Ostrel::ForkMutex environment_guard;

// --- What is not trusted ----------------------------------------------------------------------

// What the entries begin with.
constexpr char const *OF_LIBRARY[] = {"OSTREL_", "OVRA_", "PATH=", "srcdir="};

bool is_of_library(char const *entry) noexcept {
  return std::any_of(std::begin(OF_LIBRARY), std::end(OF_LIBRARY), [entry](char const *begin) {
    return std::strncmp(entry, begin, std::strlen(begin)) == 0;
  });
}

// Gives the entries that the program was started with, each with its terminator. False when the
// system does not tell: a program with more rights than who started it may read that as root alone.
bool read_first_entries(std::string *entries) {
  constexpr std::size_t BLOCK_SIZE = 4096; // bytes, read at once
  Descriptor const file = Descriptor::open("/proc/self/environ", O_RDONLY);
  ssize_t count = file.is_open() ? 1 : -1;
  while (count > 0) {
    char block[BLOCK_SIZE];
    count = retry([&file, &block] { return read(file.get(), block, sizeof block); });
    entries->append(block, count > 0 ? static_cast<std::size_t>(count) : 0);
  }
  return count == 0;
}

// The same of the entries that there are.
void copy_entries(std::string *entries) {
  entries->clear();
  for (char **entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    entries->append(*entry).push_back('\0');
  }
}

// What the program was started with. By its text, since a program may move its environment.
class Untrusted {
public:
  // Never destroyed: only memory.
  static Untrusted const &entries() noexcept {
    alignas(Untrusted) static std::byte storage[sizeof(Untrusted)];
    static Untrusted const *const instance = new (storage) Untrusted;
    return *instance;
  }

  bool hold(char const *entry) const noexcept {
    return is_privileged_ && is_of_library(entry) && (!is_known_ || is_first_entry(entry));
  }

private:
  Untrusted() noexcept
      : is_privileged_(getauxval(AT_SECURE) != 0), is_known_(is_privileged_ && read()) {}

  // False without memory.
  bool read() noexcept try {
    if (!read_first_entries(&first_entries_)) {
      copy_entries(&first_entries_);
    }
    return true;
  } catch (std::bad_alloc const &) {
    return false;
  }

  bool is_first_entry(char const *entry) const noexcept {
    char const *const end = first_entries_.data() + first_entries_.size();
    for (char const *first = first_entries_.data(); first < end; first += std::strlen(first) + 1) {
      if (std::strcmp(first, entry) == 0) {
        return true;
      }
    }
    return false;
  }

  std::string first_entries_;
  bool const is_privileged_;
  bool const is_known_; // otherwise no entry of the library is trusted
};

// From the load on: what the program sets after that is its own.
[[maybe_unused]] Untrusted const &read_at_load = Untrusted::entries();

// --- Entries ----------------------------------------------------------------------------------

// An entry is made once and found again each time the variable has that value: what is kept is
// bounded by the distinct values.
struct Entry {
  Entry *next;

  char *text() noexcept { return reinterpret_cast<char *>(this + 1); }
};

Entry *entries[BUCKETS]; // guarded by environment_guard, never destroyed

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

// Gives the entry of that variable and value; null without memory for one that is new.
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

// The array that was put in place last, with those before it: somebody may still be walking them.
struct Array {
  Array *previous;
  std::size_t capacity; // slots, without the last one, which stays null

  char **slots() noexcept { return reinterpret_cast<char **>(this + 1); }
};

Array *current = nullptr; // guarded by environment_guard, never destroyed

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

// Gives every slot of that variable the entry. False when there is none. From the last to the
// first: nobody sees what a later one of several had.
bool replace(Name name, std::size_t count, char *entry) noexcept {
  bool is_found = false;
  for (std::size_t i = count; i > 0; --i) {
    if (name.is_of(environ[i - 1])) {
      put(&environ[i - 1], entry);
      is_found = true;
    }
  }
  return is_found;
}

// The first slot of a variable that was removed, be it by the program that started this one; null
// when there is none.
char **find_removed() noexcept {
  for (char **slot = environ; slot != nullptr && *slot != nullptr; ++slot) {
    if (std::strcmp(*slot, REMOVED) == 0) {
      return slot;
    }
  }
  return nullptr;
}

// Puts an array with room in place of the one that is full, or that somebody else has put there.
bool grow(std::size_t count) noexcept {
  std::size_t const capacity = count * 2 + FIRST_SPARE;
  auto *const array =
      static_cast<Array *>(std::calloc(1, sizeof(Array) + (capacity + 1) * sizeof(char *)));
  if (array == nullptr) {
    return false;
  }
  array->previous = current;
  array->capacity = capacity;
  std::copy(environ, environ + count, array->slots());
  current = array;
  __atomic_store_n(&environ, array->slots(), __ATOMIC_RELEASE);
  return true;
}

bool add(std::size_t count, char *entry) noexcept {
  if (char **const slot = find_removed(); slot != nullptr) {
    put(slot, entry);
    return true;
  }
  bool const is_ours = current != nullptr && environ == current->slots();
  if ((!is_ours || count == current->capacity) && !grow(count)) {
    return false;
  }
  put(&environ[count], entry);
  return true;
}

// Gives the first entry of that variable that `counts`; null when there is none. Without the lock,
// as `getenv` does.
template <typename Counts> char *find_entry(Name name, Counts counts) noexcept {
  char **slot = __atomic_load_n(&environ, __ATOMIC_ACQUIRE);
  for (; slot != nullptr; ++slot) {
    char *const entry = __atomic_load_n(slot, __ATOMIC_ACQUIRE);
    if (entry == nullptr) {
      break;
    }
    if (name.is_of(entry) && counts(entry)) {
      return entry;
    }
  }
  return nullptr;
}

char const *find_value(Name name) noexcept {
  char const *const entry =
      find_entry(name, [](char const *found) { return !Untrusted::entries().hold(found); });
  return entry != nullptr ? entry + name.length + 1 : nullptr;
}

// False without memory. Needs environment_guard held.
bool set_entry(Name name, char *entry) noexcept {
  std::size_t const count = count_slots();
  return replace(name, count, entry) || add(count, entry);
}

// The same.
bool set_value(Name name, char const *value) noexcept {
  char *const entry = intern(name, value);
  return entry != nullptr && set_entry(name, entry);
}

bool set(Name name, char const *value) noexcept {
  Ostrel::ForkLock const lock(environment_guard);
  return set_value(name, value);
}

// Gives what takes the place of a variable that is removed; null without memory. In memory of its
// own, since the environment outlives the library. Needs environment_guard held, but at load.
char *removed_entry() noexcept {
  static char *entry = nullptr;
  if (entry == nullptr) {
    entry = strdup(REMOVED);
  }
  return entry;
}

// From the load on, so that a removal needs no memory.
[[maybe_unused]] char const *const made_at_load = removed_entry();

// False without memory.
bool remove(Name name) noexcept {
  Ostrel::ForkLock const lock(environment_guard);
  char *const entry = removed_entry();
  if (entry != nullptr) {
    replace(name, count_slots(), entry);
  }
  return entry != nullptr;
}

} // namespace

DWORD GetEnvironmentVariableA(char const *name, char *buffer, DWORD size) {
  char const *const value = name == nullptr ? nullptr : find_value({name, std::strlen(name)});
  if (value == nullptr) {
    SetLastError(ERROR_ENVVAR_NOT_FOUND);
    return 0;
  }
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
  bool const is_done = equals[1] == '\0' ? remove(name) : set(name, equals + 1);
  if (!is_done) {
    errno = ENOMEM;
    return -1;
  }
  return 0;
}

BOOL SetEnvironmentVariableA(char const *name, char const *value) {
  if (name == nullptr || name[0] == '\0' || std::strchr(name, '=') != nullptr) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  Name const variable = {name, std::strlen(name)};
  bool const is_done = value == nullptr ? remove(variable) : set(variable, value);
  return is_done ? TRUE : fail(ERROR_NOT_ENOUGH_MEMORY);
}

namespace Ostrel {

bool exchange_variable(char const *name, char const *value, char **before) noexcept {
  Name const variable = {name, std::strlen(name)};
  ForkLock const lock(environment_guard);
  char *const entry = find_entry(variable, [](char const *) { return true; });
  if (!set_value(variable, value)) {
    return false;
  }
  *before = entry;
  return true;
}

bool put_back_variable(char const *name, char *before) noexcept {
  Name const variable = {name, std::strlen(name)};
  if (before == nullptr) {
    return remove(variable);
  }
  ForkLock const lock(environment_guard);
  return set_entry(variable, before);
}

} // namespace Ostrel
