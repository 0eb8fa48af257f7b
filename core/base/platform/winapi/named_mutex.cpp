// SPDX-License-Identifier: Apache-2.0
// The mutexes with a name, behind CreateMutexA and OpenMutexA: process-shared robust mutexes of the
// C library, each in a file that its users map.
//
// The files are in a directory of the user's own in shared memory, named by a hash of the mutex's
// name, which may hold any characters; the name itself is kept in the file. A user is who has the
// file open with a shared lock (flock): the system takes that back however the user ends. So a
// file that can be locked exclusively is a mutex that nobody uses: to open it fails, to create it
// starts anew. Whoever asks that question holds the exclusive lock of a guard file meanwhile.
//
// A process maps each mutex once, whatever the number of its handles: the list of robust mutexes
// that the C library keeps for each thread points into the mapping. A mapping whose last handle is
// closed while it is held is therefore left in place, until the process ends.
#include "core/base/platform/winapi/descriptor.hpp"
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/fork_lock.hpp"
#include "core/base/platform/winapi/handle.hpp"
#include "core/base/platform/winapi/mutex.hpp"
#include "core/base/platform/winapi/wait.hpp"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Ostrel {

namespace {

constexpr mode_t OWNER_ONLY_DIRECTORY = 0700;
constexpr mode_t OWNER_ONLY = 0600;
constexpr char const *GUARD_FILE = "guard";

// Its address tells a thread from the others.
thread_local char const thread_mark __attribute__((tls_model("initial-exec"))) = '\0';

enum class Missing { CREATE, FAIL };

bool fail_with(int error) noexcept {
  return fail(error_from_errno(error)) != FALSE;
}

// --- The file of a mutex ----------------------------------------------------------------------

// What the file begins with; the name, without a terminator, follows.
struct Header {
  pthread_mutex_t mutex;
  std::size_t name_length;

  char *name() noexcept { return reinterpret_cast<char *>(this + 1); }
};

class FileName {
public:
  // Two 64-bit FNV-1a hashes, from different beginnings: the public constants of that algorithm,
  // and its basis with every bit turned over.
  explicit FileName(char const *name) noexcept {
    constexpr unsigned long long BASIS = 0xCBF29CE484222325ULL, PRIME = 0x100000001B3ULL;
    unsigned long long first = BASIS, second = ~BASIS;
    for (char const *at = name; *at != '\0'; ++at) {
      auto const byte = static_cast<unsigned char>(*at);
      first = (first ^ byte) * PRIME;
      second = (second ^ byte) * PRIME;
    }
    std::snprintf(text_, sizeof text_, "%016llx%016llx", first, second);
  }

  char const *c_str() const noexcept { return text_; }
  bool operator==(FileName const &other) const noexcept {
    return std::strcmp(text_, other.text_) == 0;
  }

private:
  char text_[33];
};

// Opens the directory of this user's mutexes. Anybody can put something of that name into shared
// memory first, so what is found must be a directory that belongs to the user and to nobody else.
Descriptor open_directory() noexcept {
  char path[64];
  std::snprintf(path, sizeof path, "/dev/shm/ostrel-mutexes-%lu",
                static_cast<unsigned long>(geteuid()));
  if (mkdir(path, OWNER_ONLY_DIRECTORY) != 0 && errno != EEXIST) {
    fail_with(errno);
    return Descriptor();
  }
  Descriptor directory(
      retry([&path] { return open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); }));
  struct stat status = {};
  if (!directory.is_open() || fstat(directory.get(), &status) != 0) {
    fail_with(errno);
    return Descriptor();
  }
  if (status.st_uid != geteuid() ||
      (status.st_mode & ~static_cast<mode_t>(S_IFMT)) != OWNER_ONLY_DIRECTORY) {
    SetLastError(ERROR_ACCESS_DENIED);
    return Descriptor();
  }
  return directory;
}

Descriptor open_file(Descriptor const &directory, char const *name, int flags) noexcept {
  Descriptor file(retry([&] {
    return openat(directory.get(), name, O_RDWR | O_NOFOLLOW | O_CLOEXEC | flags, OWNER_ONLY);
  }));
  file.leave_standard_streams();
  if (!file.is_open()) {
    fail_with(errno);
  }
  return file;
}

bool lock_file(Descriptor const &file, int operation) noexcept {
  return retry([&file, operation] { return flock(file.get(), operation); }) == 0;
}

// The directory, with the guard held.
class GuardedDirectory {
public:
  GuardedDirectory() noexcept : directory_(open_directory()) {
    if (!directory_.is_open()) {
      return;
    }
    guard_ = open_file(directory_, GUARD_FILE, O_CREAT);
    is_ok_ = guard_.is_open() && (lock_file(guard_, LOCK_EX) || fail_with(errno));
  }
  GuardedDirectory(GuardedDirectory const &) = delete;
  GuardedDirectory &operator=(GuardedDirectory const &) = delete;

  // False, with the last error, when the guard cannot be had.
  bool is_ok() const noexcept { return is_ok_; }
  Descriptor const &get() const noexcept { return directory_; }

private:
  Descriptor directory_;
  Descriptor guard_;
  bool is_ok_ = false;
};

bool initialise(pthread_mutex_t *mutex) noexcept {
  pthread_mutexattr_t attributes;
  if (int const error = pthread_mutexattr_init(&attributes); error != 0) {
    return fail_with(error);
  }
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  int const error = pthread_mutex_init(mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
  return error == 0 || fail_with(error);
}

// A mutex as this process has it: mapped, and in use for as long as the file is open.
class Mapping {
public:
  Mapping(FileName const &file_name, std::size_t name_length) noexcept
      : file_name_(file_name), size_(sizeof(Header) + name_length) {}
  Mapping(Mapping const &) = delete;
  Mapping &operator=(Mapping const &) = delete;

  ~Mapping() {
    if (header_ != nullptr && owner_.load(std::memory_order_relaxed) == nullptr) {
      munmap(header_, size_);
    }
  }

  // Fills a file that nobody uses. Needs the guard held.
  bool create(Descriptor file, Descriptor const &again, char const *name) noexcept {
    if (retry([&file] { return ftruncate(file.get(), 0); }) != 0) {
      return fail_with(errno);
    }
    // Reserved, rather than found missing by a write into the mapping.
    int error = EINTR;
    while (error == EINTR) {
      error = posix_fallocate(file.get(), 0, static_cast<off_t>(size_));
    }
    if (error != 0) {
      return fail_with(error);
    }
    if (!map(again) || !initialise(&header_->mutex)) {
      return false;
    }
    header_->name_length = size_ - sizeof(Header);
    std::memcpy(header_->name(), name, header_->name_length);
    return use(std::move(file));
  }

  // Joins the users of a file. Needs the guard held.
  bool join(Descriptor file, Descriptor const &again, char const *name) noexcept {
    struct stat status = {};
    if (fstat(file.get(), &status) != 0) {
      return fail_with(errno);
    }
    if (status.st_size != static_cast<off_t>(size_)) {
      return fail(ERROR_INVALID_HANDLE) != FALSE; // another name of the same hash
    }
    if (!map(again)) {
      return false;
    }
    std::size_t const length = size_ - sizeof(Header);
    if (header_->name_length != length || std::memcmp(header_->name(), name, length) != 0) {
      return fail(ERROR_INVALID_HANDLE) != FALSE;
    }
    return use(std::move(file));
  }

  // Takes the mutex. The result is that of `pthread_mutex_lock`.
  int lock(DWORD milliseconds) noexcept;
  int unlock() noexcept;

  FileName const &file_name() const noexcept { return file_name_; }

  // Both guarded by the table.
  Mapping *next = nullptr;
  std::size_t handles = 1;

private:
  bool map(Descriptor const &file) noexcept {
    void *const address = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (address == MAP_FAILED) {
      return fail_with(errno);
    }
    header_ = static_cast<Header *>(address);
    return true;
  }

  bool use(Descriptor file) noexcept {
    file_ = std::move(file);
    return lock_file(file_, LOCK_SH) || fail_with(errno);
  }

  FileName const file_name_;
  std::size_t const size_;
  Header *header_ = nullptr;
  Descriptor file_;
  // The thread of this process that holds the mutex, and how often.
  std::atomic<char const *> owner_{nullptr};
  std::uint64_t depth_ = 0; // the owner's
};

int Mapping::lock(DWORD milliseconds) noexcept {
  pthread_mutex_t *const mutex = &header_->mutex;
  int error = 0;
  if (milliseconds == INFINITE) {
    error = pthread_mutex_lock(mutex);
  } else if (milliseconds == 0) {
    error = pthread_mutex_trylock(mutex);
  } else {
    error = pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, Deadline(milliseconds).moment());
  }
  if (error != 0 && error != EOWNERDEAD) {
    return error;
  }
  if (error == EOWNERDEAD) {
    pthread_mutex_consistent(mutex);
    depth_ = 0;
  }
  owner_.store(&thread_mark, std::memory_order_relaxed);
  ++depth_;
  return error;
}

int Mapping::unlock() noexcept {
  if (owner_.load(std::memory_order_relaxed) != &thread_mark) {
    return EPERM;
  }
  // Before the unlocking: afterwards the mutex may be another thread's.
  if (--depth_ == 0) {
    owner_.store(nullptr, std::memory_order_relaxed);
  }
  return pthread_mutex_unlock(&header_->mutex);
}

// --- The mutexes of this process --------------------------------------------------------------

// The guard file is held within the table's lock only: so no child keeps it either.
pthread_mutex_t table_guard = PTHREAD_MUTEX_INITIALIZER;
Mapping *table = nullptr; // guarded by table_guard

using TableLock = ForkLock<&table_guard>;

// The place of the link to that mutex, or of the end. Needs the table locked.
Mapping **find(FileName const &file_name) noexcept {
  Mapping **place = &table;
  while (*place != nullptr && !((*place)->file_name() == file_name)) {
    place = &(*place)->next;
  }
  return place;
}

// Opens or creates the file and maps it. Needs the table locked.
std::unique_ptr<Mapping> acquire_mapping(char const *name, FileName const &file_name,
                                         Missing missing) noexcept {
  GuardedDirectory const directory;
  if (!directory.is_ok()) {
    return nullptr;
  }
  Descriptor file =
      open_file(directory.get(), file_name.c_str(), missing == Missing::CREATE ? O_CREAT : 0);
  if (!file.is_open()) {
    return nullptr;
  }
  bool const is_unused = lock_file(file, LOCK_EX | LOCK_NB);
  if (is_unused && missing == Missing::FAIL) {
    unlinkat(directory.get().get(), file_name.c_str(), 0);
    SetLastError(ERROR_FILE_NOT_FOUND);
    return nullptr;
  }
  // A mapping keeps what it was made from open, and with it the lock. One that stays after its last
  // handle must not count as a user, so it is made from the file opened once more.
  Descriptor const again = open_file(directory.get(), file_name.c_str(), 0);
  if (!again.is_open()) {
    return nullptr;
  }
  std::unique_ptr<Mapping> mapping(new (std::nothrow) Mapping(file_name, std::strlen(name)));
  if (mapping == nullptr) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  bool const is_ready = is_unused ? mapping->create(std::move(file), again, name)
                                  : mapping->join(std::move(file), again, name);
  if (!is_ready) {
    return nullptr;
  }
  SetLastError(is_unused ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS);
  return mapping;
}

// Finds or makes the mapping of that name, counted once more.
// The last error is ERROR_ALREADY_EXISTS when somebody used the mutex already.
Mapping *use_mapping(char const *name, Missing missing) noexcept {
  FileName const file_name(name);
  TableLock const lock;
  Mapping **const place = find(file_name);
  if (*place != nullptr) {
    ++(*place)->handles;
    SetLastError(ERROR_ALREADY_EXISTS);
    return *place;
  }
  *place = acquire_mapping(name, file_name, missing).release();
  return *place;
}

// Removes the file that the last user leaves behind. One that stays, since its user was killed or
// the guard cannot be had, takes a page until its name is used again.
void remove_if_unused(FileName const &file_name) noexcept {
  GuardedDirectory const directory;
  if (!directory.is_ok()) {
    return;
  }
  Descriptor const file = open_file(directory.get(), file_name.c_str(), 0);
  if (file.is_open() && lock_file(file, LOCK_EX | LOCK_NB)) {
    unlinkat(directory.get().get(), file_name.c_str(), 0);
  }
}

void leave_mapping(Mapping *mapping) noexcept {
  TableLock const lock;
  if (--mapping->handles > 0) {
    return;
  }
  FileName const file_name = mapping->file_name();
  *find(file_name) = mapping->next;
  delete mapping;
  remove_if_unused(file_name);
}

// --- The handle -------------------------------------------------------------------------------

class NamedMutex final : public Handle {
public:
  explicit NamedMutex(Mapping *mapping) noexcept : mapping_(mapping) {}
  ~NamedMutex() override { leave_mapping(mapping_); }

  DWORD wait(DWORD milliseconds) noexcept override {
    int const error = mapping_->lock(milliseconds);
    switch (error) {
    case 0:
      return WAIT_OBJECT_0;
    case EOWNERDEAD:
      return WAIT_ABANDONED;
    case EBUSY:
    case ETIMEDOUT:
      return WAIT_TIMEOUT;
    default:
      SetLastError(error_from_errno(error));
      return WAIT_FAILED;
    }
  }

  BOOL release_mutex() noexcept override {
    return mapping_->unlock() == 0 ? TRUE : fail(ERROR_NOT_OWNER);
  }

private:
  Mapping *const mapping_;
};

HANDLE make_handle(Mapping *mapping) noexcept {
  if (mapping == nullptr) {
    return nullptr;
  }
  auto *const mutex = new (std::nothrow) NamedMutex(mapping);
  if (mutex == nullptr) {
    leave_mapping(mapping);
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  return mutex->handle();
}

} // namespace

HANDLE create_named_mutex(char const *name, bool initially_owned) noexcept {
  HANDLE handle = make_handle(use_mapping(name, Missing::CREATE));
  if (handle != nullptr && initially_owned && GetLastError() != ERROR_ALREADY_EXISTS) {
    Handle::of(handle)->wait(0);
  }
  return handle;
}

HANDLE open_named_mutex(char const *name) noexcept {
  return make_handle(use_mapping(name, Missing::FAIL));
}

} // namespace Ostrel
