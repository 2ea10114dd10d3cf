#!/bin/sh
# Uses the library in each way that the README shows, by the README's own lines, as C and as C++, in
# folders with a space in their names. $COMPILERS and $LANGS say with which compilers and languages.
#   check_consumers.sh installed <build folder>  installed from there, moved, and uninstalled
#   check_consumers.sh source                    from the sources, the README's way of installing too
#   check_consumers.sh system                    as it is installed in the system
#   check_consumers.sh zip <file> <toolchain>    as it is unpacked for Windows, under wine
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
top=$(mktemp -d)
trap 'rm -rf "$top"' EXIT
work="$top/a folder"
mkdir "$work"
: "${COMPILERS:=gcc clang}" "${LANGS:=c cpp}" "${CMAKE_GENERATOR:=Ninja}"
export CMAKE_GENERATOR

expected=$(sed -n 's/^## //p' "$root/CHANGELOG.md" | head -1)

fail() { echo "$*"; exit 1; }
quietly() { "$@" >"$top/log" 2>&1 || { cat "$top/log"; fail "failed: $*"; }; }

# block <name>: the README's lines of this name
block() {
    awk -v name="$1" '$0 ~ "^```[a-z]+ " name "$" { inside = 1; next } /^```$/ { inside = 0 } inside' \
        "$root/README.md" | grep . || fail "README.md has no lines named $1" >&2
}

# check <program> <shared|static>: it runs, and needs the shared library or not. A C program needs
# nothing of C++.
check() {
    ${wine:-} "$1" >"$top/says" || fail "$1 fails"
    version=$(tr -d '\r' <"$top/says")
    needed=$(LC_ALL=C objdump -p "$1" | sed -n -e 's/^ *NEEDED *//p' -e 's/.*DLL Name: //p' | tr '\n' ' ')
    echo "$1: $version, needs $needed"
    [ "$version" = "$expected" ] || fail "that is not version $expected"
    case $2:$needed in
        shared:*"libzep_mqtt_sdk.so.${version%%.*} "* | shared:*zep_mqtt_sdk.dll*) ;;
        shared:* | static:*zep_mqtt*) fail "that is not a program with the $2 library" ;;
    esac
    case $lang:$needed in c:*stdc++*) fail "a C program needs the C++ runtime library" ;; esac
}

# prepare <way>: $dir with the source file $source, for the language $lang
prepare() {
    dir="$work/$1 $lang $cc" source=app.$lang
    mkdir -p "$dir"
    cp "$root/tests/package/app.c" "$dir/$source"
}

# by_cmake <way> [cmake option]...
by_cmake() {
    way=$1
    shift
    prepare "$way"
    program=$(block find_package | grep -v find_package)
    {
        echo "cmake_minimum_required(VERSION 3.22)"
        echo "project(app $language)"
        block "$way" | grep -v -e '^add_executable' -e '^target_link'
        echo "$program"
        echo "$program" | sed -e 's/(app /(app_static /' -e 's/zep_mqtt_sdk::zep_mqtt_sdk/zep_mqtt_sdk::static/'
    } | sed "s/app\.c/$source/" >"$dir/CMakeLists.txt"
    quietly cmake -S "$dir" -B "$dir/build" -DCMAKE_BUILD_TYPE= "$@"
    quietly cmake --build "$dir/build"
    check "$dir/build/app${wine:+.exe}" shared
    check "$dir/build/app_static${wine:+.exe}" static
}

# The library within another project brings along neither tests nor examples, install rules, a build
# type, or the wish for GoogleTest.
by_subdirectory() {
    prepare add_subdirectory
    ln -s "$root" "$dir/zep_mqtt_sdk"
    by_cmake add_subdirectory -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON "$@"
    [ "$(ctest --test-dir "$dir/build" -N | tail -1)" = "Total Tests: 0" ] || fail "it brings tests"
    quietly cmake --install "$dir/build" --prefix "$dir/prefix"
    [ ! -e "$dir/prefix" ] || fail "it installs itself"
    grep -q '^CMAKE_BUILD_TYPE:[A-Z]*=$' "$dir/build/CMakeCache.txt" || fail "it sets the build type"
}

# The same with its compiling cut short.
by_subdirectory_in_short() {
    by_subdirectory -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=12
}

by_fetch_content() {
    by_cmake FetchContent "-Dzep_repository=file://$root" \
        "-Dzep_commit=$(git -C "$root" rev-parse HEAD)"
}

# The README's lines for pkg-config make three programs: shared, static, shared with an rpath.
by_pkg_config() {
    prepare pkg-config
    for number in 1 2 3; do
        line=$(block pkg-config | sed -n "${number}s/^cc app\.c/$compiler $source/p")
        (cd "$dir" && rm -f app && eval "$line")
        case $number in
            1) (export LD_LIBRARY_PATH="${libdir:-}" && check "$dir/app" shared) ;;
            2) check "$dir/app" static ;;
            3) check "$dir/app" shared ;;
        esac
    done
    [ "$(pkg-config --modversion zep_mqtt_sdk)" = "$expected" ] || fail "versions differ"
}

# everywhere <way>...: in both languages, with every compiler
everywhere() {
    for cc in $COMPILERS; do
        for lang in $LANGS; do
            case $lang-$cc in
                c-*) compiler=$cc language=C ;;
                cpp-gcc) compiler=g++ language=CXX ;;
                cpp-clang) compiler=clang++ language=CXX ;;
            esac
            export CC="$cc" CXX="$compiler"
            for way in "$@"; do "$way"; done
        done
    done
}

# Each tree is used from another place than the one it was installed to.
use_installed_tree() {
    prefix="$work/moved prefix"
    cp -a "$1" "$prefix"
    rm -r "$1"
    ln -s "$prefix" "$top/prefix"
    libdir=$(dirname "$(find "$top/prefix/" -name '*.a')")
    export CMAKE_PREFIX_PATH="$prefix" PKG_CONFIG_PATH="$libdir/pkgconfig"
    unnamed=$(grep -rL -e "The public interface" -e "Part of the public interface" \
        -e "An exported floor" "$prefix/include" || true)
    [ -z "$unnamed" ] || fail "does not say whether it is public: $unnamed"
}

find_installed() { by_cmake find_package; }

find_unpacked() {
    by_cmake find_package "-DCMAKE_TOOLCHAIN_FILE=$toolchain" \
        "-Dzep_mqtt_sdk_DIR=$(dirname "$(find "$work" -name zep_mqtt_sdk-config.cmake)")"
}

case $1 in
    installed)
        quietly cmake --install "$2" --prefix "$top/first prefix"
        cp -a "$top/first prefix" "$top/copy"
        quietly cmake --build "$2" --target uninstall
        left=$(find "$top/first prefix" ! -type d -o -name '*zep*')
        [ -z "$left" ] || fail "uninstalling leaves $left"
        use_installed_tree "$top/copy"
        everywhere find_installed by_pkg_config
        COMPILERS=gcc LANGS=c
        everywhere by_subdirectory_in_short
        ;;
    source)
        git clone -q "$root" "$work/clone"
        sudo() { [ "$1" = ldconfig ] || "$@"; }
        (cd "$work/clone" && export DESTDIR="$top/root" && eval "$(block install)") >"$top/log" 2>&1 ||
            { cat "$top/log"; fail "the README's lines do not install"; }
        use_installed_tree "$top/root/usr/local"
        everywhere find_installed by_pkg_config by_subdirectory by_fetch_content
        ;;
    system) everywhere find_installed by_pkg_config ;;
    zip)
        zip=$(realpath "$2") toolchain=$(realpath "$3") wine=/usr/lib/wine/wine64
        (cd "$work" && cmake -E tar xf "$zip")
        WINEPATH=Z:$(dirname "$(find "$work" -name zep_mqtt_sdk.dll)" | tr / '\\')
        export WINEPATH WINEPREFIX="$top/wine" WINEDEBUG=-all
        COMPILERS=gcc everywhere find_unpacked
        /usr/lib/wine/wineserver64 -k
        ;;
    *) fail "unknown: $1" ;;
esac
