#!/bin/sh
# A DLL offers the names of the checked-in list and no others, and needs what Windows brings and
# nothing else.   check_dll.sh <objdump of that target> <zep_mqtt_sdk.dll>
set -eu
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$1" -p "$2" > "$work/all"
grep '^[a-z]' "$here/../../src/zep_mqtt_sdk.exports" > "$work/listed"
awk '/\[Ordinal\/Name Pointer\] Table/ { inside = 1 } /^$/ { inside = 0 } inside && /^\t\[/ { print $NF }' \
    "$work/all" | LC_ALL=C sort > "$work/exported"
awk '/DLL Name:/ { print tolower($3) }' "$work/all" | LC_ALL=C sort > "$work/needed"
printf '%s\n' bcrypt.dll kernel32.dll msvcrt.dll ws2_32.dll > "$work/allowed"

failed=0
diff -u --label listed --label exported "$work/listed" "$work/exported" || failed=1
diff -u --label allowed --label needed "$work/allowed" "$work/needed" || failed=1
exit $failed
