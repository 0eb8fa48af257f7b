// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// The library for programs in C: logging, arrays of numbers, the texts of result codes, user
/// settings, units, and the last component of a path.
///
/// Functions that can fail return a code of `ovra_result_code` as an `unsigned long`; the comments
/// below omit its prefix `OVRA_`. After a failure the outputs are untouched. Every pointer may be
/// null, and each function says what that means. Texts are zero-terminated and borrowed for the
/// call.
///
/// Any thread may call any function at any time, but an array is used by one thread at a time.

#include "core/base/foundation/Export.h"
#include "core/base/foundation/Formatting.h"

#ifdef __cplusplus
extern "C" {
#else
#include <stdbool.h>

typedef struct ovra_log_category ovra_log_category;
typedef struct ovra_array ovra_array;
typedef struct tagSimpleProfilerData tagSimpleProfilerData;
#endif

/// A named source of log messages. Lives as long as the library is loaded; the caller does not free
/// it.
struct ovra_log_category;

/// A growable array of numbers in one block of memory, owned by the caller that created it. In C++
/// `reinterpret_cast` converts it to and from an `Ostrel::Array`; an array from
/// `ovra_doublearray__create` is an `Ostrel::DoubleArray`.
struct ovra_array;

/// The result codes: `Ostrel::ResultCode` with a prefix. `ovra_result__get_description` returns the
/// meaning of each.
enum ovra_result_code {
  OVRA_RESULT_SUCCESS = 0,
  OVRA_RESULT_FAILURE = 1,
  OVRA_RESULT_INTERNAL_ERROR = 2,
  OVRA_RESULT_PRECONDITION_ERROR = 3,
  OVRA_RESULT_INVALID_ARGUMENT = 4,
  OVRA_RESULT_INVALID_STATE = 5,
  OVRA_RESULT_OUT_OF_MEMORY = 6,
  OVRA_RESULT_SYSTEM_ERROR = 7,
  OVRA_RESULT_UNKNOWN_ERROR = 8,
  OVRA_RESULT_NOT_IMPLEMENTED = 9,
  OVRA_RESULT_NOT_FOUND = 10,
  OVRA_RESULT_ALREADY_EXISTS = 11,
  OVRA_RESULT_NOT_EMPTY = 12,
  OVRA_RESULT_OUT_OF_BOUND = 13,
  OVRA_RESULT_INVALID_CONFIGURATION = 14,
  OVRA_RESULT_NOT_ACTIVE = 15,
  OVRA_RESULT_BUFFER_TOO_SMALL = 16,
  OVRA_RESULT_IO_ERROR = 17,
  OVRA_RESULT_INSUFFICIENT_ACCESS = 18,
  OVRA_RESULT_BUSY = 19,
  OVRA_RESULT_ACQUISITION_ERROR = 20,
  OVRA_RESULT_NETWORK_ERROR = 21,
  OVRA_RESULT_CORBA_ERROR = 22,
  OVRA_RESULT_CRC_FAILURE = 23,
  OVRA_RESULT_INVALID_TYPE = 24,
  OVRA_RESULT_TIMEOUT = 25,
  OVRA_RESULT_FILE_NOT_OPEN = 26,
  OVRA_RESULT_UNSUPPORTED_FORMAT = 27
};

/// The kinds of quantities that have units: `Ostrel::UnitType` with a prefix.
enum ovra_unit_type {
  OVRA_UNIT_TYPE_DISTANCE = 0,
  OVRA_UNIT_TYPE_ANGLE = 1,
  OVRA_UNIT_TYPE_TIME = 2
};

/// The priorities of messages and categories: `Ostrel::LoggingPriority::PriorityLevel` with a
/// prefix. A message passes if its priority is not above that of the category.
enum ovra_priority {
  OVRA_PRIORITY_DISABLED = 0, ///< Nothing passes.
  OVRA_PRIORITY_FATAL = 100,
  OVRA_PRIORITY_ERROR = 200,
  OVRA_PRIORITY_WARN = 300,
  OVRA_PRIORITY_INFO = 400,
  OVRA_PRIORITY_TRACE = 450,
  OVRA_PRIORITY_DEBUG = 500,
  OVRA_PRIORITY_VERBOSE = 600, ///< Everything passes.
  OVRA_PRIORITY_NOT_SET = 1000 ///< Inherited from the category above.
};

/// @name Logging
///
/// A category name has parts joined by dots, such as "Robot.Arm"; case is ignored, and the empty
/// name is the root. A category without a priority inherits that of the category above it. Formats
/// are those of `printf`; messages are truncated to 3999 characters. A null category name or a null
/// format logs nothing.
///
/// Initially the root logs `INFO` and more urgent messages to standard error. The environment
/// variable `OSTREL_LOG_PRIORITY` sets priorities, for example "Robot.Arm,DEBUG".
/// `OSTREL_LOG_OUTPUT` names a file for the categories that `OSTREL_LOG_PRIORITY` lists, and has no
/// effect without it. If `OVRA_LOG_TIMESTAMP` is "YES", messages with a source position start with
/// the time of day.
/// @{

/// Returns the category of that name, and creates it if there is none. Null only for a null name:
/// if a category cannot be created, the result is one that drops every message.
OSTBASE_API ovra_log_category *ovra_log__get_instance(char const *name) OSTBASE_NOEXCEPT;

/// Sets the priority of a category: messages whose number is not above it pass.
///
/// @param category  null is ignored.
/// @param priority  one of `ovra_priority`, or a number between two of them.
OSTBASE_API void ovra_log__set_priority(ovra_log_category *category, int priority) OSTBASE_NOEXCEPT;

/// Logs a debug message followed by its source position: "message [file:line]".
/// @param file  null is the empty text. If out of memory, the whole position is empty.
OSTBASE_API void ovra_log__debug(char const *category, char const *format, char const *file,
                                 int line, ...) OSTBASE_NOEXCEPT OSTBASE_PRINTF(2, 5);

/// Logs a warning in the same way.
OSTBASE_API void ovra_log__warn(char const *category, char const *format, char const *file,
                                int line, ...) OSTBASE_NOEXCEPT OSTBASE_PRINTF(2, 5);

/// Logs information. @return whether it passed the category's priority.
OSTBASE_API bool ovra_log__info(char const *category, char const *format, ...) OSTBASE_NOEXCEPT
    OSTBASE_PRINTF(2, 3);

/// The same, for profiling of input and output.
OSTBASE_API bool ovra_log__io_prof(char const *category, char const *format, ...) OSTBASE_NOEXCEPT
    OSTBASE_PRINTF(2, 3);

/// Logs a warning without a source position. @return whether it passed the category's priority.
OSTBASE_API bool ovra_log__warn_no_debug(char const *category, char const *format,
                                         ...) OSTBASE_NOEXCEPT OSTBASE_PRINTF(2, 3);

/// @}
/// @name Arrays
///
/// A null array has size 0, capacity 0 and null data, and cannot be changed.
/// @{

/// Returns the number of elements.
OSTBASE_API unsigned int ovra_array__get_size(ovra_array const *array) OSTBASE_NOEXCEPT;

/// Returns the number of elements that fit into the allocated memory.
OSTBASE_API unsigned int ovra_array__get_capacity(ovra_array const *array) OSTBASE_NOEXCEPT;

/// Returns the elements, owned by the array; valid until it grows, is cleared or deleted. Null
/// while the capacity is 0.
OSTBASE_API void const *ovra_array__get_data(ovra_array const *array) OSTBASE_NOEXCEPT;

/// Sets the number of elements; new ones are not initialised. If out of memory, the number stays.
OSTBASE_API void ovra_array__set_size(ovra_array *array, unsigned int size) OSTBASE_NOEXCEPT;

/// Removes all elements and frees their memory.
OSTBASE_API void ovra_array__clear(ovra_array *array) OSTBASE_NOEXCEPT;

/// Removes `count` elements, starting at `index`.
///
/// @return `RESULT_SUCCESS`; `RESULT_OUT_OF_BOUND` if `count` is 0 or there are not that many;
///         `RESULT_INVALID_ARGUMENT` for a null array.
OSTBASE_API unsigned long ovra_array__remove(ovra_array *array, unsigned int index,
                                             unsigned int count) OSTBASE_NOEXCEPT;

/// Creates an array with a copy of `count` values.
///
/// @param values  may be null only if `count` is 0.
/// @return the array, to be deleted with `ovra_doublearray__delete`; null if out of memory or if
///         `values` is refused.
OSTBASE_API ovra_array *ovra_doublearray__create(double const *values,
                                                 unsigned int count) OSTBASE_NOEXCEPT;

/// Deletes an array that `ovra_doublearray__create` returned. Null is ignored.
OSTBASE_API void ovra_doublearray__delete(ovra_array *array) OSTBASE_NOEXCEPT;

/// Returns an element; 0.0 if the index is out of range.
OSTBASE_API double ovra_doublearray__get(ovra_array const *array,
                                         unsigned int index) OSTBASE_NOEXCEPT;

/// Sets an element; does nothing if the index is out of range.
OSTBASE_API void ovra_doublearray__set(ovra_array *array, unsigned int index,
                                       double value) OSTBASE_NOEXCEPT;

/// Appends an element.
///
/// @return `RESULT_SUCCESS`, `RESULT_OUT_OF_MEMORY`, or `RESULT_INVALID_ARGUMENT` for a null array.
OSTBASE_API unsigned long ovra_doublearray__push_back(ovra_array *array,
                                                      double value) OSTBASE_NOEXCEPT;

/// @}
/// @name Result codes
///
/// The texts are static and never null; for a number that is not a code they say so.
/// @{

/// Returns the name of a code, for example "RESULT_NOT_FOUND" for 10.
OSTBASE_API char const *ovra_result__get_name(unsigned long code) OSTBASE_NOEXCEPT;

/// Returns the one-line description of a code.
OSTBASE_API char const *ovra_result__get_description(unsigned long code) OSTBASE_NOEXCEPT;

/// @}
/// @name User settings
///
/// A key is a full key, such as "UserConfig/ObstacleAvoidance/Method", or '$' and an alias, such as
/// "$ObstacleAvoidanceMethod". The first call reads the settings from the first `user-config.xml`
/// in the directories of the environment variable `OSTREL_CONFIG_PATH`, separated by ";". A null
/// key is malformed.
///
/// A library built without the settings (`OSTBASE_BUILD_CONFIG`) lacks these functions: a program
/// that calls them does not link.
/// @{

/// Reads a setting; the empty text if there is no settings file.
///
/// @param buffer  receives the text; the rest of its `size` bytes is filled with zeros. A null
///                buffer is too small for any text.
/// @return `RESULT_SUCCESS`; `RESULT_BUFFER_TOO_SMALL` if the text and its zero byte do not fit;
///         `RESULT_FAILURE` for a malformed key, an unknown alias or a missing setting;
///         `RESULT_ACQUISITION_ERROR` or `RESULT_OUT_OF_MEMORY`.
OSTBASE_API unsigned long ovra_user_config__get_value(char const *key, char *buffer,
                                                      unsigned int size) OSTBASE_NOEXCEPT;

/// Reads a setting whose whole text is a number in decimal notation, with a point in every locale,
/// or a truth value: "true", "false", "1", "0", "yes" or "no", in upper or lower case.
///
/// @param value  untouched if there is no settings file; null is refused.
/// @return as above; `RESULT_INVALID_TYPE`, with a warning that names the file and the line, for
///         any other text and for a number that the type cannot represent;
///         `RESULT_INVALID_ARGUMENT` for a null value.
OSTBASE_API unsigned long ovra_user_config__get_double(char const *key,
                                                       double *value) OSTBASE_NOEXCEPT;
OSTBASE_API unsigned long ovra_user_config__get_long(char const *key, long *value) OSTBASE_NOEXCEPT;
OSTBASE_API unsigned long ovra_user_config__get_ulong(char const *key,
                                                      unsigned long *value) OSTBASE_NOEXCEPT;
OSTBASE_API unsigned long ovra_user_config__get_bool(char const *key, bool *value) OSTBASE_NOEXCEPT;

/// Reads a setting that is a number and a unit of that type ("30 deg", "1.5 m"), converted to the
/// type's default unit, in which a number alone is.
///
/// @param type  one of `ovra_unit_type`; others return `RESULT_INVALID_ARGUMENT`.
/// @return as above; `RESULT_INVALID_TYPE` also for a unit of another type.
OSTBASE_API unsigned long ovra_user_config__get_quantity(char const *key, int type,
                                                         double *value) OSTBASE_NOEXCEPT;

/// Whether there is a settings file.
OSTBASE_API bool ovra_user_config__is_available(void) OSTBASE_NOEXCEPT;

/// Reads the settings file afresh; settings that were set without commit stay. On failure
/// everything does.
///
/// @return `RESULT_SUCCESS`; `RESULT_NOT_FOUND` if there is no settings file; `RESULT_FAILURE` if
///         it does not parse or cannot be read; `RESULT_ACQUISITION_ERROR`;
///         `RESULT_OUT_OF_MEMORY`.
OSTBASE_API unsigned long ovra_user_config__reload(void) OSTBASE_NOEXCEPT;

/// The same if the file has changed since it was read, which costs one look at it.
OSTBASE_API unsigned long ovra_user_config__reload_if_changed(void) OSTBASE_NOEXCEPT;

/// Changes a setting for this process and, on request, in the settings file. A commit keeps the
/// changes that other processes have committed.
///
/// @param value   the new text; null is refused.
/// @param commit  not 0: also writes the setting to the settings file, if there is one.
/// @return `RESULT_SUCCESS`; `RESULT_FAILURE` for a malformed key or an unknown alias, or if the
///         file cannot be written; `RESULT_INVALID_ARGUMENT` for a null value;
///         `RESULT_ACQUISITION_ERROR` or `RESULT_OUT_OF_MEMORY`.
OSTBASE_API unsigned long ovra_user_config__set_value(char const *key, char const *value,
                                                      int commit) OSTBASE_NOEXCEPT;

/// Changes several settings, all or none, in one write of the file.
///
/// @param keys    `count` keys.
/// @param values  as many texts. A null array, key or text is refused, unless `count` is 0.
/// @return as above: the first failure, with nothing changed.
OSTBASE_API unsigned long ovra_user_config__set_values(char const *const *keys,
                                                       char const *const *values,
                                                       unsigned int count,
                                                       int commit) OSTBASE_NOEXCEPT;

/// Removes a setting from this process and, on request, from the settings file.
///
/// @return as above; `RESULT_NOT_FOUND` if the setting does not exist.
OSTBASE_API unsigned long ovra_user_config__remove_value(char const *key,
                                                         int commit) OSTBASE_NOEXCEPT;

/// @}
/// @name Units
///
/// The type is one of `ovra_unit_type`; other numbers are unknown types. Each type has a default
/// unit, initially "cm", "rad" and "sec". The names of units are case-sensitive:
///
/// - distances: mm, millimeter, millimeters, cm, centimeter, centimeters, Centimeter, Centimeters,
///   m, meter, meters, in, inch, inches, Inch, Inches, ft, foot, feet, Foot, Feet, fists (of 32 cm)
/// - angles: rad, radian, radians, deg, degree, degrees
/// - times: ms, millisecond, milliseconds, s, sec, second, seconds, min, minute, minutes, h, hr,
///   hour, hours
///
/// A null unit is an unknown one. A conversion with an unknown unit or type logs a warning. Every
/// operation returns `RESULT_OUT_OF_MEMORY` if out of memory.
/// @{

/// Returns the name of the type's default unit.
///
/// @param buffer  receives the name; the rest of its `size` bytes is filled with zeros. A null
///                buffer is too small for any name.
/// @return `RESULT_SUCCESS`, `RESULT_INVALID_ARGUMENT` for an unknown type, or
///         `RESULT_BUFFER_TOO_SMALL` if the name and its zero byte do not fit.
OSTBASE_API unsigned long ovra_units__get_default(int type, char *buffer,
                                                  unsigned int size) OSTBASE_NOEXCEPT;

/// Sets the default unit of a type for the whole process.
///
/// @return `RESULT_SUCCESS`, `RESULT_INVALID_ARGUMENT` for an unknown type, or `RESULT_NOT_FOUND`
///         for an unknown unit.
OSTBASE_API unsigned long ovra_units__set_default(int type, char const *units) OSTBASE_NOEXCEPT;

/// Converts from a unit to the default unit.
///
/// @param result  receives the converted value; null is refused.
/// @return `RESULT_SUCCESS`, or `RESULT_INVALID_ARGUMENT` for an unknown type or unit and for a
///         null result.
OSTBASE_API unsigned long ovra_units__convert_to_default(int type, char const *units, double value,
                                                         double *result) OSTBASE_NOEXCEPT;

/// Converts from the default unit to another unit.
///
/// @param result  receives the converted value; null is refused.
/// @return `RESULT_SUCCESS`; `RESULT_FAILURE` for an unknown type; `RESULT_INVALID_ARGUMENT` for an
///         unknown unit and for a null result.
OSTBASE_API unsigned long ovra_units__convert_from_default(int type, char const *units,
                                                           double value,
                                                           double *result) OSTBASE_NOEXCEPT;

/// Converts from one unit to another.
///
/// @param result  receives the converted value; null is refused.
/// @return `RESULT_SUCCESS`, or `RESULT_INVALID_ARGUMENT` for an unknown type or unit and for a
///         null result.
OSTBASE_API unsigned long ovra_units__convert(int type, char const *from_units, double value,
                                              char const *to_units,
                                              double *result) OSTBASE_NOEXCEPT;

/// @}
/// @name Paths
/// @{

/// Returns the part of a path after its last backslash, or the whole path if it has none. A slash
/// does not count.
///
/// @return an address within the path, which is not changed; null for a null path.
OSTBASE_API char *ovra_win32_basename(char *path) OSTBASE_NOEXCEPT;

/// @}
/// @name Profiler data
/// @{

/// 256 bytes for programs to share profiling data in a format of their own. The library neither
/// reads nor writes them.
struct tagSimpleProfilerData {
  unsigned long long words[32]; ///< Copy your own fields in and out with `memcpy`.
};

/// Zero when the library is loaded.
extern OSTBASE_API tagSimpleProfilerData sSiProData;

/// Null when the library is loaded.
extern OSTBASE_API tagSimpleProfilerData *pSiProData;

/// @}

#ifdef __cplusplus
}
#endif
