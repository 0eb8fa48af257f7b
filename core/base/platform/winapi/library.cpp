// SPDX-License-Identifier: Apache-2.0
// LoadLibraryA, FreeLibrary and GetProcAddress, on the loader of the C library.
//
// The loader ignores PATH, and for a bare name returns a library of that name that is loaded
// already, from whatever directory. So a bare name is searched along PATH here, and the file found
// is loaded by its full path. The loader also looks up a symbol in the libraries that a library
// needs, and would find a missing name in the C library.
#include "core/base/platform/posix/cancellation.hpp"
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/path.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>

namespace {

using Ostrel::fail;
using Ostrel::fail_in_loader;
using Ostrel::last_part;
using Ostrel::NativePath;
using Ostrel::NotCancelled;

// Also keeps the loader from opening a pipe, where it would wait for the other end.
bool is_regular_file(char const *path) {
  struct stat status = {};
  return stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

// Also true if the status cannot be read for lack of memory or because the device fails: otherwise
// the file of a later directory would be loaded instead. A file server that does not answer is
// skipped, as in a search for a program along PATH.
bool may_be_regular_file(char const *path) {
  errno = 0;
  return is_regular_file(path) || errno == ENOMEM || errno == EIO;
}

std::size_t element_length(char const *search_path) {
  std::size_t const drive = Ostrel::drive_length(search_path);
  return drive + std::strcspn(search_path + drive, ";:");
}

// Returns the path of the first file of that name; the empty text if there is none.
std::string find_along_path(char const *name) {
  char const *const variable = std::getenv("PATH");
  std::string const path = variable != nullptr ? variable : "";
  char const *element = path.c_str();
  while (*element != '\0') {
    std::size_t const length = element_length(element);
    NativePath const file((std::string(element, length) + '/' + name).c_str());
    if (length > 0 && file.is_valid() && may_be_regular_file(file.c_str())) {
      return file.c_str();
    }
    element += length;
    element += *element != '\0' ? 1 : 0;
  }
  return {};
}

// Constructors of the library run inside. The thread must not end there, by an exception (hence
// `noexcept`) or by cancellation: the loader would stay locked.
void *open_library(char const *path, DWORD failure) noexcept {
  NotCancelled const here;
  errno = 0;
  void *const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    fail_in_loader(errno == ENOMEM ? ERROR_NOT_ENOUGH_MEMORY : failure);
  }
  return library;
}

bool close_library(void *library) noexcept {
  NotCancelled const here;
  return dlclose(library) == 0;
}

// Whether the library itself defines what is at that address. True also if that is unknown, as for
// a variable of which each thread has a copy.
bool is_defined_in(void *library, void *address) {
  Dl_info names = {};
  void *owner = nullptr;
  link_map *self = nullptr;
  return dladdr1(address, &names, &owner, RTLD_DL_LINKMAP) == 0 ||
         dlinfo(library, RTLD_DI_LINKMAP, &self) != 0 || owner == self;
}

} // namespace

HMODULE LoadLibraryA(char const *path) try {
  dlerror(); // what an earlier failure left
  NativePath const native(path);
  if (!native.is_valid()) {
    return nullptr;
  }
  bool const is_bare = last_part(native.c_str()) == native.c_str();
  std::string const file = is_bare ? find_along_path(native.c_str()) : native.c_str();
  if (file.empty()) {
    return open_library(native.c_str(), ERROR_MOD_NOT_FOUND);
  }
  if (!is_regular_file(file.c_str())) {
    fail(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  return open_library(file.c_str(), ERROR_BAD_EXE_FORMAT);
} catch (std::bad_alloc const &) {
  SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  return nullptr;
}

BOOL FreeLibrary(HMODULE library) {
  return close_library(library) ? TRUE : fail(ERROR_INVALID_HANDLE);
}

FARPROC GetProcAddress(HMODULE library, char const *symbol) {
  void *const address = dlsym(library, symbol);
  if (address == nullptr || !is_defined_in(library, address)) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  return reinterpret_cast<FARPROC>(address);
}
