// SPDX-License-Identifier: Apache-2.0
// The mutexes with a name, behind CreateMutexA and OpenMutexA: process-shared robust mutexes of the
// C library, each in a file that its users map.
//
// The files are in a directory of the user's own in shared memory, named by a hash of the mutex's
// name, which may hold any characters; the name itself is kept in the file. A user is who has the
// file open with a shared lock (flock): the system takes that back however the user ends. So a
// file that can be locked exclusively is a mutex that nobody uses: it is removed, never filled
// again, since a mapping of it may be left (see below). Whoever asks that question holds the
// exclusive lock of the directory meanwhile.
//
// A process maps each mutex once, whatever the number of its handles: the list of robust mutexes
// that the C library keeps for each thread points into the mapping. A mapping whose last handle is
// closed while it is held is therefore left in place, without counting as a user; who opens the
// same file again, while others use it, gets that mapping, and may own the mutex already.
#include "core/base/platform/winapi/mutex.hpp"

#include "core/base/platform/winapi/descriptor.hpp"
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/fork.hpp"
#include "core/base/platform/winapi/handle.hpp"
#include "core/base/platform/winapi/wait.hpp"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Ostrel {

namespace {

constexpr mode_t OWNER_ONLY_DIRECTORY = 0700;
constexpr mode_t OWNER_ONLY = 0600;
constexpr unsigned int CREATIONS_PER_SWEEP = 64; // what a sweep costs is shared by so many

enum class Missing { CREATE, CREATE_OWNED, FAIL };

// Tells a thread from the others of all processes: also from those of which this one is a copy.
pid_t system_thread_id() noexcept {
  return static_cast<pid_t>(syscall(SYS_gettid));
}

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
  // Whatever the process takes away from what it creates (umask), the owner may do everything.
  if (mkdir(path, OWNER_ONLY_DIRECTORY) == 0) {
    chmod(path, OWNER_ONLY_DIRECTORY);
  } else if (errno != EEXIST) {
    fail_with(errno);
    return Descriptor();
  }
  Descriptor directory = Descriptor::open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
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
  Descriptor file =
      Descriptor::open_at(directory.get(), name, O_RDWR | O_NOFOLLOW | flags, OWNER_ONLY);
  if (!file.is_open()) {
    fail_with(errno);
  } else if ((flags & O_CREAT) != 0) {
    fchmod(file.get(), OWNER_ONLY);
  }
  return file;
}

bool lock_file(Descriptor const &file, int operation) noexcept {
  return retry([&file, operation] { return flock(file.get(), operation); }) == 0;
}

// The directory, with its lock held.
class GuardedDirectory {
public:
  GuardedDirectory() noexcept
      : directory_(open_directory()),
        is_ok_(directory_.is_open() && (lock_file(directory_, LOCK_EX) || fail_with(errno))) {}
  GuardedDirectory(GuardedDirectory const &) = delete;
  GuardedDirectory &operator=(GuardedDirectory const &) = delete;

  // False, with the last error, when the lock cannot be had.
  bool is_ok() const noexcept { return is_ok_; }
  Descriptor const &get() const noexcept { return directory_; }

private:
  Descriptor directory_;
  bool is_ok_;
};

// Opens the file of a mutex that somebody uses, and removes one that nobody does. Needs the guard
// held. Nothing is open with ERROR_FILE_NOT_FOUND when there is none, and when it cannot be opened.
Descriptor open_used(Descriptor const &directory, char const *name) noexcept {
  Descriptor file = open_file(directory, name, 0);
  if (!file.is_open() || !lock_file(file, LOCK_EX | LOCK_NB)) {
    return file;
  }
  unlinkat(directory.get(), name, 0);
  SetLastError(ERROR_FILE_NOT_FOUND);
  return Descriptor();
}

// Removes the files of all mutexes that nobody uses: those whose users were killed. Needs the guard
// held.
void sweep(Descriptor const &directory) noexcept {
  struct Close {
    void operator()(DIR *opened) const noexcept { closedir(opened); }
  };
  // Opened once more, for a position of its own.
  Descriptor again = Descriptor::open_at(directory.get(), ".", O_RDONLY | O_DIRECTORY);
  std::unique_ptr<DIR, Close> const opened(again.is_open() ? fdopendir(again.get()) : nullptr);
  if (opened == nullptr) {
    return;
  }
  again.release();
  while (dirent const *const entry = readdir(opened.get())) {
    open_used(directory, entry->d_name);
  }
}

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
    if (header_ != nullptr && !is_held()) {
      munmap(header_, size_);
    }
  }

  // Fills a new file. Needs the guard held.
  bool create(Descriptor file, Descriptor const &again, char const *name) noexcept {
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
    if (!map(again)) {
      return false;
    }
    std::size_t const length = size_ - sizeof(Header);
    if (header_->name_length != length || std::memcmp(header_->name(), name, length) != 0) {
      return fail(ERROR_INVALID_HANDLE) != FALSE;
    }
    return use(std::move(file));
  }

  // Counts as a user from now on. Needs the guard held.
  bool use(Descriptor file) noexcept {
    file_ = std::move(file);
    return lock_file(file_, LOCK_SH) || fail_with(errno);
  }

  // Whether that file is the one that is mapped.
  bool is_of(Descriptor const &file) const noexcept {
    struct stat status = {};
    return fstat(file.get(), &status) == 0 && status.st_dev == device_ && status.st_ino == inode_;
  }

  // No longer counts as a user.
  void leave() noexcept { file_ = Descriptor(); }

  // Whether a thread of this process holds the mutex, or ended inside.
  bool is_held() const noexcept { return owner_.load(std::memory_order_relaxed) != 0; }

  // Takes the mutex. The result is that of `pthread_mutex_lock`.
  int lock(DWORD milliseconds) noexcept;
  int unlock() noexcept;

  FileName const &file_name() const noexcept { return file_name_; }

  // Both guarded by the table. Without handles it is left in place for the thread that holds it.
  Mapping *next = nullptr;
  std::size_t handles = 1;

private:
  bool map(Descriptor const &file) noexcept {
    struct stat status = {};
    if (fstat(file.get(), &status) != 0) {
      return fail_with(errno);
    }
    if (status.st_size != static_cast<off_t>(size_)) {
      return fail(ERROR_INVALID_HANDLE) != FALSE; // another name of the same hash
    }
    void *const address = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (address == MAP_FAILED) {
      return fail_with(errno);
    }
    header_ = static_cast<Header *>(address);
    device_ = status.st_dev;
    inode_ = status.st_ino;
    return true;
  }

  FileName const file_name_;
  std::size_t const size_;
  Header *header_ = nullptr;
  dev_t device_ = 0;
  ino_t inode_ = 0; // not given to another file for as long as this one is mapped
  Descriptor file_;
  // The thread of this process that took the mutex last and has not given it back, and how often.
  std::atomic<pid_t> owner_{0};
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
  }
  // What another thread left here, of this process or the one that it is a copy of, means nothing:
  // a third process may have taken the mutex over since.
  pid_t const self = system_thread_id();
  if (owner_.exchange(self, std::memory_order_relaxed) != self || error == EOWNERDEAD) {
    depth_ = 0;
  }
  ++depth_;
  return error;
}

int Mapping::unlock() noexcept {
  if (owner_.load(std::memory_order_relaxed) != system_thread_id()) {
    return EPERM;
  }
  // Before the unlocking: afterwards the mutex may be another thread's.
  if (--depth_ == 0) {
    owner_.store(0, std::memory_order_relaxed);
  }
  return pthread_mutex_unlock(&header_->mutex);
}

// --- The mutexes of this process --------------------------------------------------------------

// The directory is locked within the table's lock only: so no child keeps that lock either.
ForkMutex table_guard;
Mapping *table = nullptr;        // guarded by table_guard
unsigned int creation_count = 0; // likewise

// The place of the link to that mutex, or of the end. Needs the table locked.
Mapping **find(FileName const &file_name) noexcept {
  Mapping **place = &table;
  while (*place != nullptr && !((*place)->file_name() == file_name)) {
    place = &(*place)->next;
  }
  return place;
}

// Maps the file of a mutex, used already or new. Needs the table locked and the guard held.
std::unique_ptr<Mapping> make_mapping(char const *name, FileName const &file_name, bool is_used,
                                      Descriptor file, Descriptor const &directory) noexcept {
  // A mapping keeps what it was made from open, and with it the lock. One that stays after its last
  // handle must not count as a user, so it is made from the file opened once more.
  Descriptor const again = open_file(directory, file_name.c_str(), 0);
  if (!again.is_open()) {
    return nullptr;
  }
  std::unique_ptr<Mapping> mapping(new (std::nothrow) Mapping(file_name, std::strlen(name)));
  if (mapping == nullptr) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  bool const is_ready = is_used ? mapping->join(std::move(file), again, name)
                                : mapping->create(std::move(file), again, name);
  return is_ready ? std::move(mapping) : nullptr;
}

// Gives the new mapping the place of one that was left there for another file, if any.
Mapping *put(std::unique_ptr<Mapping> mapping, Mapping **place) noexcept {
  if (mapping == nullptr) {
    return nullptr;
  }
  std::unique_ptr<Mapping> const left(*place);
  mapping->next = left == nullptr ? nullptr : left->next;
  *place = mapping.release();
  return *place;
}

// Creates a mutex that nobody uses. Needs the table locked and the guard held.
Mapping *create_mapping(char const *name, FileName const &file_name, Missing missing,
                        Descriptor const &directory, Mapping **place) noexcept {
  if (creation_count++ % CREATIONS_PER_SWEEP == 0) {
    sweep(directory);
  }
  Descriptor file = open_file(directory, file_name.c_str(), O_CREAT | O_EXCL);
  if (!file.is_open()) {
    return nullptr;
  }
  Mapping *const mapping =
      put(make_mapping(name, file_name, /*is_used=*/false, std::move(file), directory), place);
  if (mapping != nullptr) {
    // Before anybody else can open it.
    if (missing == Missing::CREATE_OWNED) {
      mapping->lock(0);
    }
    SetLastError(ERROR_SUCCESS);
  }
  return mapping;
}

// Joins those who use a mutex. Needs the table locked and the guard held.
Mapping *join_mapping(char const *name, FileName const &file_name, Descriptor file,
                      Descriptor const &directory, Mapping **place) noexcept {
  Mapping *mapping = *place;
  if (mapping != nullptr && mapping->is_of(file)) {
    if (!mapping->use(std::move(file))) {
      return nullptr;
    }
    mapping->handles = 1;
  } else {
    mapping =
        put(make_mapping(name, file_name, /*is_used=*/true, std::move(file), directory), place);
  }
  if (mapping != nullptr) {
    SetLastError(ERROR_ALREADY_EXISTS);
  }
  return mapping;
}

// Finds or makes the mapping of that name, counted once more.
// The last error is ERROR_ALREADY_EXISTS when somebody used the mutex already.
Mapping *use_mapping(char const *name, Missing missing) noexcept {
  FileName const file_name(name);
  ForkLock const lock(table_guard);
  Mapping **const place = find(file_name);
  if (*place != nullptr && (*place)->handles > 0) {
    ++(*place)->handles;
    SetLastError(ERROR_ALREADY_EXISTS);
    return *place;
  }
  GuardedDirectory const directory;
  if (!directory.is_ok()) {
    return nullptr;
  }
  Descriptor file = open_used(directory.get(), file_name.c_str());
  if (file.is_open()) {
    return join_mapping(name, file_name, std::move(file), directory.get(), place);
  }
  if (missing == Missing::FAIL || GetLastError() != ERROR_FILE_NOT_FOUND) {
    return nullptr;
  }
  return create_mapping(name, file_name, missing, directory.get(), place);
}

void leave_mapping(Mapping *mapping) noexcept {
  ForkLock const lock(table_guard);
  if (--mapping->handles > 0) {
    return;
  }
  FileName const file_name = mapping->file_name();
  if (mapping->is_held()) {
    mapping->leave();
  } else {
    *find(file_name) = mapping->next;
    delete mapping;
  }
  // The last user removes the file. One that stays, since its user was killed or the guard cannot
  // be had, takes a page until its name is used again or somebody sweeps.
  GuardedDirectory const directory;
  if (directory.is_ok()) {
    open_used(directory.get(), file_name.c_str());
  }
}

// --- The handle -------------------------------------------------------------------------------

class NamedMutex final : public Handle {
public:
  NamedMutex() noexcept = default;
  NamedMutex(NamedMutex const &) = delete;
  NamedMutex &operator=(NamedMutex const &) = delete;
  ~NamedMutex() override {
    if (mapping_ != nullptr) {
      leave_mapping(mapping_);
    }
  }

  // False, with the last error, when the mutex cannot be had.
  bool open(char const *name, Missing missing) noexcept {
    mapping_ = use_mapping(name, missing);
    return mapping_ != nullptr;
  }

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
  Mapping *mapping_ = nullptr;
};

// The handle is made first: nothing fails once a mutex is owned.
HANDLE make_handle(char const *name, Missing missing) noexcept {
  std::unique_ptr<NamedMutex> mutex(new (std::nothrow) NamedMutex);
  if (mutex == nullptr) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  return mutex->open(name, missing) ? mutex.release()->handle() : nullptr;
}

} // namespace

HANDLE create_named_mutex(char const *name, bool initially_owned) noexcept {
  return make_handle(name, initially_owned ? Missing::CREATE_OWNED : Missing::CREATE);
}

HANDLE open_named_mutex(char const *name) noexcept {
  return make_handle(name, Missing::FAIL);
}

} // namespace Ostrel
