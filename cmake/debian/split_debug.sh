#!/bin/sh
# Writes the debug symbols of a shared library where debuggers look for them by its build identifier.
#   split_debug.sh <library> <folder that becomes /usr/lib/debug>
set -eu
umask 022
id=$(LC_ALL=C readelf -n "$1" | sed -n 's/.*Build ID: *//p')
rest=${id#??}
folder=$2/.build-id/${id%"$rest"}
mkdir -p "$folder"
objcopy --only-keep-debug "$1" "$folder/$rest.debug"
chmod 644 "$folder/$rest.debug"
