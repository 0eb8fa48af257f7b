// SPDX-License-Identifier: Apache-2.0
// On Windows, FailingAllocations.cpp replaces `operator new` only in the program: a DLL is bound to
// that of the C++ library. Before any test runs, that function is patched to jump to ours; all
// other forms of `new` there call it.
#include "core/base/platform/winapi/winapi.hpp"

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

bool redirect() {
  unsigned char jump[] = {0x48, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xE0}; // mov rax, ours; jmp rax
  void *(*const ours)(std::size_t) = operator new;
  std::memcpy(jump + 2, &ours, sizeof ours);
  auto *const theirs =
      reinterpret_cast<void *>(GetProcAddress(GetModuleHandleA("libstdc++-6.dll"), "_Znwy"));
  DWORD before = 0;
  if (theirs == nullptr ||
      VirtualProtect(theirs, sizeof jump, PAGE_EXECUTE_READWRITE, &before) == FALSE) {
    std::abort(); // no allocation of the library would fail
  }
  std::memcpy(theirs, jump, sizeof jump);
  return VirtualProtect(theirs, sizeof jump, before, &before) != FALSE;
}

[[maybe_unused]] bool const is_redirected = redirect();

} // namespace
