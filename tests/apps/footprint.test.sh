#!/usr/bin/env bash
# What a command-line post maps: the web engine (and the QML it pulls in) belongs to the web
# sign-in alone, so neither help nor a post may map it; FFmpeg is opened only for a file that
# needs it, libsndfile only for a sound, Qt Multimedia (and the sound server's client) only for
# the microphone or a speaker, Qt Sensors only for the proximity sensor, the TLS backend only
# for a store reached over HTTPS (the embedded one speaks plain HTTP). The maps are the command's own, read at its exit by a preloaded library.
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

# name | libraries that must not be mapped (space-separated) | libraries that must be |
# arguments...: runs quillon, then checks what it mapped. With ANY_EXIT=1 the command may fail
# (a microphone the machine may lack).
check_maps() {
    local name="$1" absent="$2" present="$3"; shift 3
    local maps="$WORK/$name.maps"
    QUILLON_MAPS_FILE="$maps" LD_PRELOAD="$PRELOAD" "$QUILLON" "$@" >"$WORK/out" 2>"$WORK/err" \
        || [ "${ANY_EXIT:-0}" = 1 ] || fail "$name: exits non-zero: $(cat "$WORK/err")"
    if [ ! -s "$maps" ]; then
        fail "$name: no maps were written"
        return
    fi
    # The dump is the command's: the framework is in it.
    grep -q '/bin/quillon$' "$maps" || fail "$name: the quillon program is not mapped, so the maps are not its own"
    local library
    for library in $absent; do
        grep -q "/$library" "$maps" && fail "$name: maps $library"
    done
    for library in $present; do
        grep -q "/$library" "$maps" || fail "$name: does not map $library"
    done
}

# The web sign-in's engine never comes with a post; FFmpeg (libavformat alone brings over a
# hundred libraries) only with a file whose tracks its container does not list readably.
WEB="libQt6WebEngineCore libQt6WebEngineWidgets libQt6Qml libQt6Quick libquillon-websignin"
FFMPEG="libavformat libavcodec libswscale"
DEVICES="libQt6Multimedia libquillon-multimedia libpulse libQt6Sensors libquillon-sensors"
SOUND="libsndfile"
TLS="libqopensslbackend libqcertonlybackend"
# Metadata removal (Exiv2) only with a photo, tag reading (TagLib) only with a song.
PHOTO="libexiv2 libquillon-imagemetadata"
TAGS="libtag libquillon-mediatags"
# No window, so no GUI application and no platform plugin.
GUI="libqoffscreen libqxcb libqwayland"
ffmpeg -loglevel error -f lavfi -i "testsrc=size=64x48:rate=10" -frames:v 10 -c:v mpeg4 "$WORK/clip.mp4" \
    || fail "ffmpeg could not make the test video"
ffmpeg -loglevel error -f lavfi -i "sine=frequency=440:duration=2" "$WORK/tone.wav" \
    || fail "ffmpeg could not make the test sound"
ffmpeg -loglevel error -f lavfi -i "testsrc=size=64x48" -frames:v 1 "$WORK/photo.jpg" \
    || fail "ffmpeg could not make the test photo"
ffmpeg -loglevel error -f lavfi -i "sine=frequency=440:duration=1" -metadata title="A Tone" "$WORK/song.mp3" \
    || fail "ffmpeg could not make the test song"

check_maps help "$GUI $WEB $FFMPEG $DEVICES $SOUND $PHOTO $TAGS" "" post --help
check_maps dry-run "$GUI $WEB $FFMPEG $DEVICES $SOUND $TLS $PHOTO $TAGS" "" post --dry-run --text "Hello from the command line"
check_maps dry-run-json "$GUI $WEB $FFMPEG $DEVICES $SOUND $TLS $PHOTO $TAGS" "" post --dry-run --json --text "Hello again"
# A video's container lists its tracks, which is all a post needs to know of it.
check_maps dry-run-video "$GUI $WEB $DEVICES $SOUND $FFMPEG $PHOTO $TAGS" "" post --dry-run --text "A clip" --attach "$WORK/clip.mp4"
grep -q "video/mp4" "$WORK/out" || fail "dry-run-video: the clip was not taken for a video: $(cat "$WORK/out")"
check_maps dry-run-photo "$GUI $WEB $DEVICES $SOUND $FFMPEG $TAGS" "$PHOTO" post --dry-run --text "A photo" --attach "$WORK/photo.jpg"
grep -q "image/jpeg" "$WORK/out" || fail "dry-run-photo: the photo was not attached: $(cat "$WORK/out")"
check_maps dry-run-song "$GUI $WEB $DEVICES $PHOTO" "$TAGS" post --dry-run --text "A song" --attach "$WORK/song.mp3"
grep -q "A Tone" "$WORK/out" || fail "dry-run-song: the song's title was not read: $(cat "$WORK/out")"
# A post the store takes at once has no backoff to end early: the network's reachability (a
# plugin that asks the system's network service) is not watched.
check_maps post "$GUI $WEB $FFMPEG $DEVICES $SOUND $TLS libqnetworkmanager libqglib" "" post --text "Straight through"
grep -q "^posted: " "$WORK/out" || fail "post: not posted: $(cat "$WORK/out")"
# A recording fed from a file reads and writes sound, and touches no device.
check_maps record-file "$WEB $DEVICES" "$SOUND" post --dry-run --text "A tone" --record 1 --capture-from "$WORK/tone.wav"
grep -q "Sound Bite" "$WORK/out" || fail "record-file: no sound bite was attached: $(cat "$WORK/out")"
# The microphone is Qt Multimedia's; the machine may have none, so the command may fail.
ANY_EXIT=1 check_maps record-microphone "$WEB libQt6Sensors libquillon-sensors" "libQt6Multimedia libquillon-multimedia" \
    post --dry-run --text "A voice" --record 1

[ "$failures" -eq 0 ] || exit 1
echo "footprint: ok"
