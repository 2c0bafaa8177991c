#!/usr/bin/env bash
# The user's data after a full run of the command line (link an account, post, dry runs) under
# a umask that shares everything: every folder the framework made is 0700 and every file 0600,
# whichever part came first. Then a full disk while a photo is prepared: the error says so and
# names the folder, and nothing half-written is left.
set -uo pipefail
SOURCE="$1"; BUILD="$2"
QUILLON="$BUILD/bin/quillon"
work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
umask 022
export HOME="$work/home"
mkdir -m 700 "$HOME"
export XDG_DATA_HOME="$HOME/.local/share" XDG_CONFIG_HOME="$HOME/.config" XDG_CACHE_HOME="$HOME/.cache"
export XDG_RUNTIME_DIR="$work/run" QUILLON_SANDBOX_DATA="$work/sandbox"
export DBUS_SESSION_BUS_ADDRESS="unix:path=/nonexistent/quillon-test-bus" QT_QPA_PLATFORM=offscreen
mkdir -m 700 "$XDG_RUNTIME_DIR"
# The generic folders of a home, as a desktop makes them: the user's, not the framework's.
mkdir -p -m 755 "$XDG_DATA_HOME" "$XDG_CONFIG_HOME" "$XDG_CACHE_HOME"
unset DISPLAY WAYLAND_DISPLAY QUILLON_STORE_PASSWORD
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
SAMPLE="$SOURCE/resources/samples/sunset.jpg"

step() {
    local name="$1"; shift
    "$@" >"$work/out" 2>"$work/err" || fail "$name: $(cat "$work/err")"
}
step link sh -c 'printf tweet-demo-pass | "$0" accounts --as 1001 link twitter --user quillondemo' "$QUILLON"
step post "$QUILLON" post --as 1001 --text "Harbour at dusk" --attach "$SAMPLE"
step dry-run "$QUILLON" post --dry-run --text "Kept for a look" --attach "$SAMPLE"
step list "$QUILLON" accounts --as 1001 list
ls "$XDG_DATA_HOME/Library/com.vantor.Quillon/Assets"/*.jpg >/dev/null 2>&1 || fail "the dry run kept no prepared photo"
[ -f "$XDG_DATA_HOME/com.vantor.Quillon/Credentials/credentials.json" ] || fail "no credential file to check"

# The embedded sandbox plays the store: its data are the store's, kept wherever it is told.
bad=$(find "$HOME" -mindepth 1 \
    \( -path "$XDG_DATA_HOME/com.vantor.Quillon/Sandbox" -o -path "$XDG_DATA_HOME/quillon/sandbox" \) -prune \
    -o \( -path "$HOME/.local" -o -path "$XDG_DATA_HOME" -o -path "$XDG_CONFIG_HOME" -o -path "$XDG_CACHE_HOME" \) \
    -o \( -type d ! -perm 700 -printf '%m %p\n' \) -o \( -type f ! -perm 600 -printf '%m %p\n' \))
[ -z "$bad" ] || fail "not private:
$bad"
[ -n "$(find "$HOME" -type f -name '*.sqlitedb')" ] || fail "the walk found no account database"

# A full disk: a small file system as the user's data folder, a photo larger than it.
if [ "$(id -u)" -eq 0 ]; then unshare=(unshare -m); else unshare=(unshare -rm); fi
if ! "${unshare[@]}" true 2>/dev/null; then
    fail "cannot mount a small file system here (unshare -m or -rm is needed)"
else
    ffmpeg -v error -f lavfi -i "nullsrc=s=1200x1200,geq=random(1)*255:random(2)*255:random(3)*255" \
        -frames:v 1 -q:v 1 "$work/large.jpg" || fail "could not make the large photo"
    small="$work/small"
    mkdir -p "$small"
    "${unshare[@]}" sh -c 'mount -t tmpfs -o size=640k tmpfs "$1" && export XDG_DATA_HOME="$1" && \
        "$2" post --dry-run --text "Too big" --attach "$3"; echo "exit $?"; \
        find "$1/Library/com.vantor.Quillon/Assets" -type f' _ "$small" "$QUILLON" "$work/large.jpg" \
        >"$work/out" 2>"$work/err"
    grep -q "^exit 1$" "$work/out" || fail "full disk: not exit 1: $(cat "$work/out" "$work/err")"
    grep -qi "no space left on device" "$work/err" || fail "full disk: no clear reason: $(cat "$work/err")"
    grep -qF "$small/Library/com.vantor.Quillon/Assets" "$work/err" || fail "full disk: folder not named: $(cat "$work/err")"
    grep -q "Assets/" "$work/out" && fail "full disk: a half-written file was left: $(cat "$work/out")"
fi

[ "$failures" -eq 0 ] || exit 1
echo "all private-home checks passed"
