#!/bin/sh
# The C example in README.md is, to the byte, the program that the build compiles.
#   check_readme.sh <README.md> <quickstart.c>
set -eu
awk '/^```c$/ { inside = 1; next } /^```$/ { inside = 0 } inside' "$1" | diff -u - "$2"
