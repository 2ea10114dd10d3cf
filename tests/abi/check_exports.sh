#!/bin/sh
# The exported names: what the headers declare, what the checked-in list says and what the shared
# library offers are the same, and no name of an earlier release of this major version is missing.
#   check_exports.sh <C compiler> <libzep_mqtt_sdk.so>
set -eu
here=$(cd "$(dirname "$0")" && pwd)
list=$here/../../src/zep_mqtt_sdk.exports
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$here/exported_names.sh" "$1" > "$work/declared"
grep '^[a-z]' "$list" > "$work/listed"
# The library's version node is itself a symbol, of type A.
nm -D --defined-only "$2" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' |
    LC_ALL=C sort -u > "$work/exported"

failed=0
compare() {  # what is right, what is compared with it
    diff -u --label "$1" --label "$2" "$work/$1" "$work/$2" || failed=1
}
compare declared listed
compare listed exported
[ $failed = 0 ] || echo "Renew the list: tests/abi/exported_names.sh > src/zep_mqtt_sdk.exports"
major=$(sed -n 's/^#define ZEP_MQTT_SDK_VERSION_MAJOR \([0-9]*\).*/\1/p' \
    "$here/../../include/zep_mqtt/version.h")
for record in "$here/exported_$major".*; do
    missing=$(LC_ALL=C comm -23 "$record" "$work/exported")
    [ -z "$missing" ] || { echo "Exported by ${record##*_}, and now missing: $missing"; failed=1; }
done
exit $failed
