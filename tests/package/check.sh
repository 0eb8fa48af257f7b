#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# check.sh CHECK BUILD_DIR WORK_DIR: one look at the installed package, by its name.
set -euo pipefail

check=$1 build=$2 work=$3
tree=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../..")
prefix=$work/moved
warnings=(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)

fail() {
  printf '%s\n' "$*" >&2
  exit 1
}

# The package is used at another place than that where it was installed.
install() {
  rm -rf "$work"
  cmake --install "$build" --prefix "$work/installed"
  mv "$work/installed" "$prefix"
}

# Settings of its own, whatever the tree's say today.
run_consumer() {
  mkdir -p "$work/config"
  echo '<UserConfig><ObstacleAvoidance Method="Test"/></UserConfig>' \
    >"$work/config/user-config.xml"
  local output
  output=$(OSTREL_CONFIG_PATH=$work/config "$@" 2>&1)
  [ "$output" = $'avoid obstacles by Test (0)\nINFO  - speaking at 40 %' ] || fail "$output"
}

cmake_consumer() {
  rm -rf "$work/cmake"
  cmake -G Ninja -S "$tree/examples/settings" -B "$work/cmake" -D CMAKE_PREFIX_PATH="$prefix" \
    -D CMAKE_DISABLE_FIND_PACKAGE_LibXml2=ON
  cmake --build "$work/cmake"
  run_consumer "$work/cmake/settings"
}

# The library without the settings refuses who asks for them, and nobody else.
bare_consumer() {
  mkdir -p "$work/bare"
  printf '%s\n' 'cmake_minimum_required(VERSION 3.20)' 'project(bare LANGUAGES CXX)' \
    'find_package(ostbase REQUIRED ${components})' >"$work/bare/CMakeLists.txt"
  local -a configure=(cmake -S "$work/bare" -B "$work/bare" -D CMAKE_PREFIX_PATH="$prefix")
  "${configure[@]}"
  ! "${configure[@]}" -D components=config || fail "there are no settings"
}

pkgconfig_consumer() {
  local pc_dir
  pc_dir=$(dirname "$(find "$prefix" -name ostbase.pc)")
  local -a flags
  read -ra flags <<<"$(PKG_CONFIG_PATH=$pc_dir pkg-config --cflags --libs ostbase)"
  c++ -std=c++17 "$tree/examples/settings/settings.cpp" "${flags[@]}" -o "$work/settings"
  LD_LIBRARY_PATH=$(dirname "$pc_dir") run_consumer "$work/settings"
  cc -std=c99 "${warnings[@]}" "$tree/examples/robot.c" "${flags[@]}" -o "$work/robot"
  local output
  output=$(LD_LIBRARY_PATH=$(dirname "$pc_dir") "$work/robot" 2>&1)
  [[ $output == *'drive 38.90 inches'* ]] || fail "$output"
}

# Compiles each of the headers alone, in front of a source that holds next to nothing.
compile_headers() {
  echo 'typedef int nothing;' >"$work/nothing"
  find . -name "$1" -print0 | xargs --null -I{} --max-procs=2 "${@:2}" -fsyntax-only -I. \
    "${warnings[@]}" -include {} "$work/nothing"
}

# In the oldest and in a newer C++, by two compilers, and in C where a header is for C as well.
headers() {
  cd "$prefix/include/ostrel"
  compile_headers '*.h*' g++ -std=c++17 -xc++
  compile_headers '*.h' gcc -std=c99 -xc
  ! command -v clang++ >/dev/null || compile_headers '*.h*' clang++ -std=c++20 -xc++
}

# Only what is marked for export leaves the library, which is the interface and what belongs to it.
symbols() {
  local strangers
  strangers=$(nm --dynamic --demangle --defined-only --just-symbols \
    "$(find "$prefix" -name libostbase.so)" |
    grep -Ev '^(ovra_|[sp]SiProData$|((typeinfo|typeinfo name|vtable) for |.*thunk to )?Ostrel::)' || true)
  [ -z "$strangers" ] || fail "leave the library unmarked: $strangers"
}

# The first block of a language in the README.
block() {
  awk -v fence="\`\`\`" -v first="\`\`\`$1" \
    '$0 == fence && inside { exit } inside { print } $0 == first { inside = 1 }' "$tree/README.md"
}

# What the README shows is what is tried here.
readme() {
  diff <(block cpp) "$tree/examples/settings/settings.cpp"
  diff <(block cmake) "$tree/examples/settings/CMakeLists.txt"
}

"$check"
