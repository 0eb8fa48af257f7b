// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/IConditionVariable.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/ISharedLibrary.hpp"
#include "core/base/platform/IThread.hpp"
#include "core/base/platform/SearchPathElement.hpp"

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace Ostrel {

/// Services of the operating system: clocks, paths, files, directories, the console, identifiers,
/// mutexes, threads, shared libraries, and the directories of the framework.
///
/// All operations are static and may be called from any thread at any time. File names are 8-bit
/// texts in the system's code page. Paths may contain backslashes or slashes; returned paths are
/// joined with a backslash on every operating system, and `native_path` converts a path for the
/// operating system's own calls. Every text argument may be null.
///
/// Before a program unloads the library (`dlclose` of the last library that uses it), no thread may
/// be in a call of it any more: the thread would return into unmapped memory.
class OSTBASE_API Platform {
public:
  /// Which directory or search path `get_system_property` returns.
  enum SystemProperty : int {
    INSTALL_PATH = 0,
    CONFIG_PATH = 1,
    DATA_PATH = 2,
    AUDIO_PATH = 3,
    IMAGES_PATH = 4,
    FACES_PATH = 5,
    MODELSETS_PATH = 6,
    SLAM_LANDMARK_PATH = 7
  };

  Platform() = default;
  virtual ~Platform() = default;

  // --- Clocks ---------------------------------------------------------------------------------

  /// Blocks the calling thread; without a limit for `OVRA_INFINITE` and larger values.
  static void millisecond_sleep(unsigned long milliseconds);

  /// The high-resolution monotonic clock in seconds, from an unspecified origin; 0.0 if it cannot
  /// be read.
  static double get_timestamp();

  /// The same clock in milliseconds, modulo 2^32: subtract readings in unsigned 32-bit arithmetic.
  static unsigned long get_millisecond_time();

  /// The same clock in microseconds.
  static double get_microsecond_time();

  /// Reads the local time of day (addition), in the time zone that `TZ` named when the library was
  /// loaded; a later change of `TZ` takes effect when the program calls `tzset`.
  ///
  /// @param hour    0 to 23; null is skipped, here and below.
  /// @param minute  0 to 59.
  /// @param second  0 to 60.
  static void get_local_time(int *hour, int *minute, int *second);

  // --- Paths ----------------------------------------------------------------------------------

  /// Carriage return and line feed.
  static char const *get_line_delimiter();
  /// A backslash.
  static char const *get_path_delimiter();
  /// The separator of the directories of a search path: ";".
  static char const *get_search_path_delimiter();

  /// Whether the path begins with a separator, a drive (letter, colon, separator) or the current
  /// directory (dot, separator). False for null.
  static bool is_absolute_path(char const *path);

  /// Prepends the current directory and a backslash to a relative path; copies an absolute path
  /// unchanged. Nothing is normalised.
  ///
  /// @return false, with `out` untouched, if an argument is null, the path is empty, the current
  ///         directory cannot be read or is longer than 259 characters, and without memory.
  static bool make_absolute_path(char const *path, std::string *out);

  /// Converts a path of this library for the operating system's own calls and for other libraries
  /// (addition). Empty for null and without memory.
  static std::string native_path(char const *path);

  // --- Files and directories ------------------------------------------------------------------

  /// Creates one directory; its parent must exist. `mode` is ignored.
  /// @return `RESULT_SUCCESS` or `RESULT_IO_ERROR` (logged as an info), also for null.
  static unsigned long mkdir(char const *path, int mode);

  /// Reads the current directory, whatever its length.
  /// @return `RESULT_SUCCESS`, `RESULT_IO_ERROR`, `RESULT_OUT_OF_MEMORY`, or
  ///         `RESULT_INVALID_ARGUMENT` for null.
  static unsigned long get_current_directory(std::string *out);

  /// Whether the file can be opened for reading; a directory cannot. If another process has a lease
  /// on the file, waits for its end.
  /// @return `RESULT_SUCCESS`, `RESULT_FAILURE` (also without memory), or `RESULT_INVALID_ARGUMENT`
  ///         for null.
  static unsigned long file_exists(char const *path);

  /// Whether the path names a directory.
  /// @return `RESULT_SUCCESS`, `RESULT_FAILURE`, or `RESULT_INVALID_ARGUMENT` for null.
  static unsigned long directory_exists(char const *path);

  /// Lists the regular files of a directory whose names end in `pattern` (which may contain the
  /// wildcards `*` and `?`; null or empty selects every file), as full paths in the system's order.
  /// A name that contains a backslash is omitted with a warning: in a path of this library it would
  /// mean another file.
  ///
  /// @param out  its contents are replaced by the paths; may hold the arguments; untouched on
  ///             failure.
  /// @return `RESULT_SUCCESS`, also if no file is found or the directory is null (each a warning);
  ///         `RESULT_PRECONDITION_ERROR` for a null `out`; `RESULT_IO_ERROR` if the directory
  ///         cannot be read to its end; `RESULT_OUT_OF_MEMORY`.
  static unsigned long get_file_list(char const *directory, char const *pattern,
                                     std::vector<std::string> *out);

  /// Lists the directories whose path begins with `prefix`. A prefix that ends with a separator
  /// lists the contents of one directory, "." and ".." included. Names that contain a backslash are
  /// omitted.
  ///
  /// @param prefix  null means the empty prefix.
  /// @param out     as for `get_file_list`.
  /// @return as `get_file_list`, without warnings.
  static unsigned long get_dir_list(char const *prefix, std::vector<std::string> *out);

  /// Replaces the contents of a file atomically: at any time the file holds either the old bytes or
  /// the new bytes, also if the process is killed or the disk is full (addition).
  ///
  /// Writes the bytes to a temporary file in the same directory, flushes it to the disk, sets the
  /// old file's permissions and owner, renames it, and flushes the directory. A new file gets
  /// the process's default permissions. If the path is a symbolic link, its target is replaced.
  ///
  /// The file is overwritten in place instead, not atomically, if a rename would lose something:
  /// the directory is not writable, the owner cannot be kept, or the file has further hard links,
  /// is a mount point or is not a regular file; also if the temporary file's path would be too
  /// long, if the text of a link contains a backslash or begins with a drive, and on Windows if a
  /// reader has the file open. Readers may then find old and new bytes mixed, and the file may stay
  /// so after a kill.
  ///
  /// A process that is killed during a save may leave a temporary file, whose name begins with
  /// ".ostbase-". Each save removes such files in the directory that are older than a day. A broken
  /// pipe is a failure like any other.
  ///
  /// @param data  `size` bytes, borrowed; may be null if `size` is 0.
  /// @return `RESULT_SUCCESS`; `RESULT_IO_ERROR` if a step fails or the caller may not write the
  ///         file, with the old contents and no temporary file left. Only if the last step fails,
  ///         the flush of the directory, the file has the new contents, which a crash of the system
  ///         may undo. After a failure in place, the old bytes are written back; if the file cannot
  ///         be read, or this fails as well, the file holds some of both. `RESULT_INVALID_ARGUMENT`
  ///         for null; `RESULT_OUT_OF_MEMORY`. The reason of a failure is logged at debug.
  static unsigned long replace_file(char const *path, char const *data, std::size_t size);

  // --- Environment ----------------------------------------------------------------------------

  /// Reads an environment variable (addition). In a program that runs set-user-ID, or otherwise
  /// with more rights than its user, the library removes its own variables and `PATH` when it is
  /// loaded.
  ///
  /// @param value  receives the text; untouched if the variable is not set; may be null.
  /// @return true if the variable is set, also to the empty text; false for a null name and
  ///         without memory.
  static bool get_environment_variable(char const *name, std::string *value);

  // --- Console and process --------------------------------------------------------------------

  /// Whether a key press is pending at the console; false without a terminal, in a background
  /// process of its terminal, and for every stream but standard input, null included. Changes no
  /// signal handler: if a signal ends or stops the process during the call, the terminal may be
  /// left without line editing.
  static bool input_ready(std::FILE *stream);

  /// Waits for a key press, echoes it and returns its character; a carriage return if there is no
  /// terminal, so that a loop over lines ends. The terminal's mode is restored also if SIGINT,
  /// SIGTERM, SIGHUP, SIGQUIT or SIGTSTP ends or stops the program meanwhile, or the thread is
  /// stopped. Another end without clean-up (`_exit`, SIGKILL, a crash) leaves the terminal without
  /// line editing.
  static char get_char();

  /// Reads one character and appends it to `line`, unless it is a carriage return. Without memory
  /// the character is lost.
  /// @return true at the end of the line (a carriage return), else false. For a null `line` true,
  ///         with nothing read.
  static bool get_line(std::string *line);

  /// Writes all bytes to standard error, unbuffered (addition). Null writes nothing. Errors are
  /// ignored: on a closed stream or a broken pipe the bytes are lost, and the program goes on.
  static void write_standard_error(char const *text, std::size_t size);

  /// Writes to an open descriptor of the C library (addition). Retries after a short write or a
  /// signal. Blocks until there is room, unless the descriptor is non-blocking. A broken pipe is a
  /// failure like any other.
  ///
  /// @return the number of bytes written: fewer than `size` if the system refused the rest; -1 if
  ///         it refused all, and for null unless `size` is 0.
  static std::ptrdiff_t write_descriptor(int descriptor, void const *data, std::size_t size);

  static unsigned long get_current_process_id();
  static unsigned long get_current_thread_id();

  /// Not provided: always `RESULT_FAILURE`.
  static unsigned long kill(int process_id);
  /// Not provided: always `RESULT_FAILURE`; `process_id` is untouched.
  static unsigned long spawn(char const *command, int *process_id);

  // --- Mutexes --------------------------------------------------------------------------------

  /// Creates a mutex without an owner; the caller deletes it. The argument has no effect.
  /// @return null without memory, or if the system creates no mutex.
  static IMutex *create_mutex(bool);

  // --- Threads --------------------------------------------------------------------------------

  /// Creates a thread that is not started yet; the caller deletes it. The last argument has no
  /// effect.
  /// @param argument  passed to the routine unchanged.
  /// @return null without memory.
  static IThread *create_thread(IThread::Routine routine, void *argument, bool);

  /// Creates a condition variable with its own mutex; the caller deletes it.
  /// @return null without memory.
  static IConditionVariable *create_condition_variable();

  // --- Shared libraries -----------------------------------------------------------------------

  /// Creates an object that loads a library later; the caller owns one reference.
  /// @return null without memory.
  static ISharedLibrary *create_shared_library();

  // --- Directories of the framework -----------------------------------------------------------

  /// Reads the directory or search path for one kind of file from the environment, the registry
  /// and the build-time defaults, all read anew in each call. A registry value that cannot be read
  /// counts as not set.
  ///
  /// @param out  replaced on success.
  /// @return `RESULT_SUCCESS`, `RESULT_INVALID_ARGUMENT` (null `out`, unknown property) or
  ///         `RESULT_OUT_OF_MEMORY`.
  static unsigned long get_system_property(SystemProperty property, std::string *out);

  /// Reads the directories of a property one by one, with their origins (addition). Joined by the
  /// search path delimiter they are the text of `get_system_property`.
  ///
  /// @param out  replaced on success.
  /// @return as `get_system_property`.
  static unsigned long get_search_path_elements(SystemProperty property,
                                                std::vector<SearchPathElement> *out);

  /// Looks for a readable file in the directories of a search path, first to last. Skips a file
  /// that cannot be opened, also if the reason is temporary (no free descriptor, a file server that
  /// fails).
  ///
  /// @param out  receives the directory, a backslash and the name; untouched on failure.
  /// @return `RESULT_SUCCESS`, `RESULT_NOT_FOUND` (also for a null name),
  ///         `RESULT_INVALID_ARGUMENT` (null `out`) or `RESULT_OUT_OF_MEMORY`.
  static unsigned long find_file(std::string search_path, char const *file_name, std::string *out);

  /// Copies the element of a search path with that index, from 0.
  ///
  /// @return `RESULT_SUCCESS`, `RESULT_INVALID_ARGUMENT` (null `out`), `RESULT_NOT_FOUND` (empty
  ///         search path), `RESULT_OUT_OF_BOUND` or `RESULT_OUT_OF_MEMORY`.
  static unsigned long get_seq_path(std::string const &search_path, int index, std::string *out);

  /// `get_seq_path` with index 0.
  static unsigned long get_first_path(std::string const &search_path, std::string *out);

  /// Looks for a file along the search path of a property.
  ///
  /// @return as `get_system_property` and `find_file`; each failure but null `out` is a warning.
  static unsigned long find_system_file(SystemProperty property, char const *file_name,
                                        std::string *out);

  /// If the name is the path of a readable file, copies it unchanged; otherwise the same as
  /// `find_system_file`.
  ///
  /// @param out  cleared first; may hold the name; null returns `RESULT_INVALID_ARGUMENT`.
  static unsigned long find_system_or_regular_file(SystemProperty property, char const *file_name,
                                                   std::string *out);

  /// Chooses the path for a new file: the name itself if it is absolute; else the name below the
  /// property's first directory; else, with a warning, below the current directory (also if there
  /// is no memory to read the property). Creates and tests nothing.
  ///
  /// @param file_name  null means the empty name.
  /// @param out        cleared first, and left empty without memory for the path; may hold the
  ///                   name; null does nothing.
  static void find_place_to_write(SystemProperty property, char const *file_name, std::string *out);
};

} // namespace Ostrel
