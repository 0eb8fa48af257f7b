// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/IConditionVariable.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/ISharedLibrary.hpp"
#include "core/base/platform/IThread.hpp"

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace Ostrel {

/// The operating system's everyday services: clocks, paths, files, directories, the console,
/// identifiers, mutexes, shared libraries, and where the framework's files are.
///
/// All operations are static and may be called from any thread at any time. File names are 8-bit
/// texts in the system's code page. Paths may be written with backslashes or slashes; those handed
/// out are joined with a backslash on every operating system, and `native_path` gives the form
/// that the operating system's own calls take. A null text is never followed.
///
/// A program that unloads the library (`dlclose` of the last library that uses it) first ends, or
/// keeps out, every thread that calls it: a thread inside would return into memory that is gone.
class OSTBASE_API Platform {
public:
  /// Which directory or search path `get_system_property` gives.
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

  /// Blocks the calling thread for that many milliseconds.
  static void millisecond_sleep(unsigned long milliseconds);

  /// Reads the high-resolution monotonic counter in seconds, from an origin of its own; 0.0 when
  /// it cannot be read.
  static double get_timestamp();

  /// The same counter in milliseconds, modulo 2^32: subtract readings in unsigned 32-bit
  /// arithmetic.
  static unsigned long get_millisecond_time();

  /// The same counter in microseconds.
  static double get_microsecond_time();

  /// Gives the local time of day (addition), in the time zone that `TZ` named when the library was
  /// loaded; another one takes effect when the program calls `tzset`.
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
  /// What separates the directories of a search path: ";".
  static char const *get_search_path_delimiter();

  /// Whether the path begins with a separator, with a drive (letter, colon, separator) or with
  /// the current directory (dot, separator). Null is not absolute.
  static bool is_absolute_path(char const *path);

  /// Puts the current directory and a backslash in front of a relative path; an absolute one is
  /// given back unchanged. Nothing is normalised.
  ///
  /// @return false, with `out` untouched, when an argument is null, the path is empty, the current
  ///         directory cannot be read or is longer than 259 characters, or without memory.
  static bool make_absolute_path(char const *path, std::string *out);

  /// Gives the path as the operating system's own calls take it: to be used when a path of this
  /// library is handed to something else (addition). Empty for null and without memory.
  static std::string native_path(char const *path);

  // --- Files and directories ------------------------------------------------------------------

  /// Creates one directory; its parent must exist. `mode` is ignored.
  /// @return `RESULT_SUCCESS` or `RESULT_IO_ERROR` (logged as an info), also for null.
  static unsigned long mkdir(char const *path, int mode);

  /// Reads the current directory, whatever its length.
  /// @return `RESULT_SUCCESS`, `RESULT_IO_ERROR`, `RESULT_OUT_OF_MEMORY`, or
  ///         `RESULT_INVALID_ARGUMENT` for null.
  static unsigned long get_current_directory(std::string *out);

  /// Whether the file can be opened for reading; a directory cannot. The end of another process's
  /// lease on the file is waited for.
  /// @return `RESULT_SUCCESS`, `RESULT_FAILURE` (also without memory), or `RESULT_INVALID_ARGUMENT`
  /// for null.
  static unsigned long file_exists(char const *path);

  /// Whether the path names a directory.
  /// @return `RESULT_SUCCESS`, `RESULT_FAILURE`, or `RESULT_INVALID_ARGUMENT` for null.
  static unsigned long directory_exists(char const *path);

  /// Lists the regular files of a directory whose names end in `pattern` (which may hold the
  /// wildcards `*` and `?`; null or empty selects every file), as full paths in the system's order.
  /// A name with a backslash in it is left out with a warning: no path of this library names it.
  ///
  /// @param out  receives the paths, in the place of what it holds, which may be the arguments;
  ///             untouched on failure.
  /// @return `RESULT_SUCCESS`, also when nothing is found or the directory is null (each a
  ///         warning); `RESULT_PRECONDITION_ERROR` for a null `out`; `RESULT_IO_ERROR` when the
  ///         directory cannot be read to its end; `RESULT_OUT_OF_MEMORY`.
  static unsigned long get_file_list(char const *directory, char const *pattern,
                                     std::vector<std::string> *out);

  /// Lists the directories whose path begins with `prefix`: end it with a separator to list the
  /// contents of one directory, of which "." and ".." are part. A null prefix is an empty one, and
  /// names with a backslash are left out.
  ///
  /// @param out  receives the paths, in the place of what it holds, which may be the prefix;
  ///             untouched on failure.
  /// @return `RESULT_SUCCESS`, also when nothing is found; `RESULT_PRECONDITION_ERROR` for a null
  ///         `out`; `RESULT_IO_ERROR` when the directory cannot be read to its end;
  ///         `RESULT_OUT_OF_MEMORY`.
  static unsigned long get_dir_list(char const *prefix, std::vector<std::string> *out);

  /// Replaces the contents of a file so that it holds the old bytes or the new ones whole at every
  /// moment, also when the process is killed or the disk is full (addition).
  ///
  /// The bytes go to a temporary file in the same directory, are flushed to the disk and take the
  /// file's name, permissions and owner; then the directory is flushed. A new file gets the
  /// process's default permissions. A symbolic link stays, its target is replaced. Where taking the
  /// name would lose something (the directory is not writable, the owner cannot be kept, the file
  /// has further hard links, is a mount point or no regular file), and on Windows where a reader
  /// keeps the file open, it is overwritten in place, without the promise above: readers, and
  /// everyone after a kill, may find both kinds of bytes. So it is where the temporary file's name
  /// makes an old file's path too long, and where a link's own text has a backslash or begins with
  /// a drive. A process that is killed inside may leave its temporary file behind, of which the
  /// name begins with ".ostbase-": no process uses such a file again, and the next save in the
  /// directory, which reads the names there for that, removes those that are older than a day. A
  /// broken pipe is a failure like any other.
  ///
  /// @param data  `size` bytes, borrowed; may be null when `size` is 0.
  /// @return `RESULT_SUCCESS`; `RESULT_IO_ERROR` when any step fails, with the old contents and no
  ///         temporary file; also when the caller may not write the file itself. Only if the last
  ///         step fails, the flush of the directory after the file has taken its name, the file has
  ///         the new contents, which a crash of the system may undo. After a failure in place the
  ///         old bytes have been written back if the file could be read, and if that did not fail
  ///         as well: otherwise the file holds some of both. `RESULT_INVALID_ARGUMENT` for null;
  ///         `RESULT_OUT_OF_MEMORY`. The reason of a failure is logged at debug.
  static unsigned long replace_file(char const *path, char const *data, std::size_t size);

  // --- Environment ----------------------------------------------------------------------------

  /// Reads an environment variable (addition). In a program that runs set-user-ID, or otherwise
  /// with more rights than its user, the library removes its own variables and `PATH` when it is
  /// loaded.
  ///
  /// @param value  receives its text; untouched when the variable is not set; may be null.
  /// @return true when the variable is set, be it to the empty text; false also for a null name
  ///         and without memory.
  static bool get_environment_variable(char const *name, std::string *value);

  // --- Console and process --------------------------------------------------------------------

  /// Whether a key press waits at the console; false without a terminal, in a process that is in
  /// the background of its terminal, and for null and every stream but standard input. Changes no
  /// signal handler: a signal that ends or stops the process in another thread just then may leave
  /// the terminal without line editing.
  static bool input_ready(std::FILE *stream);

  /// Waits for a key press, echoes it and returns its character; a carriage return if there is no
  /// terminal, so that a loop over lines ends. The terminal is left as it was found if SIGINT,
  /// SIGTERM, SIGHUP, SIGQUIT or SIGTSTP ends or stops the program meanwhile, or the thread is
  /// stopped. Another end without clean-up (`_exit`, SIGKILL, a crash) leaves it without line
  /// editing.
  static char get_char();

  /// Reads one character: a carriage return ends the line and gives true; any other is appended to
  /// `line` and gives false. Null gives true, and reads nothing. Without memory the character is
  /// lost, and false says that the line goes on.
  static bool get_line(std::string *line);

  /// Writes the bytes to standard error, whole and unbuffered (addition). Null writes nothing.
  /// What cannot be written is lost: the stream is closed, or nobody reads from its pipe any more,
  /// which does not end the program either.
  static void write_standard_error(char const *text, std::size_t size);

  /// Writes to an open descriptor of the C library (addition). Goes on where a signal has stopped
  /// the system half-way. Waits for room, unless the descriptor has been set not to block. A broken
  /// pipe is a failure like any other.
  ///
  /// @return how many bytes were taken: fewer than `size` when the system refused the rest, -1 when
  ///         it refused all, and for null unless `size` is 0.
  static std::ptrdiff_t write_descriptor(int descriptor, void const *data, std::size_t size);

  static unsigned long get_current_process_id();
  static unsigned long get_current_thread_id();

  /// Not provided: always `RESULT_FAILURE`.
  static unsigned long kill(int process_id);
  /// Not provided: always `RESULT_FAILURE`; `process_id` is untouched.
  static unsigned long spawn(char const *command, int *process_id);

  // --- Mutexes --------------------------------------------------------------------------------

  /// Makes a mutex that nobody owns; the caller deletes it. The argument has no effect.
  /// @return null when memory or the system's mutex cannot be had.
  static IMutex *create_mutex(bool);

  // --- Threads --------------------------------------------------------------------------------

  /// Makes a thread that is not started yet; the caller deletes it. The last argument has no
  /// effect.
  /// @param argument  handed to the routine unchanged.
  /// @return null without memory.
  static IThread *create_thread(IThread::Routine routine, void *argument, bool);

  /// Makes a condition variable with its own mutex; the caller deletes it.
  /// @return null without memory.
  static IConditionVariable *create_condition_variable();

  // --- Shared libraries -----------------------------------------------------------------------

  /// Makes an object that loads a library; the caller owns one reference, and nothing is loaded.
  /// @return null without memory.
  static ISharedLibrary *create_shared_library();

  // --- Where the framework's files are --------------------------------------------------------

  /// Reads the directory or search path for one kind of file from the environment, the registry
  /// and the build-time defaults, all of them afresh at each call. A registry value that cannot be
  /// read, for whatever reason, counts as one that is not set.
  ///
  /// @param out  replaced on success.
  /// @return `RESULT_SUCCESS`, `RESULT_INVALID_ARGUMENT` (null `out`, unknown property) or
  ///         `RESULT_OUT_OF_MEMORY`.
  static unsigned long get_system_property(SystemProperty property, std::string *out);

  /// Looks for a readable file in the directories of a search path, first to last. A file that
  /// cannot be opened is passed over, also if it could be opened at another moment (no descriptor,
  /// a file server that fails).
  ///
  /// @param out  receives the directory, a backslash and the name; untouched on failure.
  /// @return `RESULT_SUCCESS`, `RESULT_NOT_FOUND` (also for a null name),
  ///         `RESULT_INVALID_ARGUMENT` (null `out`) or `RESULT_OUT_OF_MEMORY`.
  static unsigned long find_file(std::string search_path, char const *file_name, std::string *out);

  /// Gives the element of a search path with that index, from 0.
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

  /// Takes the name as an ordinary path first and gives it back unchanged when it can be read;
  /// otherwise as `find_system_file`.
  ///
  /// @param out  emptied first; may hold the name; null gives `RESULT_INVALID_ARGUMENT`.
  static unsigned long find_system_or_regular_file(SystemProperty property, char const *file_name,
                                                   std::string *out);

  /// Chooses where to write a new file: the name itself when absolute, else below the property's
  /// first directory, else, with a warning, below the current one: also when there was no memory to
  /// read the property. Creates and tests nothing.
  ///
  /// @param out  emptied first, and left empty without memory for the path itself; may hold the
  ///             name; null does nothing. A null name is an empty one.
  static void find_place_to_write(SystemProperty property, char const *file_name, std::string *out);
};

} // namespace Ostrel
