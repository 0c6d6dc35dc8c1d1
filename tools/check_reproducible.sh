#!/bin/sh
# check_reproducible.sh PRESET   builds the library again in another folder and compares it, byte by byte, with the one
# that stands in build/PRESET.
set -eu
preset=$1
cd "$(dirname "$0")/.."
library=$PWD/build/$preset/bin/varnel.dll
elsewhere=$(mktemp -d)
trap 'rm -rf "$elsewhere"' EXIT
cp -r CMakeLists.txt CMakePresets.json cmake src tools "$elsewhere"
cd "$elsewhere"
{
  cmake --preset "$preset" -DVARNEL_BUILD_TOOLS=OFF && cmake --build --preset "$preset"
} >log 2>&1 || {
  cat log
  exit 1
}
cmp "$library" "build/$preset/bin/varnel.dll"
echo "$preset: the same bytes from another folder"
