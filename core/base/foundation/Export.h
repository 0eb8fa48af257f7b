// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// The attributes of the library's interface; C can read this header as well.

#if defined(_MSC_VER) || defined(__MINGW32__)
#ifdef OSTBASE_BUILDING
#define OSTBASE_API __declspec(dllexport)
#else
#define OSTBASE_API __declspec(dllimport)
#endif
#else
/// Marks what leaves the shared library; everything else stays hidden in it.
#define OSTBASE_API __attribute__((visibility("default")))
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
