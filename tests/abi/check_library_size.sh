#!/bin/sh
# The stripped shared library stays small.
#   check_library_size.sh <libzep_mqtt_sdk.so> <most bytes>
set -eu
stripped=$(mktemp)
trap 'rm -f "$stripped"' EXIT
strip -o "$stripped" "$1"
size=$(wc -c <"$stripped")
echo "stripped: $size bytes; allowed: $2"
[ "$size" -le "$2" ]
