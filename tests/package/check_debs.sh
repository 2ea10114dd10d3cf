#!/bin/sh
# Installs the packages in a small Debian of their own, uses the library there by the README's lines,
# and removes them: not a file of the system differs then.
#   check_debs.sh <folder with the packages>   as root
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
top=$(mktemp -d)
trap 'rm -rf "$top"' EXIT
debian=$top/debian
inside() { chroot "$debian" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 "$@"; }

# state: every path with type, mode, owner, target and contents, but for the books of dpkg and ldconfig
state() {
    (
        cd "$debian"
        for skipped in proc sys tmp var/lib/dpkg var/log var/cache/ldconfig; do
            set -- "$@" -path "./$skipped" -prune -o
        done
        find . "$@" -printf '%p %y %m %u %l\n'
        find . "$@" -type f -exec sha256sum {} +
    ) | LC_ALL=C sort
    inside dpkg -l | sed -n 's/^[a-z][a-z] *\([^ ]*\).*/\1/p'
}

suite=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
debootstrap --variant=minbase --include=gcc,g++,cmake,ninja-build,pkg-config "$suite" "$debian" \
    >"$top/log" 2>&1 || { tail -20 "$top/log"; exit 1; }
mkdir -p "$debian/tmp/project/tests/package"
cp "$1"/*.deb "$debian/tmp"
cp "$root/README.md" "$root/CHANGELOG.md" "$debian/tmp/project"
cp "$root/tests/package/app.c" "$root/tests/package/check_consumers.sh" \
    "$debian/tmp/project/tests/package"

state >"$top/before"
inside sh -c 'dpkg -i /tmp/*.deb'
inside env COMPILERS=gcc /tmp/project/tests/package/check_consumers.sh system
for package in "$1"/*.deb; do dpkg-deb -f "$package" Package; done >"$top/packages"
# shellcheck disable=SC2046  # names of packages, one a word
inside dpkg --purge $(cat "$top/packages")
state >"$top/after"
diff "$top/before" "$top/after" && echo "Installed, used, and removed without a trace."
