#!/bin/sh
# The shared library carries its name and needs libc and nothing else.
#   check_shared_library.sh <libzep_mqtt_sdk.so> <soname>
set -eu
dynamic=$(LC_ALL=C readelf -dW "$1")
field() { printf '%s\n' "$dynamic" | sed -n "s/.*($1).*\[\(.*\)\]/\1/p"; }

needed=$(field NEEDED)
soname=$(field SONAME)
echo "needs: $needed; is: $soname"
[ "$needed" = libc.so.6 ] && [ "$soname" = "$2" ]
