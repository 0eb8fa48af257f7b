// SPDX-License-Identifier: Apache-2.0
// The allocation that this program replaces (FailingAllocations.cpp) is its own alone: a Windows
// library is linked to the one of the C++ library, for good. So that one is made to jump to ours,
// before any test runs; all other forms of `new` there are built on it.
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
    std::abort(); // the tests would see no failure
  }
  std::memcpy(theirs, jump, sizeof jump);
  return VirtualProtect(theirs, sizeof jump, before, &before) != FALSE;
}

[[maybe_unused]] bool const is_redirected = redirect();

} // namespace
