#!/usr/bin/env bash
# Compares what three version readers find in the same files: the POSIX
# host's (VersionDump of the Linux build in $KLX_LINUX_BUILD), the Win32
# backend's and Windows' own GetFileVersionInfoW and VerQueryValueW under
# Wine (VersionDump.exe, without and with --api). The files: the Windows
# build's library, programs and tests, the tests' version images, the version
# fuzzer's corpus and Wine's own PE modules.
#
# Every line must be the same for all three, with two rules:
#  - "no version" is one answer whatever its code: Wine's GetFileVersionInfoW
#    gives 1812 (ERROR_RESOURCE_DATA_NOT_FOUND) both for a file that is no
#    image and for an image without a version resource, where the library
#    tells 193 (ERROR_BAD_EXE_FORMAT) from 1813 (ERROR_RESOURCE_TYPE_NOT_FOUND).
#  - An ELF program carries its version in the section .klxversion, which only
#    the POSIX host reads: Windows must find none there.
# The resource is the one named 1 (VS_VERSION_INFO), which is what Windows
# reads; the library takes the first name, and every file here has only that
# one. Wine's language comes from the host locale, which the test sets to
# English, the POSIX host's fixed UI language.
#
# Usage: compare-versions.sh WINE WINDOWS_BIN SOURCE_DIR WORK_DIR
set -euo pipefail
wine=$1 bin=$2 source=$3 work=$4
linux_dump=${KLX_LINUX_BUILD:-}/tests/windows/VersionDump
if [ -z "${KLX_LINUX_BUILD:-}" ] || [ ! -x "$linux_dump" ]; then
    echo "skipped: KLX_LINUX_BUILD names no Linux build with tests/windows/VersionDump"
    exit 77
fi

rm -rf "$work"
mkdir -p "$work"
"$linux_dump" --images "$work/image-files"

windows_path() { local p=$1; echo "Z:${p//\//\\}"; }

# NAME: no version, for every "no version" code and for ELF programs.
normalise() { # dump, directory
    local elf=()
    local file
    for file in "$2"/*; do
        [ "$(head -c 4 "$file" | od -An -c | tr -d ' ')" = '177ELF' ] && elf+=("${file##*/}")
    done
    awk -v elf="${elf[*]:-}" '
        BEGIN { n = split(elf, names, " "); for (i = 1; i <= n; i++) isElf[names[i]] = 1 }
        {
            name = substr($0, 1, index($0, ": ") - 1)
            if (name in isElf) { if (!(name in done)) print name ": no version"; done[name] = 1; next }
            sub(/: error (11|193|1812|1813)$/, ": no version")
            print
        }' "$1"
}

failed=0
compare() { # set name, directory
    local name=$1 directory=$2 out="$work/dumps-$1"
    mkdir -p "$out"
    "$linux_dump" "$directory" >"$out/linux.raw"
    "$wine" "$bin/VersionDump.exe" --api "$(windows_path "$directory")" >"$out/windows-api.raw"
    "$wine" "$bin/VersionDump.exe" "$(windows_path "$directory")" >"$out/windows-library.raw"
    local reader
    for reader in linux windows-api windows-library; do
        normalise "$out/$reader.raw" "$directory" >"$out/$reader"
    done
    local files versions
    files=$(cut -d: -f1 "$out/windows-api" | sort -u | wc -l)
    versions=$(grep -c ': fixed ' "$out/windows-api" || true)
    for reader in linux windows-library; do
        if ! diff -u "$out/windows-api" "$out/$reader" >"$out/$reader.diff"; then
            echo "$name: $reader disagrees with GetFileVersionInfoW:"
            head -n 40 "$out/$reader.diff"
            failed=1
        fi
    done
    echo "$name: $files files, $versions with a version resource"
}

compare built "$bin"
compare images "$work/image-files"
compare corpus "$source/fuzz/corpus/VersionResourceFuzz"
modules=
for candidate in /usr/lib/x86_64-linux-gnu/wine/x86_64-windows /usr/lib/wine/x86_64-windows \
    /usr/lib64/wine/x86_64-windows; do
    [ -f "$candidate/kernel32.dll" ] && modules=$candidate && break
done
if [ -n "$modules" ]; then
    compare wine "$modules"
    # kernel32.dll holds its version in several languages: English is read.
    grep -q '^kernel32.dll: translation 0409 ' "$work/dumps-wine/linux" ||
        { echo "kernel32.dll: no English version read"; failed=1; }
else
    echo "wine: no folder of Wine's PE modules found; not compared"
fi
[ "$failed" = 0 ] && echo "all readers agree"
exit "$failed"
