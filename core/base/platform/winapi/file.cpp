// SPDX-License-Identifier: Apache-2.0
// Open files, on descriptors. On POSIX, opening a named pipe waits for its other end; here it does
// not, since a search for a file must not stop at a pipe. Opening waits for another process's lease
// on a regular file, at most for the system's lease-break time. Reading and writing wait as usual.
// A write to a pipe without a reader fails and does not end the program.
#include "core/base/platform/posix/descriptor.hpp"
#include "core/base/platform/process/NeverDestroyed.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/handle.hpp"
#include "core/base/platform/winapi/path.hpp"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <new>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using Ostrel::Descriptor;
using Ostrel::fail;
using Ostrel::fail_with_errno;
using Ostrel::Handle;
using Ostrel::NativePath;
using Ostrel::retry;

constexpr int NOT_SUPPORTED = -1; // in the place of flags

struct Flag {
  DWORD windows;
  int posix;
};
constexpr Flag ACCESSES[] = {
    {GENERIC_READ, O_RDONLY}, {GENERIC_WRITE, O_WRONLY}, {FILE_APPEND_DATA, O_WRONLY | O_APPEND}};
constexpr Flag DISPOSITIONS[] = {
    {CREATE_NEW, O_CREAT | O_EXCL}, {OPEN_EXISTING, 0}, {OPEN_ALWAYS, O_CREAT}};

constexpr mode_t OWNER_ONLY = 0600;
constexpr mode_t SHARED = 0666; // within the process's mask

struct FileHandle : Handle {
  Descriptor descriptor;
  bool is_regular = false;
};

struct StandardErrorHandle final : FileHandle {
  StandardErrorHandle() noexcept { descriptor = Descriptor(STDERR_FILENO); }
  void close() noexcept override {}
};

FileHandle const *file_of(HANDLE handle) {
  return static_cast<FileHandle const *>(Handle::of(handle));
}

// Returns -1 for null; every system call then fails with EBADF.
int descriptor_of(HANDLE handle) {
  FileHandle const *const file = file_of(handle);
  return file == nullptr ? -1 : file->descriptor.get();
}

template <std::size_t SIZE> int flag_of(Flag const (&table)[SIZE], DWORD windows) {
  for (Flag const &flag : table) {
    if (flag.windows == windows) {
      return flag.posix;
    }
  }
  return NOT_SUPPORTED;
}

// Refuses a directory. Sets the flags, without O_NONBLOCK, for a file that is not regular: reads
// and writes wait from now on.
bool settle(FileHandle *file, int flags) {
  int const descriptor = file->descriptor.get();
  struct stat status = {};
  if (fstat(descriptor, &status) != 0) {
    return fail_with_errno();
  }
  if (S_ISDIR(status.st_mode)) {
    return fail(ERROR_ACCESS_DENIED);
  }
  file->is_regular = S_ISREG(status.st_mode);
  return file->is_regular || fcntl(descriptor, F_SETFL, flags) == 0 || fail_with_errno();
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
  if (file.is_regular) {
    return write_waiting(file.descriptor.get(), data, size);
  }
  WithoutPipeSignal const guard;
  return write_waiting(file.descriptor.get(), data, size);
}

// A fork copies the descriptors before the memory. A handle that another thread receives in between
// would have no descriptor in the child, and would later refer to another file.
void wait_for_forks() {
  Ostrel::ProcessLock const no_fork_is_under_way(Ostrel::ProcessMutex::FILES);
}

} // namespace

HANDLE CreateFileA(char const *path, DWORD access, DWORD share_mode, SECURITY_ATTRIBUTES *security,
                   DWORD disposition, DWORD flags, HANDLE template_file) {
  int const how = flag_of(ACCESSES, access), whether = flag_of(DISPOSITIONS, disposition);
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
  file->descriptor =
      Descriptor::open(native.c_str(), open_flags, share_mode == 0 ? OWNER_ONLY : SHARED);
  if (!file->descriptor.is_open()) {
    // The kernel lacks memory, not this process.
    errno == ENOMEM ? fail_with_errno(ERROR_NO_SYSTEM_RESOURCES) : fail_with_errno();
    return INVALID_HANDLE_VALUE;
  }
  if (!settle(file.get(), how)) {
    if (disposition == CREATE_NEW) { // the caller does not know of it
      unlink(native.c_str());
    }
    return INVALID_HANDLE_VALUE;
  }
  wait_for_forks();
  return file.release()->handle();
}

BOOL ReadFile(HANDLE file, void *buffer, DWORD size, DWORD *count, OVERLAPPED *overlapped) {
  if (overlapped != nullptr) {
    return fail(ERROR_NOT_SUPPORTED);
  }
  ssize_t const result = retry([=] { return read(descriptor_of(file), buffer, size); });
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
    return fail(ERROR_INVALID_HANDLE);
  }
  ssize_t const result = write_to(*opened, data, size);
  if (result == -1) {
    return fail_with_errno();
  }
  *count = static_cast<DWORD>(result);
  return TRUE;
}

int _write(int descriptor, void const *data, unsigned int size) {
  WithoutPipeSignal const guard;
  return static_cast<int>(write_once(descriptor, data, size));
}

BOOL FlushFileBuffers(HANDLE file) {
  return retry([file] { return fsync(descriptor_of(file)); }) == 0 || fail_with_errno();
}

BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER *size) {
  struct stat status = {};
  if (retry([=, &status] { return fstat(descriptor_of(file), &status); }) != 0) {
    return fail_with_errno();
  }
  if (!S_ISREG(status.st_mode)) {
    return fail(ERROR_NOT_SUPPORTED);
  }
  size->QuadPart = status.st_size;
  return TRUE;
}

BOOL GetFileInformationByHandle(HANDLE file, BY_HANDLE_FILE_INFORMATION *information) {
  struct stat status = {};
  if (retry([=, &status] { return fstat(descriptor_of(file), &status); }) != 0) {
    return fail_with_errno();
  }
  auto const size = static_cast<std::uint64_t>(status.st_size);
  auto const index = static_cast<std::uint64_t>(status.st_ino);
  *information = {file_time(status.st_mtim),
                  static_cast<DWORD>(status.st_dev),
                  static_cast<DWORD>(size >> 32),
                  static_cast<DWORD>(size),
                  static_cast<DWORD>(status.st_nlink),
                  static_cast<DWORD>(index >> 32),
                  static_cast<DWORD>(index)};
  return TRUE;
}

DWORD GetFileType(HANDLE file) {
  FileHandle const *const opened = file_of(file);
  return opened != nullptr && opened->is_regular ? FILE_TYPE_DISK : FILE_TYPE_UNKNOWN;
}

BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER *position, DWORD method) {
  if (method != FILE_BEGIN || position != nullptr) {
    return fail(ERROR_NOT_SUPPORTED);
  }
  return lseek(descriptor_of(file), distance.QuadPart, SEEK_SET) != -1 || fail_with_errno();
}

BOOL SetEndOfFile(HANDLE file) {
  int const descriptor = descriptor_of(file);
  off_t const end = lseek(descriptor, 0, SEEK_CUR);
  return (end != -1 && retry([=] { return ftruncate(descriptor, end); }) == 0) || fail_with_errno();
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
  *found = {S_ISREG(status.st_mode) ? FILE_ATTRIBUTE_NORMAL : FILE_ATTRIBUTE_DEVICE,
            file_time(status.st_mtim)};
  return TRUE;
}

void GetSystemTimeAsFileTime(FILETIME *time) {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  *time = file_time(now);
}
