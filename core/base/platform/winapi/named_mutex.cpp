// SPDX-License-Identifier: Apache-2.0
// The mutexes with a name, behind CreateMutexA and OpenMutexA: a mutex without a name between the
// threads of a process, and locks on a file between processes.
//
// The files are in a directory of the user's own in shared memory. A file is named by a hash of the
// mutex's name, which may hold any characters. It contains a mark and the name itself. Every
// process that uses the mutex has the file open and holds locks on two of its bytes (F_OFD_SETLK):
// - USERS, shared: the process uses the mutex. A process that gets this lock exclusively knows that
//   no process uses the mutex, and only then initialises or removes the file. A file that has been
//   removed has no name left, so a process that opened it before starts again.
// - OWNER, exclusive: a thread of the process owns the mutex. The owner sets the mark, and clears
//   it before it releases the lock. An owner that finds the mark set therefore follows one that
//   ended without releasing the mutex.
// The locks belong to the open file description: the system releases them when its last descriptor
// is closed, however the process ends. Closing a mutex that is held abandons it.
//
// A child of fork shares the descriptions of its parent. It opens every file again and closes the
// descriptors that it has inherited: the parent keeps what its threads own, and the child owns
// nothing. If that opening fails (no free descriptor, another effective user since), waits for the
// mutex fail in the child. A copy of the process that runs no fork handlers (`_Fork`, `clone`) must
// not use the mutexes, and shares the locks until it ends or executes another program.
#include "core/base/platform/winapi/mutex.hpp"

#include "core/base/platform/posix/cancellation.hpp"
#include "core/base/platform/posix/descriptor.hpp"
#include "core/base/platform/posix/futex.hpp"
#include "core/base/platform/process/AtFork.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/handle.hpp"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Ostrel {

namespace {

constexpr mode_t OWNER_ONLY_DIRECTORY = 0700, OWNER_ONLY = 0600;
constexpr DWORD LONGEST_WAIT_FOR_USE_MS = 1000;  // a process that creates or removes may be stopped
constexpr unsigned int CREATIONS_PER_SWEEP = 64; // which share the cost of the sweep
constexpr char FREE = 0, OWNED = 1;              // the mark
constexpr off_t OWNER = 0, USERS = 1;            // the bytes that are locked

// --- Files and their locks: a failure leaves `errno` -------------------------------------------

// The 64-bit FNV-1a hash, with the public constants of that algorithm. Different names of one
// user's mutexes have different hashes for all practical purposes.
struct FileName {
  explicit FileName(char const *name) noexcept {
    constexpr unsigned long long BASIS = 0xCBF29CE484222325ULL, PRIME = 0x100000001B3ULL;
    unsigned long long hash = BASIS;
    for (; *name != '\0'; ++name) {
      hash = (hash ^ static_cast<unsigned char>(*name)) * PRIME;
    }
    std::snprintf(text, sizeof text, "%016llx", hash);
  }

  char text[17];
};

// Opens the directory of this user's mutexes. Any user may have put something of that name into
// shared memory, so it must be a directory to which only this user has access.
Descriptor open_directory() noexcept {
  char path[64];
  std::snprintf(path, sizeof path, "/dev/shm/ostrel-mutexes-%lu",
                static_cast<unsigned long>(geteuid()));
  if (mkdir(path, OWNER_ONLY_DIRECTORY) == 0) {
    chmod(path, OWNER_ONLY_DIRECTORY); // whatever the process's mask is
  } else if (errno != EEXIST) {
    return Descriptor();
  }
  Descriptor directory = Descriptor::open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  struct stat status = {};
  if (!directory.is_open() || fstat(directory.get(), &status) != 0) {
    return Descriptor();
  }
  if (status.st_uid != geteuid() || status.st_mode != (S_IFDIR | OWNER_ONLY_DIRECTORY)) {
    errno = EACCES;
    return Descriptor();
  }
  return directory;
}

Descriptor open_file(Descriptor const &directory, char const *name, int flags) noexcept {
  return Descriptor::open_at(directory.get(), name, O_RDWR | O_NOFOLLOW | flags, OWNER_ONLY);
}

// Sets the lock of one byte; `command` says whether to wait for it.
bool set_lock(Descriptor const &file, off_t byte, short type, int command = F_OFD_SETLK) noexcept {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_start = byte;
  lock.l_len = 1;
  TerminableWait const here;
  return retry([&] { return fcntl(file.get(), command, &lock); }) == 0;
}

// Retries to lock until the deadline is over, which fails with EAGAIN. The system has no wait for
// such a lock that ends at a given time, hence the pauses.
bool lock_until(Deadline const &deadline, Descriptor const &file, off_t byte, short type) noexcept {
  constexpr DWORD PAUSE_MS = 1;
  std::atomic<std::uint32_t> never_woken{0};
  bool is_locked = set_lock(file, byte, type);
  while (!is_locked && errno == EAGAIN && !deadline.is_over()) {
    {
      TerminableWait const here;
      sleep_on(never_woken, 0, Deadline(PAUSE_MS));
    }
    is_locked = set_lock(file, byte, type);
  }
  return is_locked;
}

bool write_mark(Descriptor const &file, char mark) noexcept {
  return retry([&] { return pwrite(file.get(), &mark, sizeof mark, 0); }) != -1;
}

// Makes a file that no process uses that of a new mutex. The name in it serves human readers only.
bool initialise(Descriptor const &file, char const *name) noexcept {
  constexpr off_t NAME = 1;                     // behind the mark
  return fchmod(file.get(), OWNER_ONLY) == 0 && // whatever the process's mask is
         write_mark(file, FREE) &&
         retry([&] { return pwrite(file.get(), name, std::strlen(name), NAME); }) != -1;
}

bool is_removed(Descriptor const &file) noexcept {
  struct stat status = {};
  return fstat(file.get(), &status) == 0 && status.st_nlink == 0;
}

// Removes the file of a mutex unless a process uses it.
void remove_unused(Descriptor const &directory, char const *name) noexcept {
  Descriptor const file = open_file(directory, name, 0);
  if (file.is_open() && set_lock(file, USERS, F_WRLCK) && !is_removed(file)) {
    unlinkat(directory.get(), name, 0);
  }
}

// Removes the files of all mutexes whose users were killed.
void sweep(Descriptor const &directory) noexcept {
  // Opened once more, for a position of its own.
  DirectoryReader const reader =
      read_directory(Descriptor::open_at(directory.get(), ".", O_RDONLY | O_DIRECTORY));
  while (dirent const *const entry = reader != nullptr ? readdir(reader.get()) : nullptr) {
    remove_unused(directory, entry->d_name);
  }
}

// --- The mutexes of this process --------------------------------------------------------------

enum class Use { FAILED, EXISTING, NEW };

struct NamedMutex final : Handle {
  explicit NamedMutex(FileName const &name) noexcept : file_name(name) {}
  ~NamedMutex() override { CloseHandle(threads); }

  // Makes this process a user of the mutex; FAILED leaves `errno`: ENOENT if the mutex is missing
  // and not to be created, EAGAIN if another process keeps its file locked.
  Use use(char const *name, Missing missing) noexcept
      OSTBASE_REQUIRES(ProcessMutex::of(ProcessMutex::NAMED_MUTEXES));

  DWORD wait(DWORD milliseconds) noexcept override;
  BOOL release_mutex() noexcept override;
  void close() noexcept override;

  FileName const file_name;
  // Owned by the thread that owns the mutex, or is the next of this process to own it.
  void *const threads = create_inner_mutex();
  Descriptor file;            // its description is that of no other descriptor
  std::uint64_t depth = 0;    // guarded by `threads`: how often its owner owns the mutex
  std::size_t handles = 1;    // guarded by ProcessMutex::NAMED_MUTEXES
  NamedMutex *next = nullptr; // guarded by ProcessMutex::NAMED_MUTEXES
};

NamedMutex *table OSTBASE_GUARDED_BY(ProcessMutex::of(ProcessMutex::NAMED_MUTEXES)) = nullptr;
unsigned int creation_count OSTBASE_GUARDED_BY(ProcessMutex::of(ProcessMutex::NAMED_MUTEXES)) = 0;

void begin_in_child() noexcept OSTBASE_REQUIRES(ProcessMutex::of(ProcessMutex::NAMED_MUTEXES)) {
  Descriptor const directory = table != nullptr ? open_directory() : Descriptor();
  for (NamedMutex *mutex = table; mutex != nullptr; mutex = mutex->next) {
    // Locked before the inherited descriptor is closed, which keeps the file from being removed.
    Descriptor own = open_file(directory, mutex->file_name.text, 0);
    mutex->file = set_lock(own, USERS, F_RDLCK) ? std::move(own) : Descriptor();
    while (owns_inner_mutex(mutex->threads)) {
      ReleaseMutex(mutex->threads);
    }
    mutex->depth = 0;
  }
}

// The place of the link to that mutex, or of the end.
NamedMutex **find(FileName const &file_name) noexcept
    OSTBASE_REQUIRES(ProcessMutex::of(ProcessMutex::NAMED_MUTEXES)) {
  NamedMutex **place = &table;
  while (*place != nullptr && std::strcmp((*place)->file_name.text, file_name.text) != 0) {
    place = &(*place)->next;
  }
  return place;
}

Use NamedMutex::use(char const *name, Missing missing) noexcept {
  Descriptor const directory = open_directory();
  if (!directory.is_open()) {
    return Use::FAILED;
  }
  if (missing != Missing::FAIL && creation_count++ % CREATIONS_PER_SWEEP == 0) {
    sweep(directory);
  }
  Deadline const deadline(LONGEST_WAIT_FOR_USE_MS);
  bool is_unused = false;
  do {
    file = open_file(directory, file_name.text, missing == Missing::FAIL ? 0 : O_CREAT);
    if (!file.is_open()) {
      return Use::FAILED;
    }
    is_unused = set_lock(file, USERS, F_WRLCK);
    if (!is_unused) {
      if (!lock_until(deadline, file, USERS, F_RDLCK)) {
        return Use::FAILED;
      }
      // Once more: the process in the way may have been killed, or have found no user either.
      is_unused = set_lock(file, USERS, F_WRLCK);
    }
  } while (is_removed(file));
  if (!is_unused) {
    return Use::EXISTING;
  }
  if (missing != Missing::FAIL && initialise(file, name) &&
      (missing == Missing::CREATE || wait(0) == WAIT_OBJECT_0) && set_lock(file, USERS, F_RDLCK)) {
    return Use::NEW;
  }
  int const error = missing == Missing::FAIL ? ENOENT : errno;
  unlinkat(directory.get(), file_name.text, 0); // still locked exclusively
  errno = error;
  return Use::FAILED;
}

} // namespace

HANDLE named_mutex(char const *name, Missing missing) noexcept {
  FileName const file_name(name);
  AtFork::set_child_step(AtFork::NAMED_MUTEXES, begin_in_child);
  ProcessLock const lock(ProcessMutex::NAMED_MUTEXES);
  NamedMutex **const place = find(file_name);
  if (*place != nullptr) {
    ++(*place)->handles;
    SetLastError(ERROR_ALREADY_EXISTS);
    return (*place)->handle();
  }
  std::unique_ptr<NamedMutex> mutex(new (std::nothrow) NamedMutex(file_name));
  if (mutex == nullptr || mutex->threads == nullptr) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  Use const use = mutex->use(name, missing);
  if (use == Use::FAILED) {
    fail_with_errno();
    return nullptr;
  }
  SetLastError(use == Use::NEW ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS);
  *place = mutex.release();
  return (*place)->handle();
}

// --- The operations of a mutex ----------------------------------------------------------------

DWORD NamedMutex::wait(DWORD milliseconds) noexcept {
  Deadline const deadline(milliseconds);
  DWORD const outcome = WaitForSingleObject(threads, milliseconds);
  if (outcome != WAIT_OBJECT_0 && outcome != WAIT_ABANDONED) {
    return outcome;
  }
  depth = outcome == WAIT_ABANDONED ? 0 : depth;
  if (depth > 0) {
    ++depth;
    return WAIT_OBJECT_0;
  }
  bool const is_locked = milliseconds == INFINITE ? set_lock(file, OWNER, F_WRLCK, F_OFD_SETLKW)
                                                  : lock_until(deadline, file, OWNER, F_WRLCK);
  // If the creator was killed before it wrote the mark, the file is empty: the mutex is free.
  char mark = FREE;
  if (is_locked && retry([&] { return pread(file.get(), &mark, sizeof mark, 0); }) != -1 &&
      write_mark(file, OWNED)) {
    depth = 1;
    return mark == FREE ? WAIT_OBJECT_0 : WAIT_ABANDONED;
  }
  bool const is_timeout = !is_locked && errno == EAGAIN;
  fail_with_errno();
  set_lock(file, OWNER, F_UNLCK);
  ReleaseMutex(threads);
  return is_timeout ? WAIT_TIMEOUT : WAIT_FAILED;
}

BOOL NamedMutex::release_mutex() noexcept {
  if (!owns_inner_mutex(threads)) {
    return fail(ERROR_NOT_OWNER);
  }
  if (--depth == 0) {
    write_mark(file, FREE);
    set_lock(file, OWNER, F_UNLCK);
  }
  return ReleaseMutex(threads);
}

// The last user removes the file. If it was killed, the file takes a page of memory until its name
// is used again or a sweep finds it. The lock is released by closing, not by unlocking: a child of
// fork that has not opened the file again yet still needs it.
void NamedMutex::close() noexcept {
  ProcessLock const lock(ProcessMutex::NAMED_MUTEXES);
  if (--handles > 0) {
    return;
  }
  *find(file_name) = next;
  file = Descriptor();
  remove_unused(open_directory(), file_name.text);
  delete this;
}

// The mark stays set and tells the next owner. A mutex that was closed meanwhile is not in the
// table.
void abandon_file_of(HANDLE inner_mutex) noexcept {
  ProcessLock const lock(ProcessMutex::NAMED_MUTEXES);
  for (NamedMutex *mutex = table; mutex != nullptr; mutex = mutex->next) {
    if (mutex->threads == inner_mutex) {
      set_lock(mutex->file, OWNER, F_UNLCK);
    }
  }
}

} // namespace Ostrel
