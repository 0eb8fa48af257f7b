#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# check.sh CHECK WORK_DIR HAS_SETTINGS CXX: runs one check of the installed package, chosen by name.
set -euo pipefail

check=$1 work=$2 has_settings=$3 compiler=$4
tree=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../..")
prefix=$work/moved
warnings=(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)

fail() {
  printf '%s\n' "$*" >&2
  exit 1
}

# The package is moved after the installation. It is built with debug information, which contains
# source paths.
install() {
  rm -rf "$work"
  cmake --preset install -S "$tree" -B "$work/build" -D CMAKE_INSTALL_PREFIX=/srv/robot \
    -D OSTBASE_BUILD_CONFIG="$has_settings" -D CMAKE_CXX_COMPILER="$compiler" -D CMAKE_CXX_FLAGS=-g
  cmake --build "$work/build"
  DESTDIR=$work/root cmake --install "$work/build"
  mv "$work/root/srv/robot" "$prefix"
}

# The default directories are below the prefix, and no file contains a path of the build machine.
places() {
  local library place
  library=$(find "$prefix" -name libostbase.so)
  for place in /srv/robot/share/ostrel/config /srv/robot/etc/ostrel/config \
    /srv/robot/share/ostrel/data /etc/ostrel/registry.reg; do
    grep -qaF "$place" "$library" || fail "not looked for: $place"
  done
  ! grep -rlF -e "$tree" -e "$work" "$prefix" || fail "a path of this machine is installed"
  diff "$tree/LICENSE" "$prefix/share/doc/ostbase/LICENSE"
}

# Separate settings, independent of those in the tree.
run_consumer() {
  mkdir -p "$work/config"
  echo '<UserConfig><ObstacleAvoidance Method="Test"/></UserConfig>' \
    >"$work/config/user-config.xml"
  local output
  output=$(OSTREL_CONFIG_PATH=$work/config "$@" 2>&1)
  [ "$output" = $'Test: RESULT_SUCCESS\nINFO  - speaking at 40 %' ] || fail "$output"
}

cmake_consumer() {
  rm -rf "$work/cmake"
  cmake -G Ninja -S "$tree/examples/settings" -B "$work/cmake" -D CMAKE_PREFIX_PATH="$prefix" \
    -D CMAKE_DISABLE_FIND_PACKAGE_LibXml2=ON
  cmake --build "$work/cmake"
  run_consumer "$work/cmake/settings"
}

# The tool finds the library, and has its man page, in the tree that was moved.
tool() {
  [ "$("$prefix/bin/ostrel" result 0)" = 'RESULT_SUCCESS (0): Successful result.' ]
  [ -s "$prefix/share/man/man1/ostrel.1" ]
  [ -s "$prefix/share/ostrel/config/user-config.xsd" ]
}

# If a component is missing, the message names it.
components() {
  mkdir -p "$work/components"
  printf '%s\n' 'cmake_minimum_required(VERSION 3.20)' 'project(components LANGUAGES CXX)' \
    'find_package(ostbase REQUIRED ${components})' >"$work/components/CMakeLists.txt"
  local -a configure=(cmake -S "$work/components" -B "$work/components/build"
    -D CMAKE_PREFIX_PATH="$prefix")
  "${configure[@]}" -D components=
  local output
  ! output=$("${configure[@]}" -D "components=config;wheels" 2>&1) || fail "there are no wheels"
  output=$(echo $output) # without the line feeds that CMake inserts
  [[ $output == *"no component 'wheels'"* ]] || fail "$output"
  if [ "$has_settings" = ON ]; then
    [[ $output != *"'config'"* ]] || fail "$output"
    "${configure[@]}" -D components=config
  else
    [[ $output == *"no component 'config'"*"without the settings"* ]] || fail "$output"
    "${configure[@]}" -D components=OPTIONAL_COMPONENTS\;config
  fi
}

pkgconfig_consumer() {
  local pc_dir
  pc_dir=$(dirname "$(find "$prefix" -name ostbase.pc)")
  local -a flags
  # A blank in a path is quoted for the shell.
  eval "flags=($(PKG_CONFIG_PATH=$pc_dir pkg-config --cflags --libs ostbase))"
  c++ -std=c++17 "$tree/examples/settings/settings.cpp" "${flags[@]}" -o "$work/settings"
  LD_LIBRARY_PATH=$(dirname "$pc_dir") run_consumer "$work/settings"
  cc -std=c99 "${warnings[@]}" "$tree/examples/robot.c" "${flags[@]}" -o "$work/robot"
  local output
  output=$(LD_LIBRARY_PATH=$(dirname "$pc_dir") "$work/robot" 2>&1)
  [[ $output == *'drive 38.90 inches'* ]] || fail "$output"
}

# Compiles each header alone, at the head of a nearly empty source.
compile_headers() {
  echo 'typedef int nothing;' >"$work/nothing"
  find . -name "$1" -print0 | xargs --null -I{} --max-procs=2 "${@:2}" -fsyntax-only -I. \
    "${warnings[@]}" -include {} "$work/nothing"
}

# With two compilers, in C++17 and a newer C++, and headers for C also in C.
headers() {
  cd "$prefix/include/ostrel"
  compile_headers '*.h*' g++ -std=c++17 -xc++
  compile_headers '*.h' gcc -std=c99 -xc
  ! command -v clang++ >/dev/null || compile_headers '*.h*' clang++ -std=c++20 -xc++
}

# Only symbols that are marked for export are exported.
symbols() {
  local strangers
  strangers=$(nm --dynamic --demangle --defined-only --just-symbols \
    "$(find "$prefix" -name libostbase.so)" |
    grep -Ev '^(ovra_|[sp]SiProData$|((typeinfo|typeinfo name|vtable) for |.*thunk to )?Ostrel::)' || true)
  [ -z "$strangers" ] || fail "leave the library unmarked: $strangers"
}

# Prints the first code block of a language in the README.
block() {
  awk -v fence="\`\`\`" -v first="\`\`\`$1" \
    '$0 == fence && inside { exit } inside { print } $0 == first { inside = 1 }' "$tree/README.md"
}

# The code blocks of the README are the files and commands that are tested here.
readme() {
  diff <(block cpp) "$tree/examples/settings/settings.cpp"
  diff <(block cmake) "$tree/examples/settings/CMakeLists.txt"
}

"$check"
