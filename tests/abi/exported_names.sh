#!/bin/sh
# Prints, sorted, every name that the headers below include/ declare with ZEP_MQTT_API:
#   tests/abi/exported_names.sh [C compiler] > src/zep_mqtt_sdk.exports
# The preprocessor takes comments out and expands macros; a declaration is then cut at its first
# "(" or "[", and the last word before that is its name.
set -eu
cc=${1:-cc}
include=$(cd "$(dirname "$0")/../../include" && pwd)

(cd "$include" && find . -name '*.h' | LC_ALL=C sort | sed 's/.*/#include "&"/') |
    "$cc" -std=c99 -E -P -x c -I"$include" - |
    tr '\n' ' ' | tr ';{}' '[\n*]' |
    sed -n 's/^.*__attribute__ *((visibility("default"))) *//p' |
    sed -e 's/[[(].*//' -e 's/ *$//' -e 's/.*[ *]//' |
    LC_ALL=C sort -u
