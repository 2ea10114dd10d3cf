#!/bin/sh
# Makes the packages of HEAD once more, in another folder and later, and compares the bytes of the
# packages and of the libraries in the build folder.
#   check_reproducible.sh <preset>   with TZ and SOURCE_DATE_EPOCH as the first time
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
top=$(mktemp -d)
trap 'rm -rf "$top"' EXIT
copy="$top/another folder"
build=build/$1

git clone -q "$root" "$copy"
{
    cd "$copy"
    cmake --preset "$1"
    cmake --build "$build" -j "$(nproc)"
    cpack --config "$build/CPackConfig.cmake"
} >"$top/log" 2>&1 || { cat "$top/log"; exit 1; }

failed=0
for file in $(cd "$copy/$build" && ls packages/*.* src/*zep_mqtt_sdk.*); do
    cmp "$root/$build/$file" "$copy/$build/$file" && sha256sum "$copy/$build/$file" || failed=1
done
exit $failed
