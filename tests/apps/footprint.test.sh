#!/usr/bin/env bash
# What a command-line post maps: the web engine (and the QML it pulls in) belongs to the web
# sign-in alone, so neither help nor a post may map it. The maps are the command's own, read
# at its exit by a preloaded library.
set -uo pipefail
SOURCE="$1"; BUILD="$2"
QUILLON="$BUILD/bin/quillon"
PRELOAD="$BUILD/lib/libquillon_mapsatexit.so"
WORK=$(mktemp -d); trap 'rm -rf "$WORK"' EXIT
export XDG_DATA_HOME="$WORK/share" QUILLON_SANDBOX_DATA="$WORK/sandbox" XDG_RUNTIME_DIR="$WORK/run" TMPDIR="$WORK/tmp"
mkdir -m 700 "$WORK/run" "$WORK/tmp"
# The sanitizer runtime would insist on coming first, before the preloaded library.
export ASAN_OPTIONS="${ASAN_OPTIONS:-}:verify_asan_link_order=0"
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# name | arguments...: runs quillon, then checks what it mapped.
check_maps() {
    local name="$1"; shift
    local maps="$WORK/$name.maps"
    QUILLON_MAPS_FILE="$maps" LD_PRELOAD="$PRELOAD" "$QUILLON" "$@" >"$WORK/out" 2>"$WORK/err" \
        || fail "$name: exits non-zero: $(cat "$WORK/err")"
    if [ ! -s "$maps" ]; then
        fail "$name: no maps were written"
        return
    fi
    # The dump is the command's: the framework is in it.
    grep -q '/bin/quillon$' "$maps" || fail "$name: the quillon program is not mapped, so the maps are not its own"
    for library in libQt6WebEngineCore libQt6WebEngineWidgets libQt6Qml libQt6Quick libquillon-websignin; do
        if grep -q "$library" "$maps"; then
            fail "$name: maps $library"
        fi
    done
}

check_maps help post --help
check_maps dry-run post --dry-run --text "Hello from the command line"
check_maps dry-run-json post --dry-run --json --text "Hello again"

[ "$failures" -eq 0 ] || exit 1
echo "footprint: ok"
