#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the tour on a copy of the directory config and shows the files that it changed, then the tool.
# The arguments are the directories of the built examples and of the tool.
set -euo pipefail

examples=$(realpath "$1")
tool=$(realpath "$2")
tree=$(realpath "$(dirname "${BASH_SOURCE[0]}")/..")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The library's variables in the caller's environment must not change the output.
for variable in ${!OSTREL_*} ${!OVRA_*}; do
  unset "$variable"
done

say() { printf '\n== %s\n' "$*"; }

# Prints a command as a user would type it, then runs that example in the copy. Assignments before the
# program are added to its environment.
run() {
  printf '$%s\n' "$(printf ' %q' "$@")"
  (cd "$work" && PATH=$examples:$tool:$PATH env "$@" 2>&1)
}

cp -R "$tree/config" "$work/config"
mkdir "$work/site"

say "The tour: settings in $work/config, and a directory in front of it"
run OSTREL_CONFIG_PATH="site;config" example_tour

say "What the committed changes left in config/user-config.xml"
diff --unified=1 --label before --label after \
  "$tree/config/user-config.xml" "$work/config/user-config.xml" || [ $? -eq 1 ]

say "The tour again, with priorities, a log file and time stamps from the environment"
run OSTREL_CONFIG_PATH="site;config" OSTREL_LOG_OUTPUT=tour.log OVRA_LOG_TIMESTAMP=yes \
  OSTREL_LOG_PRIORITY="Ostrel.Core.Base.XmlConfigSource,TRACE;Ostrel.Examples.Tour" \
  example_tour | sed -n '1p'
echo '$ cat tour.log'
cat "$work/tour.log"

say "A broken settings file: the program says so, and keeps its own defaults"
head --lines=5 "$tree/config/user-config.xml" >"$work/site/user-config.xml"
run OSTREL_CONFIG_PATH="site;config" example_settings

say "No settings file anywhere: every place that was tried, and the same defaults"
cat >"$work/registry.reg" <<TEXT
REGEDIT4

[HKEY_LOCAL_MACHINE\\Software\\Ostrel Labs\\OVRA]
"InstallPath"="$work/nowhere"
TEXT
run OSTREL_REGISTRY_FILE=registry.reg example_settings

say "The library from C: distances, units and a user's setting"
run OSTREL_CONFIG_PATH=config example_robot

say "A plug-in, found by its name along the search path and called"
run OSTREL_LIBRARY_PATH="$examples" example_load_plugin

# A search path of its own from here on, without the file of this tree.
mkdir "$work/robot"
cp "$work/registry.reg" "$work/robot/registry.reg"
export OSTREL_CONFIG_PATH=robot OSTREL_REGISTRY_FILE=robot/registry.reg

say "Two programs commit different settings at the same time: both changes are kept"
cp "$tree/config/user-config.xml" "$work/robot/user-config.xml"
run ostrel config set UserConfig/Speech/Volume=40 UserConfig/Speech/Language=de &
run ostrel config set '$SafetyDistance=0.5' &
wait
diff --unified=0 --label before --label after \
  "$tree/config/user-config.xml" "$work/robot/user-config.xml" || [ $? -eq 1 ]

say "Why a setting has its value"
run ostrel config explain '$SpeechVolume'

say "What is wrong in a settings file, and what to write instead"
sed -i -e 's/4.500000000000/4,5/' -e 's|UserConfig/Speech/Volume|UserConfig/Speech/Volum|' \
  "$work/robot/user-config.xml"
run ostrel config check || [ $? -eq 5 ]
