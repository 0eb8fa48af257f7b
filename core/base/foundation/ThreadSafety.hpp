// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// Which mutex guards what, in the words that Clang's thread-safety analysis checks. Empty for
/// other compilers, and in programs that use the library.

#if defined(__clang__) && defined(OSTBASE_BUILDING)
#define OSTBASE_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define OSTBASE_THREAD_SAFETY(attribute)
#endif

/// A class whose objects are mutexes.
#define OSTBASE_CAPABILITY OSTBASE_THREAD_SAFETY(capability("mutex"))
/// A class whose objects hold a mutex from constructor to destructor.
#define OSTBASE_SCOPED_CAPABILITY OSTBASE_THREAD_SAFETY(scoped_lockable)
/// A variable that is read and written only while the mutex is held.
#define OSTBASE_GUARDED_BY(mutex) OSTBASE_THREAD_SAFETY(guarded_by(mutex))
/// A function that is called only while the mutex is held.
#define OSTBASE_REQUIRES(mutex) OSTBASE_THREAD_SAFETY(requires_capability(mutex))
/// The constructor of a scoped class, with the mutex that it acquires.
#define OSTBASE_ACQUIRE(mutex) OSTBASE_THREAD_SAFETY(acquire_capability(mutex))
/// The destructor of a scoped class.
#define OSTBASE_RELEASE() OSTBASE_THREAD_SAFETY(release_capability())
