# Shared by the scripts: installs the Debian packages that are missing, and
# picks the build tool.
set -euo pipefail

KLX_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
KLX_JOBS=${KLX_JOBS:-$(nproc 2>/dev/null || echo 2)}

klx_need_packages() {
    local missing=()
    local package
    for package in "$@"; do
        if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
            missing+=("$package")
        fi
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "installing: ${missing[*]}"
    local sudo=()
    [ "$(id -u)" -eq 0 ] || sudo=(sudo)
    "${sudo[@]}" apt-get update -qq
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends \
        "${missing[@]}"
}

# What building the library and its programs needs.
KLX_BUILD_PACKAGES=(cmake ninja-build g++ make pkg-config libsqlite3-dev libxml2-dev zlib1g-dev)
# What the tests, the sanitized build, the fuzzers and the benchmarks need.
KLX_TEST_PACKAGES=(libgtest-dev libbenchmark-dev clang libclang-rt-14-dev)
# What the Windows build needs: the MinGW-w64 cross compiler (POSIX threads),
# windres, GoogleTest's sources and Wine to run the result.
KLX_WINDOWS_PACKAGES=(cmake ninja-build g++-mingw-w64-x86-64-posix mingw-w64-tools googletest wine64
    wine)

klx_configure() { # build-dir, extra cmake arguments...
    local dir=$1
    shift
    cmake -S "$KLX_ROOT" -B "$dir" -G Ninja "$@"
}

# A fresh Wine machine for the rest of the script, thrown away when it ends:
# its own WINEPREFIX (registry, C: drive) and HOME, WINEDEBUG naming any DLL
# that a program cannot load, and one wineserver for the whole run (without
# it, every program's server lingers for seconds after the program ends and
# the next one waits for it). Sets wine (the 64-bit loader) and wineserver;
# with the argument "pinned" both run on CPU 0 only (taskset), as timings
# need.
klx_wine_machine() {
    local pin=()
    [ "${1:-}" = pinned ] && pin=(taskset -c 0)
    wine=$(command -v wine64 || echo /usr/lib/wine/wine64)
    wineserver=$(command -v wineserver || echo /usr/lib/wine/wineserver)
    KLX_WINE_SCRATCH=$(mktemp -d)
    export WINEPREFIX="$KLX_WINE_SCRATCH/prefix" HOME="$KLX_WINE_SCRATCH/home"
    export WINEDEBUG=-all,err+module
    mkdir -p "$WINEPREFIX" "$HOME"
    trap '"$wineserver" -k 2>/dev/null || true; rm -rf "$KLX_WINE_SCRATCH"' EXIT

    echo "==== a fresh Wine machine in $WINEPREFIX"
    local start=$SECONDS
    # A booted template, stopped so that its registry is on disk: the run's
    # machine is a copy, and so is the machine of each test that starts the
    # SDK's programs (tests/support/own-wine-machine).
    export KLX_WINE_TEMPLATE="$KLX_WINE_SCRATCH/template"
    mkdir -p "$KLX_WINE_TEMPLATE"
    WINEPREFIX=$KLX_WINE_TEMPLATE WINEDEBUG=-all "$wine" wineboot -i >/dev/null 2>&1
    WINEPREFIX=$KLX_WINE_TEMPLATE "$wineserver" -w
    cp -a "$KLX_WINE_TEMPLATE/." "$WINEPREFIX"
    # One server for the whole run: without it, every program's server
    # lingers for seconds after the program ends and the next one waits.
    "${pin[@]}" "$wineserver" -p >/dev/null 2>&1
    # The machine's services start now, not from the first test, which would
    # leave them holding CTest's output pipe.
    WINEDEBUG=-all "${pin[@]}" "$wine" wineboot >/dev/null 2>&1
    echo "---- took $((SECONDS - start)) s"
}
