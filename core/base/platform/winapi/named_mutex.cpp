// SPDX-License-Identifier: Apache-2.0
// The mutexes with a name, behind CreateMutexA and OpenMutexA: a mutex without a name between the
// threads of a process, and locks on a file between processes.
//
// The files are in a directory of the user's own in shared memory. A file is named by a hash of the
// mutex's name, which may hold any characters, and contains a mark and the name itself. Every
// process that uses the mutex has the file open, with two kinds of lock:
// - A shared `flock` says that the process uses the mutex. If a file can be locked exclusively, no
//   process uses the mutex, and the file is removed.
// - An exclusive record lock (F_OFD_SETLK) says that a thread of the process owns the mutex. The
//   owner sets the mark, and clears it before it unlocks the file. An owner that finds the mark set
//   therefore follows one that ended without releasing the mutex.
// Both belong to the open file description: the system releases them when its last descriptor is
// closed, however the process ends. Closing a mutex that is held abandons it; nothing is kept.
//
// A child of fork shares the descriptions of its parent. It opens every file again, and closes the
// descriptors that it has inherited: the parent keeps what its threads own, and the child owns
// nothing. Where that opening fails (no free descriptor, another effective user since), waits for
// the mutex fail in the child. A copy of the process that runs no fork handlers (`_Fork`, `clone`)
// must not use the mutexes, and shares the locks until it ends or executes another program.
#include "core/base/platform/winapi/mutex.hpp"

#include "core/base/platform/posix/descriptor.hpp"
#include "core/base/platform/posix/futex.hpp"
#include "core/base/platform/process/AtFork.hpp"
#include "core/base/platform/process/ProcessLock.hpp"
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/handle.hpp"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Ostrel {

namespace {

constexpr mode_t OWNER_ONLY_DIRECTORY = 0700, OWNER_ONLY = 0600;
constexpr DWORD LONGEST_WAIT_FOR_DIRECTORY_MS = 1000; // a stopped process may keep it locked
constexpr unsigned int CREATIONS_PER_SWEEP = 64;      // which share the cost of the sweep
constexpr char FREE = 0, OWNED = 1;                   // the mark

// --- Files and their locks: what fails leaves `errno` -----------------------------------------

// Two 64-bit FNV-1a hashes, with the public constants of that algorithm: one from its basis, one
// from the complement. Different names have different hashes for all practical purposes.
struct FileName {
  explicit FileName(char const *name) noexcept {
    constexpr unsigned long long BASIS = 0xCBF29CE484222325ULL, PRIME = 0x100000001B3ULL;
    unsigned long long first = BASIS, second = ~BASIS;
    for (; *name != '\0'; ++name) {
      auto const byte = static_cast<unsigned char>(*name);
      first = (first ^ byte) * PRIME;
      second = (second ^ byte) * PRIME;
    }
    std::snprintf(text, sizeof text, "%016llx%016llx", first, second);
  }

  char text[33];
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
  if (status.st_uid != geteuid() || (status.st_mode ^ S_IFDIR) != OWNER_ONLY_DIRECTORY) {
    errno = EACCES;
    return Descriptor();
  }
  return directory;
}

Descriptor open_file(Descriptor const &directory, char const *name, int flags) noexcept {
  return Descriptor::open_at(directory.get(), name, O_RDWR | O_NOFOLLOW | flags, OWNER_ONLY);
}

// Sets the record lock of a whole file; `command` says whether to wait for it. Not by `retry`: a
// thread can be terminated while it waits here, but it is not cancelled.
bool set_record_lock(Descriptor const &file, int command, short type) noexcept {
  struct flock lock = {};
  lock.l_type = type;
  int result = -1, before = 0;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before);
  do {
    result = fcntl(file.get(), command, &lock);
  } while (result == -1 && errno == EINTR);
  pthread_setcancelstate(before, nullptr);
  return result == 0;
}

// Repeats an attempt to lock a file until it succeeds or, with EAGAIN, the deadline is over. The
// system has no wait for such a lock that ends at a given time, hence the pauses.
template <typename Attempt> bool lock_until(Deadline const &deadline, Attempt attempt) noexcept {
  constexpr DWORD PAUSE_MS = 1;
  std::atomic<std::uint32_t> never_woken{0};
  bool is_locked = attempt();
  while (!is_locked && errno == EAGAIN && !deadline.is_over()) {
    sleep_on(never_woken, 0, Deadline(PAUSE_MS));
    is_locked = attempt();
  }
  return is_locked;
}

bool write_at(Descriptor const &file, off_t position, char const *data, std::size_t size) noexcept {
  ssize_t const written = retry([&] { return pwrite(file.get(), data, size, position); });
  if (written != -1) {
    errno = ENOSPC; // of a short write
  }
  return written == static_cast<ssize_t>(size);
}

// Opens the file of a mutex that some process uses, and removes the file of one that is not used:
// ENOENT for both that and none.
Descriptor open_used(Descriptor const &directory, char const *name) noexcept {
  Descriptor file = open_file(directory, name, 0);
  if (!file.is_open()) {
    return file;
  }
  if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    return errno == EWOULDBLOCK ? std::move(file) : Descriptor();
  }
  unlinkat(directory.get(), name, 0);
  errno = ENOENT;
  return Descriptor();
}

// Removes the files of all mutexes that are not used: their users were killed.
void sweep(Descriptor const &directory) noexcept {
  struct Close {
    void operator()(DIR *opened) const noexcept { closedir(opened); }
  };
  // Opened once more, for a position of its own.
  Descriptor again = Descriptor::open_at(directory.get(), ".", O_RDONLY | O_DIRECTORY);
  std::unique_ptr<DIR, Close> const opened(again.is_open() ? fdopendir(again.get()) : nullptr);
  if (opened != nullptr) {
    again.release();
    while (dirent const *const entry = readdir(opened.get())) {
      open_used(directory, entry->d_name);
    }
  }
}

// --- The mutexes of this process --------------------------------------------------------------

struct NamedMutex final : Handle {
  explicit NamedMutex(FileName const &name) noexcept : file_name(name) {}
  ~NamedMutex() override { CloseHandle(threads); }

  // Makes this process a user of the mutex.
  bool use(Descriptor opened) noexcept {
    file = std::move(opened);
    return file.is_open() && flock(file.get(), LOCK_SH | LOCK_NB) == 0;
  }
  void unlock_file() const noexcept { set_record_lock(file, F_OFD_SETLK, F_UNLCK); }

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

NamedMutex *table = nullptr;     // guarded by ProcessMutex::NAMED_MUTEXES
unsigned int creation_count = 0; // guarded by ProcessMutex::NAMED_MUTEXES
int locked_directory =
    -1; // guarded by ProcessMutex::NAMED_MUTEXES: the descriptor of DirectoryLock

void begin_in_child() noexcept {
  Descriptor const inherited(std::exchange(locked_directory, -1));
  Descriptor const directory = table != nullptr ? open_directory() : Descriptor();
  for (NamedMutex *mutex = table; mutex != nullptr; mutex = mutex->next) {
    mutex->use(open_file(directory, mutex->file_name.text, 0));
    reset_inner_mutex(mutex->threads);
    mutex->depth = 0;
  }
}

// The directory's lock, to create, open and remove files in it. Needs ProcessMutex::NAMED_MUTEXES.
class DirectoryLock {
public:
  DirectoryLock() noexcept : directory_(open_directory()) {
    locked_directory = directory_.get();
    is_held_ = directory_.is_open() && lock_until(Deadline(LONGEST_WAIT_FOR_DIRECTORY_MS), [this] {
                 return flock(directory_.get(), LOCK_EX | LOCK_NB) == 0;
               });
  }
  // Unlocked, and not only closed: if a fork did not wait for ProcessMutex::NAMED_MUTEXES, the
  // child has a descriptor of the same description until it has closed locked_directory.
  ~DirectoryLock() {
    flock(directory_.get(), LOCK_UN);
    locked_directory = -1;
  }

  // False, with `errno`, when the directory cannot be locked.
  bool is_held() const noexcept { return is_held_; }
  Descriptor const &directory() const noexcept { return directory_; }

private:
  Descriptor directory_;
  bool is_held_ = false;
};

// The place of the link to that mutex, or of the end. Needs ProcessMutex::NAMED_MUTEXES.
NamedMutex **find(FileName const &file_name) noexcept {
  NamedMutex **place = &table;
  while (*place != nullptr && std::strcmp((*place)->file_name.text, file_name.text) != 0) {
    place = &(*place)->next;
  }
  return place;
}

// Makes this process the first user of the mutex. The name in the file serves its reader only.
bool create_file(NamedMutex *mutex, Descriptor const &directory, char const *name) noexcept {
  if (creation_count++ % CREATIONS_PER_SWEEP == 0) {
    sweep(directory);
  }
  if (!mutex->use(open_file(directory, mutex->file_name.text, O_CREAT | O_EXCL))) {
    return false;
  }
  fchmod(mutex->file.get(), OWNER_ONLY); // whatever the process's mask is
  return write_at(mutex->file, 0, &FREE, sizeof FREE) &&
         write_at(mutex->file, sizeof FREE, name, std::strlen(name));
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
  DirectoryLock const guard;
  bool const is_used = guard.is_held() && mutex->use(open_used(guard.directory(), file_name.text));
  bool const is_missing = guard.is_held() && !is_used && errno == ENOENT;
  bool const is_new =
      is_missing && missing != Missing::FAIL && create_file(mutex.get(), guard.directory(), name);
  if (!is_used && !is_new) {
    fail_with_errno();
    return nullptr;
  }
  // Before another process can open it.
  if (is_new && missing == Missing::CREATE_OWNED && mutex->wait(0) != WAIT_OBJECT_0) {
    return nullptr;
  }
  SetLastError(is_new ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS);
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
  bool const is_locked =
      milliseconds == INFINITE
          ? set_record_lock(file, F_OFD_SETLKW, F_WRLCK)
          : lock_until(deadline, [this] { return set_record_lock(file, F_OFD_SETLK, F_WRLCK); });
  char mark = FREE;
  if (is_locked && retry([&] { return pread(file.get(), &mark, sizeof mark, 0); }) == sizeof mark &&
      write_at(file, 0, &OWNED, sizeof OWNED)) {
    depth = 1;
    return mark == FREE ? WAIT_OBJECT_0 : WAIT_ABANDONED;
  }
  fail_with_errno();
  unlock_file();
  ReleaseMutex(threads);
  return GetLastError() == ERROR_SHARING_VIOLATION ? WAIT_TIMEOUT : WAIT_FAILED;
}

BOOL NamedMutex::release_mutex() noexcept {
  if (!owns_inner_mutex(threads)) {
    return fail(ERROR_NOT_OWNER);
  }
  if (--depth == 0) {
    write_at(file, 0, &FREE, sizeof FREE);
    unlock_file();
  }
  return ReleaseMutex(threads);
}

// The last user removes the file. If that user was killed, or the directory cannot be locked, the
// file takes a page of memory until its name is used again or a sweep finds it.
void NamedMutex::close() noexcept {
  ProcessLock const lock(ProcessMutex::NAMED_MUTEXES);
  if (--handles > 0) {
    return;
  }
  *find(file_name) = next;
  file = Descriptor();
  if (DirectoryLock const guard; guard.is_held()) {
    open_used(guard.directory(), file_name.text);
  }
  delete this;
}

// The mark stays, and tells the next owner. A mutex that was closed meanwhile is not in the table.
void abandon_file_of(HANDLE inner_mutex) noexcept {
  ProcessLock const lock(ProcessMutex::NAMED_MUTEXES);
  for (NamedMutex *mutex = table; mutex != nullptr; mutex = mutex->next) {
    if (mutex->threads == inner_mutex) {
      mutex->unlock_file();
    }
  }
}

} // namespace Ostrel
