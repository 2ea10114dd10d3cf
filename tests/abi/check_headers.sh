#!/bin/sh
# Every public header compiles alone, as C99 and as C++17.   check_headers.sh <compiler>...
set -eu
include=$(cd "$(dirname "$0")/../../include" && pwd)
failed=0

check() {  # compiler, language, standard, header
    printf '#include "%s"\nextern int zep_header_stands_alone;\n' "$4" |
        "$1" -x "$2" "-std=$3" -pedantic -Wall -Wextra -Werror -fsyntax-only -I"$include" - ||
        { echo "$4 does not compile alone as $3 with $1"; failed=1; }
}

for header in $(cd "$include" && find . -name '*.h'); do
    for compiler in "$@"; do
        check "$compiler" c c99 "${header#./}"
        check "$compiler" c++ c++17 "${header#./}"
    done
done
exit $failed
