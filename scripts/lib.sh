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
KLX_BUILD_PACKAGES=(cmake ninja-build g++ make pkg-config libsqlite3-dev libxml2-dev)
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
