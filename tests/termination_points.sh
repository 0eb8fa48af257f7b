#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compares the operations that wait with their marks (OSTBASE_TERMINATION_POINT). A function waits if
# it calls one of Windows' waiting calls, a marked operation or one of the steps below. A function
# that waits is marked or is such a step, and a marked function waits. Not looked at: unnamed
# namespaces, and classes that a source defines for itself.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../core/base"

# Parts of marked operations, or of operations in whose wait no thread may be ended.
steps=(Win32Mutex::acquire_for_certain Win32Mutex::release_and_wait
  Win32ConditionVariable::wait_unlocked Win32ConditionVariable::enqueue
  Win32ConditionVariable::finish Win32ConditionVariable::withdraw)

# Each function of the sources becomes one line.
functions=$(awk '
  /^namespace {/ { is_unnamed = 1 }
  /^} \/\/ namespace$/ { is_unnamed = 0 }
  is_unnamed || (text == "" && !/^[A-Za-z[].*[(]/) { next }
  { text = text " " $0 }
  /^}$|{}$/ { print text; text = "" }
  /;$/ && text !~ /{/ { text = "" }' foundation/*.cpp platform/*.cpp)

awk -v steps="${steps[*]}" '
  {
    name = $0
    sub(/[(].*/, "", name)
    sub(/.*[ *&]/, "", name)
    names[NR] = name
    bodies[NR] = substr($0, index($0, ")"))
    is_marked[NR] = /OSTBASE_TERMINATION_POINT/
    is_step[NR] = index(" " steps " ", " " name " ") > 0
    sub(/.*::/, "", name)
    if (is_marked[NR] || is_step[NR]) waiting = waiting "|" name
  }
  END {
    waiting = "[^A-Za-z_](WaitForSingleObject|SignalObjectAndWait|TerminateThread|Sleep|_getche" waiting ")[(]"
    for (i = 1; i <= NR; ++i)
      if ((bodies[i] ~ waiting) != (is_marked[i] || is_step[i])) {
        print names[i] (is_marked[i] || is_step[i] ? " does not wait" : " waits and is not marked")
        faults = 1
      }
    exit faults
  }' <<<"$functions"
