// SPDX-License-Identifier: Apache-2.0
// LoadLibraryA, FreeLibrary and GetProcAddress, on the loader of the C library.
//
// The loader knows nothing of PATH, and takes a bare name for a library of that name that is loaded
// already, wherever that one came from. So a bare name is looked for along PATH here, and the file
// that is found is loaded by its full path. The loader's look-up of a symbol goes through the
// libraries that a library needs as well, and would find a missing name in the C library.
#include "core/base/platform/posix/cancellation.hpp"
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/path.hpp"
#include "core/base/platform/winapi/system.hpp"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>

namespace {

using Ostrel::fail;
using Ostrel::fail_in_loader;
using Ostrel::NotCancelled;

std::string to_native(std::string path) {
  Ostrel::to_native_path(path.data());
  path.resize(std::strlen(path.c_str()));
  return path;
}

// Also keeps the loader from a pipe, at which it would wait for the other end.
bool is_regular_file(std::string const &path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// Also true of a file whose state cannot be read for lack of memory or a failure of the device: to
// pass it over would load the file of a later directory in its place. A file server that does not
// answer is passed over, as it is when a program is looked for along PATH.
bool may_be_regular_file(std::string const &path) {
  errno = 0;
  return is_regular_file(path) || errno == ENOMEM || errno == EIO;
}

std::size_t element_length(char const *search_path) {
  std::size_t const drive = Ostrel::drive_length(search_path);
  return drive + std::strcspn(search_path + drive, ";:");
}

// Returns the path of the first file of that name; the empty text if there is none.
std::string find_along_path(std::string const &name) {
  char const *const variable = std::getenv("PATH");
  std::string const path = variable != nullptr ? variable : "";
  char const *element = path.c_str();
  while (*element != '\0') {
    std::size_t const length = element_length(element);
    std::string file = to_native(std::string(element, length)) + '/' + name;
    if (length > 0 && may_be_regular_file(file)) {
      return file;
    }
    element += length;
    element += *element != '\0' ? 1 : 0;
  }
  return {};
}

// Foreign code runs inside. The thread must not end there, by an exception (hence `noexcept`) or by
// cancellation: the loader would stay locked.
void *open_library(std::string const &path, DWORD failure) noexcept {
  NotCancelled const here;
  errno = 0;
  void *const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    fail_in_loader(errno == ENOMEM ? ERROR_NOT_ENOUGH_MEMORY : failure);
  }
  return library;
}

bool close_library(void *library) noexcept {
  NotCancelled const here;
  return dlclose(library) == 0;
}

template <typename Item> Item const *table_at(ElfW(Dyn) const &entry) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the loader keeps addresses as numbers there.
  return reinterpret_cast<Item const *>(entry.d_un.d_ptr);
}

// The symbols that a library has, by the hash table that most linkers make of those that it defines
// itself.
class Symbols {
public:
  explicit Symbols(link_map const &library) {
    for (ElfW(Dyn) const *entry = library.l_ld; entry->d_tag != DT_NULL; ++entry) {
      if (entry->d_tag == DT_SYMTAB) {
        symbols_ = table_at<ElfW(Sym)>(*entry);
      } else if (entry->d_tag == DT_STRTAB) {
        names_ = table_at<char>(*entry);
      } else if (entry->d_tag == DT_GNU_HASH) {
        hashes_ = table_at<std::uint32_t>(*entry);
      }
    }
  }

  // True also if there is no such table.
  bool may_define(char const *name) const {
    if (symbols_ == nullptr || names_ == nullptr || hashes_ == nullptr || hashes_[0] == 0) {
      return true;
    }
    std::uint32_t const bucket_count = hashes_[0], first = hashes_[1];
    std::size_t const filter_words = hashes_[2] * sizeof(ElfW(Addr)) / sizeof(std::uint32_t);
    std::uint32_t const *const buckets = hashes_ + HEADER_WORDS + filter_words;
    std::uint32_t const *const chains = buckets + bucket_count;
    std::uint32_t const hash = hash_of(name);
    std::uint32_t i = buckets[hash % bucket_count];
    // The lowest bit of a hash marks the end of a chain.
    for (bool is_last = i < first; !is_last; ++i) {
      std::uint32_t const found = chains[i - first];
      if ((found | 1) == (hash | 1) && std::strcmp(names_ + symbols_[i].st_name, name) == 0) {
        return true;
      }
      is_last = (found & 1) != 0;
    }
    return false;
  }

private:
  static constexpr std::size_t HEADER_WORDS = 4;

  // The function of such tables, by the GNU linker and the loader.
  static std::uint32_t hash_of(char const *name) {
    std::uint32_t hash = 5381;
    for (; *name != '\0'; ++name) {
      hash = hash * 33 + static_cast<unsigned char>(*name);
    }
    return hash;
  }

  ElfW(Sym) const *symbols_ = nullptr;
  char const *names_ = nullptr;
  std::uint32_t const *hashes_ = nullptr;
};

// What lies in another library may be defined in this one as well: of some symbols, such as inline
// variables, all libraries of a process share the first. True also when it cannot be told, as for
// what each thread has a copy of.
bool may_be_defined_in(void *library, char const *name, void *address) {
  Dl_info names = {};
  void *owner = nullptr;
  link_map *self = nullptr;
  return dladdr1(address, &names, &owner, RTLD_DL_LINKMAP) == 0 ||
         dlinfo(library, RTLD_DI_LINKMAP, &self) != 0 || owner == self ||
         Symbols(*self).may_define(name);
}

} // namespace

HMODULE LoadLibraryA(char const *path) try {
  dlerror(); // what an earlier failure left
  if (path == nullptr || path[0] == '\0') {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  std::string const native = to_native(path);
  bool const is_bare = native.find('/') == std::string::npos;
  std::string const file = is_bare ? find_along_path(native) : native;
  if (file.empty()) {
    return open_library(native, ERROR_MOD_NOT_FOUND);
  }
  if (!is_regular_file(file)) {
    fail(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  return open_library(file, ERROR_BAD_EXE_FORMAT);
} catch (std::bad_alloc const &) {
  SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  return nullptr;
}

BOOL FreeLibrary(HMODULE library) {
  return library != nullptr && close_library(library) ? TRUE : fail(ERROR_INVALID_HANDLE);
}

FARPROC GetProcAddress(HMODULE library, char const *symbol) {
  if (library == nullptr || symbol == nullptr) {
    SetLastError(library == nullptr ? ERROR_INVALID_HANDLE : ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  void *const address = dlsym(library, symbol);
  if (address == nullptr || !may_be_defined_in(library, symbol, address)) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  return reinterpret_cast<FARPROC>(address);
}
