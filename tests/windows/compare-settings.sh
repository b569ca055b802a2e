#!/usr/bin/env bash
# Runs the Linux build's KlCvlSettings and the Windows build's under Wine on
# one copy of the sample SDK on Wine's C: drive, step by step with the same
# arguments: each step must print the same (CR LF read as LF), end with the
# same exit status and leave byte-equal configuration files.
#
# The Linux program takes the Wine prefix as its KLX_PREFIX, whose
# dosdevices/c: is the same drive_c, and a HOME of its own; each program keeps
# its own registry (the store registry.db in the prefix, and Wine's own), and
# both start with no history. Before the Windows program runs a step, the
# configuration files are put back as they were before the Linux program ran
# it.
#
# Usage: compare-settings.sh WINE WINDOWS_BIN SOURCE_DIR WORK_DIR
set -euo pipefail
wine=$1 bin=$2 source=$3 work=$4
linux=${KLX_LINUX_BUILD:-}/tools/KlCvlSettings
if [ -z "${KLX_LINUX_BUILD:-}" ] || [ ! -x "$linux" ] || [ ! -d "${WINEPREFIX:-}/drive_c" ]; then
    echo "skipped: needs KLX_LINUX_BUILD with tools/KlCvlSettings and a WINEPREFIX"
    exit 77
fi

drive=$WINEPREFIX/drive_c
root=$drive/KlxAgree
rm -rf "$work" "$root"
# No history on either side: the Linux program's store, and what other tests
# of the suite left in Wine's registry.
rm -f "$WINEPREFIX"/registry.db*
"$wine" reg delete 'HKCU\Software\Keldmar' /f >/dev/null 2>&1 || true
mkdir -p "$work/home" "$work/linux" "$root"
trap 'rm -rf "$root"' EXIT
cp -a "$source/examples/sdk" "$root/sdk"
# A name with a blank and a letter beyond ASCII, which both spell in UTF-8.
cafe=$'V2.20 Caf\xc3\xa9'
cp -a "$root/sdk/OS/V2.10" "$root/sdk/OS/$cafe"
sdk='C:\KlxAgree\sdk'
one='C:\KlxAgree\one.cvlrc'
two='C:\KlxAgree\two.cvlrc'

failed=0
steps=0
step() { # label, arguments...
    local label=$1
    shift
    # The last step's files stay for a look; the earlier ones are kept too.
    [ -e "$work/linux.out" ] && mkdir -p "$work/$steps" && mv "$work"/*.out* "$work"/*.err* "$work/$steps/"
    steps=$((steps + 1))
    rm -rf "$work/before" && mkdir -p "$work/before"
    cp -a "$root"/*.cvlrc "$work/before/" 2>/dev/null || true

    local code=0
    env -u KLX_WINDOWS_FAMILY KLX_PREFIX="$WINEPREFIX" HOME="$work/home" \
        "$linux" "$@" >"$work/linux.out" 2>"$work/linux.err" || code=$?
    echo "exit $code" >>"$work/linux.out"
    rm -rf "$work/linux" && mkdir -p "$work/linux"
    cp -a "$root"/*.cvlrc "$work/linux/" 2>/dev/null || true
    rm -f "$root"/*.cvlrc
    cp -a "$work/before"/. "$root/"

    code=0
    "$wine" "$bin/KlCvlSettings.exe" "$@" >"$work/windows.out" 2>"$work/windows.err" || code=$?
    echo "exit $code" >>"$work/windows.out"
    # Wine's own messages are not the program's.
    tr -d '\r' <"$work/windows.err" | grep '^KlCvlSettings' >"$work/windows.err.lf" || true
    tr -d '\r' <"$work/windows.out" >"$work/windows.out.lf"

    local bad=
    diff -u "$work/linux.out" "$work/windows.out.lf" || bad=1
    diff -u "$work/linux.err" "$work/windows.err.lf" || bad=1
    local file
    for file in "$work/linux"/*.cvlrc "$root"/*.cvlrc; do
        [ -e "$file" ] || continue
        cmp "$work/linux/${file##*/}" "$root/${file##*/}" ||
            { diff -u "$work/linux/${file##*/}" "$root/${file##*/}" || true; bad=1; }
    done
    if [ -n "$bad" ]; then
        echo "---- $label: the programs disagree (KlCvlSettings $*)"
        failed=1
    else
        echo "---- $label: the same ($(grep -c '' "$work/linux.out") lines)"
    fi
}

step "the seven elements chosen into one.cvlrc" -f "$one" os="$sdk\\OS\\V2.00" \
    fw="$sdk\\Firmware\\V2.00_pavan" plugins="$sdk\\Plugins\\V1.00" gcc='c:/klxagree/SDK/gcc/v3.4' \
    arm="$sdk\\GCC\\V3.4\\bin" mingw="$sdk\\MinGW\\V5.1" eclipse="$sdk\\Eclipse\\V3.2\\"
step "shown from one.cvlrc" -f "$one"
step "another baseband into two.cvlrc" -f "$two" os="$sdk\\OS\\V3.10" \
    fw="$sdk\\Firmware\\V3.10_orvan" gcc="$sdk\\GCC\\V3.4"
step "the first OS library by its index; the firmware follows" -f "$two" os=0
step "an OS library with a blank and an accent, into a file so named" \
    -f "C:\\KlxAgree\\$cafe.cvlrc" os="$sdk\\OS\\$cafe"
step "shown from two.cvlrc" -f "$two"
step "a refused choice" -f "$one" mingw="$sdk\\OS\\V3.10" eclipse=7
exit "$failed"
