#!/bin/sh
# The C examples in README.md are, to the byte and in this order, the programs that the build compiles.
#   check_readme.sh <README.md> <program>...
set -eu
readme=$1
shift
awk '/^```c$/ { inside = 1; next } /^```$/ { inside = 0 } inside' "$readme" >"${TMPDIR:-/tmp}/readme.$$"
trap 'rm -f "${TMPDIR:-/tmp}/readme.$$"' EXIT
cat "$@" | diff -u "${TMPDIR:-/tmp}/readme.$$" -
