// SPDX-License-Identifier: Apache-2.0
// Open files, on descriptors. On POSIX, opening a named pipe waits for its other end; here it does
// not, since a search for a file must not stop at a pipe. Opening waits for another process's lease
// on a regular file, at most for the system's lease-break time. Reading and writing wait as usual.
// A write to a pipe without a reader fails and does not end the program.
#include "core/base/platform/posix/descriptor.hpp"
#include "core/base/platform/process/NeverDestroyed.hpp"
#include "core/base/platform/process/ProcessLock.hpp"
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/handle.hpp"
#include "core/base/platform/winapi/path.hpp"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <new>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using Ostrel::Descriptor;
using Ostrel::error_of_open;
using Ostrel::fail;
using Ostrel::fail_with_errno;
using Ostrel::Handle;
using Ostrel::NativePath;
using Ostrel::retry;

constexpr int NOT_SUPPORTED = -1; // in the place of flags
constexpr mode_t OWNER_ONLY = 0600;
constexpr mode_t SHARED = 0666; // within the process's mask

class FileHandle : public Handle {
public:
  FileHandle() noexcept = default;
  explicit FileHandle(int descriptor) noexcept : descriptor_(descriptor) {}

  void open(Descriptor descriptor, bool is_regular) noexcept {
    descriptor_ = std::move(descriptor);
    is_regular_ = is_regular;
  }
  bool is_file() const noexcept override { return true; }
  int descriptor() const noexcept { return descriptor_.get(); }
  bool is_regular() const noexcept { return is_regular_; }

private:
  Descriptor descriptor_;
  bool is_regular_ = false;
};

class StandardErrorHandle final : public FileHandle {
public:
  StandardErrorHandle() noexcept : FileHandle(STDERR_FILENO) {}
  void close() noexcept override {}
};

// Null, with the last error, if the handle is not that of a file.
FileHandle const *file_of(HANDLE handle) {
  Handle const *const object = Handle::of(handle);
  if (object == nullptr || !object->is_file()) {
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  return static_cast<FileHandle const *>(object);
}

// The descriptor of a file's handle; -1, with the last error, for any other.
int descriptor_of(HANDLE handle) {
  FileHandle const *const file = file_of(handle);
  return file == nullptr ? -1 : file->descriptor();
}

// False, with the last error, if the status cannot be read.
bool read_status(HANDLE file, struct stat *status) {
  int const descriptor = descriptor_of(file);
  return descriptor != -1 &&
         (retry([=] { return fstat(descriptor, status); }) == 0 || fail_with_errno());
}

int access_flags(DWORD access) {
  switch (access) {
  case GENERIC_READ:
    return O_RDONLY;
  case GENERIC_WRITE:
    return O_WRONLY;
  case FILE_APPEND_DATA:
    return O_WRONLY | O_APPEND;
  default:
    return NOT_SUPPORTED;
  }
}

int disposition_flags(DWORD disposition) {
  switch (disposition) {
  case CREATE_NEW:
    return O_CREAT | O_EXCL;
  case OPEN_EXISTING:
    return 0;
  case OPEN_ALWAYS:
    return O_CREAT;
  default:
    return NOT_SUPPORTED;
  }
}

// Refuses a directory. Reads and writes of a file that is not regular wait from now on.
bool settle(int descriptor, bool *is_regular) {
  struct stat status = {};
  if (fstat(descriptor, &status) != 0) {
    return fail_with_errno();
  }
  if (S_ISDIR(status.st_mode)) {
    return fail(ERROR_ACCESS_DENIED);
  }
  *is_regular = S_ISREG(status.st_mode);
  if (*is_regular) {
    return true;
  }
  int const flags = fcntl(descriptor, F_GETFL);
  return (flags != -1 && fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK) == 0) || fail_with_errno();
}

DWORD attribute_of(mode_t mode) {
  switch (mode & S_IFMT) {
  case S_IFREG:
    return FILE_ATTRIBUTE_NORMAL;
  case S_IFDIR:
    return FILE_ATTRIBUTE_DIRECTORY;
  case S_IFLNK:
    return FILE_ATTRIBUTE_REPARSE_POINT;
  default:
    return FILE_ATTRIBUTE_DEVICE;
  }
}

FILETIME file_time(timespec const &time) {
  constexpr std::int64_t EPOCH_S = 11644473600; // from the beginning of 1601 to that of 1970
  constexpr std::int64_t STEPS_PER_S = 10000000, NS_PER_STEP = 100;
  std::int64_t const steps = (time.tv_sec + EPOCH_S) * STEPS_PER_S + time.tv_nsec / NS_PER_STEP;
  return {static_cast<DWORD>(steps), static_cast<DWORD>(steps >> 32)};
}

// Blocks SIGPIPE in this thread until the end of a block, and discards the one that a write caused.
class WithoutPipeSignal {
public:
  WithoutPipeSignal() noexcept {
    sigset_t pending;
    sigpending(&pending);
    was_pending_ = sigismember(&pending, SIGPIPE) == 1;
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  WithoutPipeSignal(WithoutPipeSignal const &) = delete;
  WithoutPipeSignal &operator=(WithoutPipeSignal const &) = delete;
  ~WithoutPipeSignal() {
    Ostrel::ErrnoGuard const guard;
    timespec const no_wait = {};
    if (errno == EPIPE && !was_pending_) {
      retry([this, &no_wait] { return sigtimedwait(&pipe_, nullptr, &no_wait); });
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

private:
  sigset_t pipe_, before_;
  bool was_pending_; // before the block: that signal is the program's
};

// Called by number, for every log line: unlike `write`, this is no cancellation point, and so needs
// no protection of the thread.
ssize_t write_once(int descriptor, void const *data, std::size_t size) {
  ssize_t written = -1;
  do {
    written = syscall(SYS_write, descriptor, data, size);
  } while (written == -1 && errno == EINTR);
  return written;
}

// Waits while a descriptor that does not block is full, so that no log line is lost: another
// process that shares the descriptor may have set it so.
ssize_t write_waiting(int descriptor, void const *data, std::size_t size) {
  for (;;) {
    ssize_t const written = write_once(descriptor, data, size);
    if (written != -1 || errno != EAGAIN) {
      return written;
    }
    pollfd ready = {descriptor, POLLOUT, 0};
    if (retry([&ready] { return poll(&ready, 1, -1); }) == -1) {
      return -1;
    }
  }
}

ssize_t write_to(FileHandle const &file, void const *data, std::size_t size) {
  if (file.is_regular()) {
    return write_waiting(file.descriptor(), data, size);
  }
  WithoutPipeSignal const guard;
  return write_waiting(file.descriptor(), data, size);
}

// A fork copies the descriptors before the memory. A handle that another thread receives in between
// would have no descriptor in the child, and would later refer to another file.
void wait_for_forks() {
  Ostrel::ProcessLock const no_fork_is_under_way(Ostrel::ProcessMutex::FILES);
}

} // namespace

HANDLE CreateFileA(char const *path, DWORD access, DWORD share_mode, SECURITY_ATTRIBUTES *security,
                   DWORD disposition, DWORD flags, HANDLE template_file) {
  int const how = access_flags(access), whether = disposition_flags(disposition);
  if (how == NOT_SUPPORTED || whether == NOT_SUPPORTED || security != nullptr ||
      flags != FILE_ATTRIBUTE_NORMAL || template_file != nullptr) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return INVALID_HANDLE_VALUE;
  }
  NativePath const native(path);
  if (!native.is_valid()) {
    return INVALID_HANDLE_VALUE;
  }
  // Allocated first: a call that fails for lack of memory must not leave a new file.
  auto file = std::unique_ptr<FileHandle>(new (std::nothrow) FileHandle);
  if (file == nullptr) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return INVALID_HANDLE_VALUE;
  }
  int const open_flags = how | whether | O_NOCTTY | O_NONBLOCK;
  mode_t const mode = share_mode == 0 ? OWNER_ONLY : SHARED;
  Descriptor opened = Descriptor::open(native.c_str(), open_flags, mode);
  if (!opened.is_open()) {
    errno == EEXIST ? fail(ERROR_FILE_EXISTS) : fail_with_errno(error_of_open(errno));
    return INVALID_HANDLE_VALUE;
  }
  bool is_regular = false;
  if (!settle(opened.get(), &is_regular)) {
    if (disposition == CREATE_NEW) { // the caller does not know of it
      unlink(native.c_str());
    }
    return INVALID_HANDLE_VALUE;
  }
  file->open(std::move(opened), is_regular);
  wait_for_forks();
  return file.release()->handle();
}

BOOL ReadFile(HANDLE file, void *buffer, DWORD size, DWORD *count, OVERLAPPED *overlapped) {
  if (overlapped != nullptr) {
    return fail(ERROR_NOT_SUPPORTED);
  }
  int const descriptor = descriptor_of(file);
  if (descriptor == -1) {
    return FALSE;
  }
  ssize_t const result = retry([=] { return read(descriptor, buffer, size); });
  if (result == -1) {
    return fail_with_errno();
  }
  *count = static_cast<DWORD>(result);
  return TRUE;
}

BOOL WriteFile(HANDLE file, void const *data, DWORD size, DWORD *count, OVERLAPPED *overlapped) {
  if (overlapped != nullptr) {
    return fail(ERROR_NOT_SUPPORTED);
  }
  FileHandle const *const opened = file_of(file);
  if (opened == nullptr) {
    return FALSE;
  }
  ssize_t const result = write_to(*opened, data, size);
  if (result == -1) {
    return fail_with_errno();
  }
  *count = static_cast<DWORD>(result);
  return TRUE;
}

int _write(int descriptor, void const *data, unsigned int size) {
  if (size > INT_MAX) {
    errno = EINVAL;
    return -1;
  }
  WithoutPipeSignal const guard;
  return static_cast<int>(write_once(descriptor, data, size));
}

BOOL FlushFileBuffers(HANDLE file) {
  int const descriptor = descriptor_of(file);
  return descriptor != -1 &&
         (retry([descriptor] { return fsync(descriptor); }) == 0 || fail_with_errno());
}

BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER *size) {
  struct stat status = {};
  if (!read_status(file, &status)) {
    return FALSE;
  }
  if (!S_ISREG(status.st_mode)) {
    return fail(ERROR_NOT_SUPPORTED);
  }
  size->QuadPart = status.st_size;
  return TRUE;
}

BOOL GetFileInformationByHandle(HANDLE file, BY_HANDLE_FILE_INFORMATION *information) {
  struct stat status = {};
  if (!read_status(file, &status)) {
    return FALSE;
  }
  information->nNumberOfLinks = static_cast<DWORD>(status.st_nlink);
  return TRUE;
}

DWORD GetFileType(HANDLE file) {
  FileHandle const *const opened = file_of(file);
  return opened != nullptr && opened->is_regular() ? FILE_TYPE_DISK : FILE_TYPE_UNKNOWN;
}

BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER *position, DWORD method) {
  if (method != FILE_BEGIN) {
    return fail(ERROR_NOT_SUPPORTED);
  }
  int const descriptor = descriptor_of(file);
  if (descriptor == -1) {
    return FALSE;
  }
  off_t const reached = lseek(descriptor, distance.QuadPart, SEEK_SET);
  if (reached == -1) {
    return fail_with_errno();
  }
  if (position != nullptr) {
    position->QuadPart = reached;
  }
  return TRUE;
}

BOOL SetEndOfFile(HANDLE file) {
  int const descriptor = descriptor_of(file);
  if (descriptor == -1) {
    return FALSE;
  }
  off_t const end = lseek(descriptor, 0, SEEK_CUR);
  if (end == -1 || retry([descriptor, end] { return ftruncate(descriptor, end); }) == -1) {
    return fail_with_errno();
  }
  return TRUE;
}

HANDLE GetStdHandle(DWORD number) {
  if (number != STD_ERROR_HANDLE) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return INVALID_HANDLE_VALUE;
  }
  // The last log lines of a process are written after its destructors have run.
  static Ostrel::NeverDestroyed<StandardErrorHandle> instance;
  return (*instance).handle();
}

// Built at load, so that no thread is building it while another one forks.
[[maybe_unused]] static void *const built_at_load = GetStdHandle(STD_ERROR_HANDLE);

BOOL GetFileAttributesExA(char const *path, GET_FILEEX_INFO_LEVELS /*level*/, void *data) {
  NativePath const native(path);
  if (!native.is_valid()) {
    return FALSE;
  }
  struct stat status = {};
  if (lstat(native.c_str(), &status) != 0) {
    return fail_with_errno();
  }
  auto *const found = static_cast<WIN32_FILE_ATTRIBUTE_DATA *>(data);
  *found = {attribute_of(status.st_mode), file_time(status.st_mtim)};
  return TRUE;
}

void GetSystemTimeAsFileTime(FILETIME *time) {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  *time = file_time(now);
}
