#!/bin/sh
# Runs a Windows program: run_in_wine.sh <program.exe> [argument]...
# The home of wine's own is ZEP_WINEPREFIX; the compiler's libraries are found beside it.
set -eu
here=$(cd "$(dirname "$0")/../../.." && pwd)
WINEPREFIX=${ZEP_WINEPREFIX:-$here/build/wine}
WINEPATH=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-file-name=libstdc++-6.dll)")
WINEPATH="$WINEPATH;/usr/x86_64-w64-mingw32/lib;$here/build/win64/src"
WINEDEBUG=-all
export WINEPREFIX WINEPATH WINEDEBUG
exec /usr/lib/wine/wine64 "$@"
