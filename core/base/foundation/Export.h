// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// The attributes of the library's interface; C can read this header as well.

#if defined(_MSC_VER) || defined(__MINGW32__)
#define OSTBASE_EXPORT __declspec(dllexport)
#else
/// Marks what leaves a shared library: for libraries that are loaded at run time.
#define OSTBASE_EXPORT __attribute__((visibility("default")))
#endif

#if (defined(_MSC_VER) || defined(__MINGW32__)) && !defined(OSTBASE_BUILDING)
#define OSTBASE_API __declspec(dllimport)
#else
/// Marks what leaves this library; everything else stays hidden in it.
#define OSTBASE_API OSTBASE_EXPORT
#endif

#ifdef __GNUC__
/// Lets the compiler check the values against a printf-style format. Both arguments count from 1;
/// a member function's object is argument 1. `first` is 0 for a function that takes a `va_list`.
#define OSTBASE_PRINTF(position, first) __attribute__((__format__(__printf__, position, first)))
#else
#define OSTBASE_PRINTF(position, first)
#endif

#ifdef __cplusplus
/// The function lets no exception out.
#define OSTBASE_NOEXCEPT noexcept
#else
#define OSTBASE_NOEXCEPT
#endif
