// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// Windows' types, constants and calls. On Windows they come from the system's headers. Elsewhere
/// this header declares those that the library uses, with Windows' names, values, argument order
/// and way of failing, and the sources beside it implement them. The comments say what callers rely
/// on and what differs from Windows. No other file tests for Windows.
///
/// An argument that cannot be honoured fails with ERROR_NOT_SUPPORTED. A handle must be open and of
/// the right kind. What the system refuses fails with the number for its `errno`.

#ifdef _WIN32

#ifndef NOMINMAX // the standard library of GCC defines it too
#define NOMINMAX
#endif
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <conio.h>
#include <direct.h>
#include <io.h>
#include <process.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#else

#include <cstddef>
#include <cstdint>
#include <cstdio>

// --- Types ------------------------------------------------------------------------------------

using BOOL = int;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using WORD = std::uint16_t;
using BYTE = unsigned char;
using HANDLE = void *;
using HKEY = void *;
using HMODULE = void *;
using FARPROC = std::intptr_t (*)();
using REGSAM = DWORD;
using ThreadRoutine = unsigned int (*)(void *);

union LARGE_INTEGER {
  std::int64_t QuadPart;
};

/// Steps of 100 ns since the beginning of 1601.
struct FILETIME {
  DWORD dwLowDateTime, dwHighDateTime;
};

struct SECURITY_ATTRIBUTES;
struct OVERLAPPED;

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;
constexpr unsigned int CREATE_SUSPENDED = 4; // of _beginthreadex
constexpr DWORD INFINITE = 0xFFFFFFFF;
constexpr std::size_t MAX_PATH = 260; // characters, terminator included
// NOLINTNEXTLINE(performance-no-int-to-ptr): Windows defines the number; nothing is read there.
inline void *const INVALID_HANDLE_VALUE = reinterpret_cast<void *>(std::intptr_t{-1});

// --- Errors: error.cpp ------------------------------------------------------------------------

constexpr DWORD ERROR_SUCCESS = 0;
constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
constexpr DWORD ERROR_ACCESS_DENIED = 5;
constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_NO_MORE_FILES = 18;
constexpr DWORD ERROR_WRITE_FAULT = 29;
constexpr DWORD ERROR_GEN_FAILURE = 31;
constexpr DWORD ERROR_SHARING_VIOLATION = 32;
constexpr DWORD ERROR_NOT_SUPPORTED = 50;
constexpr DWORD ERROR_UNEXP_NET_ERR = 59;
constexpr DWORD ERROR_FILE_EXISTS = 80;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_DISK_FULL = 112;
constexpr DWORD ERROR_SEM_TIMEOUT = 121;
constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
constexpr DWORD ERROR_INVALID_NAME = 123;
constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
constexpr DWORD ERROR_ALREADY_EXISTS = 183;
constexpr DWORD ERROR_BAD_EXE_FORMAT = 193;
constexpr DWORD ERROR_ENVVAR_NOT_FOUND = 203;
constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
constexpr DWORD ERROR_MORE_DATA = 234;
constexpr DWORD ERROR_NOT_OWNER = 288;
constexpr DWORD ERROR_IO_DEVICE = 1117;
constexpr DWORD ERROR_UNABLE_TO_REMOVE_REPLACED = 1175;
constexpr DWORD ERROR_NO_SYSTEM_RESOURCES = 1450;

/// The calling thread's last-error number, which the calls below set when they fail.
DWORD GetLastError();
void SetLastError(DWORD error);

constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x200;
constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;

/// Writes the text of the calling thread's last error, such as "No space left on device", in the
/// language of the program: that of the `errno`, or of the loader's failure, that caused it. Both
/// flags must be given. 0 with ERROR_NOT_SUPPORTED for a number without a text or of another error.
DWORD FormatMessageA(DWORD flags, void const *source, DWORD message, DWORD language, char *buffer,
                     DWORD size, void *arguments);

// --- Handles and waiting: handle.cpp ----------------------------------------------------------

constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_ABANDONED = 0x80;
constexpr DWORD WAIT_TIMEOUT = 258;
constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

/// A mutex may be closed while a thread holds it, but not while one waits for it.
BOOL CloseHandle(HANDLE handle);

/// Waits for at most `milliseconds` on the monotonic clock. Acquires a mutex (the caller then owns
/// it once more) or an event (resetting it), or waits for the end of a thread. WAIT_ABANDONED:
/// owned now, but the previous owner ended while holding it.
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);

/// Releases a mutex and waits for another object, as one step to a thread that sets an event: the
/// event stays set until the wait resets it. WAIT_FAILED, without a wait, if the mutex cannot be
/// released. Not alertable.
DWORD SignalObjectAndWait(HANDLE to_signal, HANDLE to_wait_on, DWORD milliseconds, BOOL alertable);

// --- Events: event.cpp ------------------------------------------------------------------------

/// Creates an auto-reset event without a name: each setting ends one wait, and settings without a
/// wait in between count once. No security attributes. system.hpp has the call that sets it.
HANDLE CreateEventA(SECURITY_ATTRIBUTES *security, BOOL manual_reset, BOOL initial_state,
                    char const *name);

// --- Threads: thread.cpp ----------------------------------------------------------------------

/// Starts a thread and stores its identifier. The routine runs after ResumeThread. The handle stays
/// valid until CloseHandle, which leaves the thread running. Returns it as a number; 0 with `errno`
/// if no thread can be started, EINVAL for security attributes, a stack size and flags other than
/// CREATE_SUSPENDED. An exception that leaves the routine ends the process.
std::uintptr_t _beginthreadex(void *security, unsigned int stack_size, ThreadRoutine routine,
                              void *argument, unsigned int flags, unsigned int *id);

/// Lets a thread run that was started suspended; once for each thread.
DWORD ResumeThread(HANDLE thread);

/// Ends a thread from outside, at the first point at which it is in no call of the C library, the
/// loader, libxml2 or this library, waits that hold nothing excepted. Nothing of its stack is
/// unwound, no destructor of its variables runs; mutexes that it holds are abandoned.
///
/// Waits up to 100 ms for that; a thread that cannot be ended earlier ends after the return. One
/// that blocks the signal does not end. TRUE also if it had ended already. FALSE with
/// ERROR_GEN_FAILURE if threads cannot be ended on this system or under a sanitizer, or if no
/// signal is free or there is no timer. Nothing reads exit codes, so `exit_code` means nothing
/// here.
BOOL TerminateThread(HANDLE thread, DWORD exit_code);

// --- Mutexes: mutex.cpp, named_mutex.cpp ------------------------------------------------------

constexpr DWORD MUTEX_ALL_ACCESS = 0x001F0001;

/// Creates a mutex, recursive and owned by a thread; no security attributes. It is abandoned if its
/// owner ends without releasing it.
///
/// A mutex with a name, which may hold any characters, is shared by all processes of the same user
/// that use this name, and ceases to exist with the last of them, also if that is killed. If it
/// exists already, the last error is ERROR_ALREADY_EXISTS, and `initially_owned` has no effect. If
/// a process closes its last handle of the mutex while one of its threads owns it, the mutex is
/// abandoned. A child of fork uses the mutexes of its parent, but owns none. Null with
/// ERROR_SHARING_VIOLATION if another process, stopped while it created or removed this mutex,
/// keeps its file locked for 1 s.
HANDLE CreateMutexA(SECURITY_ATTRIBUTES *security, BOOL initially_owned, char const *name);

/// `access` has no effect, since the user of a mutex has every access; nor has `inherit_handle`,
/// since a new program receives no handle. Null with ERROR_FILE_NOT_FOUND if no process uses a
/// mutex of that name, ERROR_INVALID_PARAMETER for a null name, and as above.
HANDLE OpenMutexA(DWORD access, BOOL inherit_handle, char const *name);

/// FALSE with ERROR_NOT_OWNER if the calling thread does not own the mutex.
BOOL ReleaseMutex(HANDLE mutex);

// --- Paths: path.cpp --------------------------------------------------------------------------

// Every call accepts a backslash as a separator in a path, like a slash, and a drive (letter,
// colon, separator) at the start as the root. Paths that a call returns are those of the system.

/// `buffer` must not be null. Null, with `errno`, if the directory cannot be read or does not fit.
char *_getcwd(char *buffer, int size);

/// If `size` is too small, returns a larger one, which may be too small as well.
DWORD GetCurrentDirectoryA(DWORD size, char *buffer);

/// With the process's default permissions. -1 with `errno`.
int _mkdir(char const *path);

constexpr unsigned short _S_IFMT = 0xF000;
constexpr unsigned short _S_IFDIR = 0x4000;
constexpr unsigned short _S_IFREG = 0x8000;

struct __stat64 {
  unsigned short st_mode;
};

/// Follows symbolic links. -1 with `errno`.
int _stat64(char const *path, struct __stat64 *status);

// --- Files: file.cpp, replace.cpp -------------------------------------------------------------

constexpr DWORD GENERIC_READ = 0x80000000;
constexpr DWORD GENERIC_WRITE = 0x40000000;
constexpr DWORD FILE_APPEND_DATA = 0x4;
constexpr DWORD FILE_SHARE_READ = 0x1;
constexpr DWORD FILE_SHARE_WRITE = 0x2;
constexpr DWORD FILE_SHARE_DELETE = 0x4;
constexpr DWORD CREATE_NEW = 1;
constexpr DWORD OPEN_EXISTING = 3;
constexpr DWORD OPEN_ALWAYS = 4;
constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr DWORD FILE_ATTRIBUTE_DEVICE = 0x40;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr DWORD FILE_ATTRIBUTE_REPARSE_POINT = 0x400;
constexpr DWORD FILE_BEGIN = 0;
constexpr DWORD FILE_TYPE_UNKNOWN = 0;
constexpr DWORD FILE_TYPE_DISK = 1;
constexpr DWORD STD_ERROR_HANDLE = 0xFFFFFFF4;
constexpr DWORD REPLACEFILE_WRITE_THROUGH = 0x1;
constexpr DWORD MOVEFILE_REPLACE_EXISTING = 0x1;
constexpr DWORD MOVEFILE_WRITE_THROUGH = 0x8;

/// Opens a file for one of GENERIC_READ, GENERIC_WRITE and FILE_APPEND_DATA (each write goes to the
/// end that the file then has). Does not wait for the other end of a pipe. If another process holds
/// a lease on the file, this waits for it up to the system's limit (45 s by default), and a fork
/// that is under way is waited for as well. No child program inherits the handle.
///
/// The system does not keep other processes from an open file. So the share mode only sets the
/// permissions of a new file: 0 restricts it to its owner (mode 0600), any other leaves the
/// process's default. No security attributes and no template; the only flag is
/// FILE_ATTRIBUTE_NORMAL. INVALID_HANDLE_VALUE with ERROR_ACCESS_DENIED for a directory,
/// ERROR_FILE_EXISTS for CREATE_NEW, ERROR_NO_SYSTEM_RESOURCES if the kernel has no memory.
HANDLE CreateFileA(char const *path, DWORD access, DWORD share_mode, SECURITY_ATTRIBUTES *security,
                   DWORD disposition, DWORD flags, HANDLE template_file);

/// Reads up to `size` bytes; 0 of them at the end of the file. Neither reading nor writing can be
/// overlapped.
BOOL ReadFile(HANDLE file, void *buffer, DWORD size, DWORD *count, OVERLAPPED *overlapped);

/// Writes in one call of the system, which may write fewer bytes. Waits also if the descriptor is
/// set not to block. FALSE with ERROR_WRITE_FAULT for a pipe without a reader, whose SIGPIPE does
/// not reach the program.
BOOL WriteFile(HANDLE file, void const *data, DWORD size, DWORD *count, OVERLAPPED *overlapped);

/// Writes in one call of the system up to INT_MAX bytes to an open descriptor. -1 with `errno`:
/// EPIPE for a pipe without a reader, whose SIGPIPE does not reach the program, EAGAIN if the
/// descriptor is set not to block and is full.
int _write(int descriptor, void const *data, unsigned int size);

BOOL FlushFileBuffers(HANDLE file);

/// FALSE with ERROR_NOT_SUPPORTED unless the file is a regular one.
BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER *size);

struct BY_HANDLE_FILE_INFORMATION {
  FILETIME ftLastWriteTime;
  DWORD dwVolumeSerialNumber;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD nNumberOfLinks;
  DWORD nFileIndexHigh;
  DWORD nFileIndexLow;
};

BOOL GetFileInformationByHandle(HANDLE file, BY_HANDLE_FILE_INFORMATION *information);

/// Whether CreateFileA has opened a regular file: FILE_TYPE_DISK, otherwise FILE_TYPE_UNKNOWN.
DWORD GetFileType(HANDLE file);

/// Counts from FILE_BEGIN alone, and does not return the new position.
BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER *position, DWORD method);

BOOL SetEndOfFile(HANDLE file);

/// Returns standard error alone, which CloseHandle leaves open.
HANDLE GetStdHandle(DWORD number);

enum GET_FILEEX_INFO_LEVELS { GetFileExInfoStandard };

struct WIN32_FILE_ATTRIBUTE_DATA {
  DWORD dwFileAttributes;
  FILETIME ftLastWriteTime;
};

/// Does not open the file or follow a link. The attribute is FILE_ATTRIBUTE_NORMAL for a regular
/// file, FILE_ATTRIBUTE_DEVICE for anything else. `data` is a WIN32_FILE_ATTRIBUTE_DATA.
BOOL GetFileAttributesExA(char const *path, GET_FILEEX_INFO_LEVELS level, void *data);

void GetSystemTimeAsFileTime(FILETIME *time);

/// Removes a name of a file; the file ceases to exist with its last name and its last handle.
/// ERROR_ACCESS_DENIED for a directory.
BOOL DeleteFileA(char const *path);

/// Replaces `replaced` by `replacement`, which is in the same directory and receives the owner,
/// permissions and extended attributes of `replaced`, and waits until all that is on the disk.
/// There is no backup file, and the only flag is REPLACEFILE_WRITE_THROUGH.
///
/// FALSE with ERROR_NOT_SUPPORTED if something would be lost: owner or attributes cannot be set, or
/// `replaced` is a mount point or no regular file itself. Further hard links to it keep the old
/// file. Fails also if the directory cannot be opened for reading, unless that is not permitted.
/// A flush that fails has the number ERROR_IO_DEVICE. After a failure both files are unchanged,
/// with one exception: if the flush of the directory fails, after the replacement, a crash of the
/// system may undo it.
BOOL ReplaceFileA(char const *replaced, char const *replacement, char const *backup, DWORD flags,
                  void *exclude, void *reserved);

/// Renames a file within its file system, replacing a file of the new name, and waits until that is
/// on the disk. Both flags must be given. Failures as above.
BOOL MoveFileExA(char const *from, char const *to, DWORD flags);

// --- Directory search: directory.cpp ----------------------------------------------------------

struct WIN32_FIND_DATAA {
  char cFileName[MAX_PATH];
};

/// Searches one directory for names that match the last part of `query`. Only `*` and `?` are
/// wildcards, upper and lower case differ, and names that start with a dot, also "." and "..",
/// match like any other. A name with a backslash is returned unchanged, although no path of this
/// layer can express it. ERROR_FILE_NOT_FOUND if nothing matches, ERROR_NO_MORE_FILES at the end,
/// or the reason if the directory cannot be read.
HANDLE FindFirstFileA(char const *query, WIN32_FIND_DATAA *data);
BOOL FindNextFileA(HANDLE search, WIN32_FIND_DATAA *data);
BOOL FindClose(HANDLE search);

// --- Clocks, identifiers, version: clock.cpp --------------------------------------------------

struct SYSTEMTIME {
  WORD wHour, wMinute, wSecond;
};

/// The monotonic clock.
BOOL QueryPerformanceCounter(LARGE_INTEGER *count);
BOOL QueryPerformanceFrequency(LARGE_INTEGER *ticks_per_second);

/// On the monotonic clock; without a limit for INFINITE.
void Sleep(DWORD milliseconds);

/// In the time zone that the environment named when the library was loaded, or at the program's
/// last `tzset` since.
void GetLocalTime(SYSTEMTIME *time);

DWORD GetCurrentProcessId();
DWORD GetCurrentThreadId();

constexpr DWORD VER_PLATFORM_WIN32_NT = 2;

struct OSVERSIONINFOA {
  DWORD dwOSVersionInfoSize;
  DWORD dwPlatformId;
};

/// Reports the NT family of Windows, since its calls are the ones implemented. FALSE with
/// ERROR_INSUFFICIENT_BUFFER if the size field is not set.
BOOL GetVersionExA(OSVERSIONINFOA *version);

// --- Registry: registry.cpp, registry_file.cpp ------------------------------------------------

constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_DWORD = 4;
constexpr REGSAM KEY_READ = 0x20019;
// NOLINTNEXTLINE(performance-no-int-to-ptr): Windows defines the number; nothing is read there.
inline void *const HKEY_LOCAL_MACHINE = reinterpret_cast<void *>(std::uintptr_t{0x80000002});

/// Opens a key below HKEY_LOCAL_MACHINE, the only root, by reading its values from the registry
/// file: the one that the environment variable OSTREL_REGISTRY_FILE names, else ostrel/registry.reg
/// in the system configuration directory. An open key does not see later changes of the file. Only
/// KEY_READ and no options. ERROR_FILE_NOT_FOUND also for a key without values.
LONG RegOpenKeyExA(HKEY root, char const *sub_key, DWORD options, REGSAM access, HKEY *key);

/// Reads a value, or only its size if `data` is null. The size of a string includes its terminator.
/// ERROR_FILE_NOT_FOUND for no such value, ERROR_MORE_DATA, with the size, if the bytes do not fit.
/// `name` and `size` must not be null (ERROR_INVALID_PARAMETER).
LONG RegQueryValueExA(HKEY key, char const *name, DWORD *reserved, DWORD *type, BYTE *data,
                      DWORD *size);

LONG RegCloseKey(HKEY key);

// --- Environment: environment.cpp -------------------------------------------------------------

/// Returns the length of the value; the size that is needed, terminator included, if `size` is too
/// small; or 0 with ERROR_ENVVAR_NOT_FOUND. The last error of an empty value stays as it was. Other
/// threads may change the environment through this layer at the same time. In a program that runs
/// with more rights than its user, the library's own variables and PATH are removed at load.
DWORD GetEnvironmentVariableA(char const *name, char *buffer, DWORD size);

/// Sets or removes a variable. Other threads may call the C library's `getenv` at the same time: it
/// finds the old value or the new one, and every other variable throughout. No other thread may
/// change the environment by other means (`setenv`, `environ`) at that moment.
///
/// `text` is "NAME=value", which is copied and stays allocated, once for each distinct value:
/// setting a value again needs no memory, and a change takes time in proportion to the number of
/// values so far. Nothing after the equals sign removes the variable. After a change by other
/// means, a new variable and a removal need an array of their own, which stays allocated, too. Of
/// several entries of one name, the first is replaced, but all are removed: a program that is
/// started receives the later ones as well, and a reader may find them during the removal. -1 with
/// EINVAL or ENOMEM in `errno`.
int _putenv(char const *text);

/// The same for a name and a value: null removes the variable (also if it is not set), the empty
/// text is a value. ERROR_INVALID_PARAMETER for a name that is null, empty or has an equals sign.
BOOL SetEnvironmentVariableA(char const *name, char const *value);

// --- Dynamic libraries: library.cpp -----------------------------------------------------------

/// Loads a library and the libraries that it needs. Its symbols are not visible to other libraries.
/// A path with a separator names the file. A bare name is searched in the directories of PATH, as
/// it is now; only if none of them has such a file, the loader looks among the loaded libraries and
/// in its usual places. The file found is the one that is loaded; if that fails, no other is tried.
///
/// The directories of PATH are separated by ';' or ':', except for the colon of a drive, and empty
/// ones are ignored. In a path the loader's own variables ($ORIGIN, $LIB, $PLATFORM) keep their
/// meaning. Constructors of the library run inside; an exception from one of them ends the program.
/// Null with ERROR_MOD_NOT_FOUND if there is no file, ERROR_BAD_EXE_FORMAT if the file or a library
/// that it needs cannot be loaded. `path` must not be empty.
HMODULE LoadLibraryA(char const *path);

/// The last release of a library unloads it, unless it is marked to stay. FALSE with
/// ERROR_INVALID_HANDLE for a library that is no longer loaded.
BOOL FreeLibrary(HMODULE library);

/// Returns the address of a function or an object that the library itself defines, not one of the
/// libraries that it needs. Of an object that all libraries of a process share, such as an inline
/// variable of C++, only the library that was loaded first is the owner. Otherwise null with
/// ERROR_PROC_NOT_FOUND.
FARPROC GetProcAddress(HMODULE library, char const *symbol);

// --- Console: console.cpp ---------------------------------------------------------------------

/// The descriptor of a stream; -1 for a stream without one.
int _fileno(std::FILE *stream);

/// Whether a key press waits at the controlling terminal; 0 also if the process is in the
/// background of its terminal. Changes no signal handler. Switches the terminal for some
/// microseconds with the thread's signals blocked: a signal that ends the process in another thread
/// at that moment leaves the terminal switched.
int _kbhit();

/// Waits for a key press at the controlling terminal, and echoes it. Enter is a carriage return,
/// whenever it was typed. Returns a carriage return also without a terminal and after a hang-up. In
/// the background the system stops the process until it is in the foreground.
///
/// The call restores the terminal at its end, also if the thread is cancelled or terminated, or if
/// SIGINT, SIGTERM, SIGHUP, SIGQUIT or SIGTSTP ends or stops the program; a signal that the program
/// handles does not end the call. For those signals and SIGCONT the call replaces the default
/// action, and only that, by a handler. A handler that the program sets at that moment takes effect
/// some microseconds later. The terminal stays switched if another signal ends the program during
/// the call, or if the program calls `_exit` or `exec`.
int _getche();

#endif
