# The targets beside the system's own, for ./run: what each needs, and how it is built and tested.
# shellcheck shell=sh disable=SC2086

# <command>=<Debian package>, as in ./run
CROSS_NEEDS="$BUILD_NEEDS /usr/src/googletest/CMakeLists.txt=googletest"
WINDOWS_NEEDS="$CROSS_NEEDS x86_64-w64-mingw32-g++-posix=g++-mingw-w64-x86-64-posix
    i686-w64-mingw32-g++-posix=g++-mingw-w64-i686-posix /usr/lib/wine/wine64=wine64
    mosquitto=mosquitto"
PORTS="i686 armhf arm64 riscv64 s390x powerpc"

port_needs() {
    case $1 in
        i686) echo "i686-linux-gnu-g++=g++-i686-linux-gnu /usr/lib32/libstdc++.so.6=lib32stdc++6
            /lib/ld-linux.so.2=libc6-i386" ;;
        armhf) echo "arm-linux-gnueabihf-g++=g++-arm-linux-gnueabihf qemu-arm=qemu-user" ;;
        arm64) echo "aarch64-linux-gnu-g++=g++-aarch64-linux-gnu qemu-aarch64=qemu-user" ;;
        riscv64) echo "riscv64-linux-gnu-g++=g++-riscv64-linux-gnu qemu-riscv64=qemu-user" ;;
        s390x) echo "s390x-linux-gnu-g++=g++-s390x-linux-gnu qemu-s390x=qemu-user" ;;
        powerpc) echo "powerpc-linux-gnu-g++=g++-powerpc-linux-gnu qemu-ppc=qemu-user" ;;
        *) echo "no such target: $1 (there are: $PORTS)" >&2; return 2 ;;
    esac
}

# cross_build <name> <toolchain> [cmake option]...: everything, in build/<name>, several files in one
cross_build() {
    name=$1 toolchain=$2
    shift 2
    cmake -G Ninja -S . -B "build/$name" -DZEP_WERROR=ON -DCMAKE_BUILD_TYPE=MinSizeRel \
        -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=12 \
        "-DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/$toolchain.cmake" "$@" >"build-$name.log" 2>&1 ||
        { cat "build-$name.log"; return 1; }
    rm -f "build-$name.log"
    cmake --build "build/$name" -j "$JOBS"
}

# port <target>: library, demonstration and tests; the unit and the client tests are run
port() {
    needs=$(port_needs "$1")
    install $CROSS_NEEDS $needs
    cross_build "$1" "$1-linux"
    run_tests "$1"
}

ports() {
    for target in "${@:-$PORTS}"; do
        for each in $target; do port "$each"; done
    done
}

# A home of wine's own, whose server stays until everything has been run.
start_wine() {
    ZEP_WINEPREFIX=$PWD/build/wine
    export ZEP_WINEPREFIX
    mkdir -p build
    tests/support/win32/run_in_wine.sh wineboot --init
    WINEPREFIX=$ZEP_WINEPREFIX WINEDEBUG=-all /usr/lib/wine/wineserver64 -p900 ||
        true  # it runs already
}

# windows_tests: both DLLs with their names and imports; the tests and the demonstration under wine
windows_tests() {
    install $WINDOWS_NEEDS
    cross_build win32 i686-w64-mingw32 -DZEP_BUILD_TESTS=OFF -DZEP_BUILD_EXAMPLES=OFF
    tests/abi/check_dll.sh i686-w64-mingw32-objdump build/win32/src/zep_mqtt_sdk.dll
    cross_build win64 x86_64-w64-mingw32
    start_wine
    run_tests win64
    tests/support/win32/run_in_wine.sh build/win64/examples/zep_demo.exe
}

# windows: the same, and the examples against a mosquitto of the system
windows() {
    windows_tests
    port=18840
    printf 'listener %s 127.0.0.1\nallow_anonymous true\n' $port >build/mosquitto.conf
    mosquitto -c build/mosquitto.conf >build/mosquitto.log 2>&1 &
    broker=$!
    sleep 1
    failed=0
    tests/support/win32/run_in_wine.sh build/win64/examples/zep_demo.exe --port $port || failed=1
    tests/support/win32/run_in_wine.sh build/win64/examples/zep_quickstart.exe $port || failed=1
    kill $broker
    return $failed
}
