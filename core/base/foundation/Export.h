// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// The attributes of the library's interface, for C and C++.

#if defined(_MSC_VER) || defined(__MINGW32__)
#define OSTBASE_EXPORT __declspec(dllexport)
#else
/// Exports a symbol from a shared library, for example from a plug-in.
#define OSTBASE_EXPORT __attribute__((visibility("default")))
#endif

#if (defined(_MSC_VER) || defined(__MINGW32__)) && !defined(OSTBASE_BUILDING)
#define OSTBASE_API __declspec(dllimport)
#else
/// Exports a symbol from this library; all others are hidden.
#define OSTBASE_API OSTBASE_EXPORT
#endif

#ifdef __GNUC__
/// Lets the compiler check arguments against a printf-style format. Positions count from 1, and the
/// object of a member function is 1. `first` is 0 for a function that takes a `va_list`.
#define OSTBASE_PRINTF(position, first) __attribute__((__format__(__printf__, position, first)))
#else
#define OSTBASE_PRINTF(position, first)
#endif

#ifdef __cplusplus
/// The function throws no exception.
#define OSTBASE_NOEXCEPT noexcept
#else
#define OSTBASE_NOEXCEPT
#endif
