#!/usr/bin/env bash
# quillon post as a user runs it: help, and input it must refuse with one clear line on stderr
# and a non-zero exit before anything reaches a store.
set -uo pipefail
SOURCE="$1"; BUILD="$2"
QUILLON="$BUILD/bin/quillon"
WORK=$(mktemp -d); trap 'rm -rf "$WORK"' EXIT
# TMPDIR too, so a recording left behind would show.
export XDG_DATA_HOME="$WORK/share" QUILLON_SANDBOX_DATA="$WORK/sandbox" XDG_RUNTIME_DIR="$WORK/run" TMPDIR="$WORK/tmp"
mkdir -m 700 "$WORK/run" "$WORK/tmp"
# shellcheck source=storeposts.sh
. "$(dirname "$0")/storeposts.sh"
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

help=$("$QUILLON" post --help) || fail "--help exits non-zero"
for option in --text --tag --attach --record --capture-from --item --as --attribute --share --dry-run --json --store --wait-limit --no-wait; do
    grep -q -- "$option" <<<"$help" || fail "--help does not document $option"
done

: > "$WORK/empty.png"
printf 'words\n' > "$WORK/notes.txt"

# name | expected exit | text stderr must contain | arguments...
expect_refusal() {
    local name="$1" code="$2" needle="$3"; shift 3
    "$QUILLON" post "$@" >"$WORK/out" 2>"$WORK/err"
    local got=$?
    [ "$got" -eq "$code" ] || fail "$name: exit $got, expected $code"
    [ "$(wc -l <"$WORK/err")" -eq 1 ] || fail "$name: stderr is not one line: $(cat "$WORK/err")"
    grep -qF -- "$needle" "$WORK/err" || fail "$name: stderr lacks '$needle': $(cat "$WORK/err")"
    [ ! -s "$WORK/out" ] || fail "$name: printed to stdout: $(cat "$WORK/out")"
}

expect_refusal nothing-to-post 2 "nothing to post" --dry-run
expect_refusal unknown-option 2 "--colour" --text hi --colour red
expect_refusal unknown-service 2 "myspace" --text hi --share myspace
expect_refusal bad-store 2 "--store" --text hi --store "file:///etc/passwd"
expect_refusal bad-wait-limit 2 "--wait-limit needs" --text hi --wait-limit soon
expect_refusal missing-file 1 "$WORK/nowhere.jpg" --text hi --attach "$WORK/nowhere.jpg"
expect_refusal empty-file 1 "empty" --text hi --attach "$WORK/empty.png"
expect_refusal not-media 1 "not a photo" --text hi --attach "$WORK/notes.txt"
expect_refusal directory 1 "not a file" --text hi --attach "$WORK"
# A format whose metadata cannot be removed is refused with its name before the store is
# asked anything: the unreachable store would give another message.
printf '\x00\x00\x00\x18ftypheic\x00\x00\x00\x00mif1heic\x00\x00\x00\x08meta' > "$WORK/IMG_0001.heic"
expect_refusal heic-photo 1 "$WORK/IMG_0001.heic: The location and camera data of HEIC" \
    --text hi --attach "$WORK/IMG_0001.heic" --store http://127.0.0.1:1/bag

# Nothing was prepared, so no temporary asset may be left behind.
ASSETS="$WORK/share/Library/com.vantor.Quillon/Assets"
if [ -d "$ASSETS" ] && [ -n "$(ls -A "$ASSETS")" ]; then
    fail "refused posts left files in the assets folder"
fi

# Against the embedded sandbox store.
SAMPLE="$SOURCE/resources/samples/sunset.jpg"
ffmpeg -loglevel error -f lavfi -i "sine=frequency=440:duration=1" -f lavfi -i "color=c=red:s=32x32:d=1" \
    -map 0 -map 1 -frames:v 1 -c:v png -disposition:v attached_pic -metadata title="Night Drive" \
    -id3v2_version 3 "$WORK/song.mp3" || fail "could not make the test song"

posted() {
    local name="$1"; shift
    if ! "$QUILLON" post "$@" >"$WORK/out" 2>"$WORK/err"; then
        fail "$name: $(cat "$WORK/err")"; return 1
    fi
    grep -Eq '^posted: http://127\.0\.0\.1:[0-9]+/' "$WORK/out" || fail "$name: no feed address: $(cat "$WORK/out")"
}
posted text-only --text "Hello from the command line"

# A store item and a tag by identifier: the lookups send the protocol version, and the post the
# store kept carries both.
if posted item-and-tag --text "Out now" --item 2001 --tag 1001; then
    posts_of "$QUILLON_SANDBOX_DATA" "$BUILD" >"$WORK/posts.json" || fail "item-and-tag: could not read the posts back"
    python3 - "$WORK/posts.json" <<'PY' || fail "item-and-tag: the stored post is wrong: $(head -c 2000 "$WORK/posts.json")"
import json, sys
post = json.load(open(sys.argv[1]))["posts"][0]
assert post["text"].startswith("Out now @{artist:1001:"), post["text"]
assert post["item"]["id"] == "2001", post["item"]
PY
fi

# An @word the store does not know stays text, with a note; the post goes out as written.
if posted unknown-word --text "working @home tonight"; then
    grep -q "@home is not a tag" "$WORK/err" || fail "unknown-word: no note on stderr: $(cat "$WORK/err")"
    posts_of "$QUILLON_SANDBOX_DATA" "$BUILD" >"$WORK/posts.json" || fail "unknown-word: could not read the posts back"
    python3 -c 'import json, sys; t = json.load(open(sys.argv[1]))["posts"][0]["text"]; assert t == "working @home tonight", t' \
        "$WORK/posts.json" || fail "unknown-word: stored text changed"
fi
posted photo-with-tag --text "Sunset with @KaitoMori" --attach "$SAMPLE"
posted song-with-cover --text "New song" --attach "$WORK/song.mp3"
posted cross-posted --text "Also on Facebook" --share facebook
# Formats with no place for location data pass.
for format in gif bmp; do
    ffmpeg -loglevel error -f lavfi -i "color=c=blue:s=48x32:d=1" -frames:v 1 "$WORK/drawing.$format" \
        || fail "could not make the $format photo"
    posted "$format-photo" --text "A $format drawing" --attach "$WORK/drawing.$format"
done

# A dry run prints the description and keeps its files: the song has its cover child, the
# photo left the user's file alone.
if "$QUILLON" post --dry-run --json --text "New song" --attach "$WORK/song.mp3" >"$WORK/song.json" 2>"$WORK/err" \
    && "$QUILLON" post --dry-run --json --text "Look @KaitoMori" --attach "$SAMPLE" >"$WORK/photo.json" 2>"$WORK/err"; then
    python3 - "$WORK/song.json" "$WORK/photo.json" "$SAMPLE" <<'PY' || fail "dry run description is wrong: $(cat "$WORK/song.json" "$WORK/photo.json")"
import json, os, sys
song = json.load(open(sys.argv[1]))["attachments"][0]
assert song["title"] == "Night Drive", song
cover = song["children"]["coverImage"]
assert os.path.exists(cover["path"]) and cover["title"] == "Cover Image" and cover["subtitle"] == "Night Drive"
d = json.load(open(sys.argv[2]))
assert d["text"] == 'Look @{artist:1006:"Kaito Mori"}', d["text"]
photo = d["attachments"][0]
assert photo["title"] == "Photo" and photo["subtitle"] == "Look Kaito Mori", photo
assert os.path.exists(photo["path"]) and photo["path"] != sys.argv[3]
PY
else
    fail "dry run: $(cat "$WORK/err")"
fi

# A sound bite recorded through the file-fed capture device: kept on a dry run, a CAF file
# of 44.1 kHz mono 16-bit little-endian PCM about as long as asked.
ffmpeg -loglevel error -f lavfi -i "sine=frequency=330:duration=3" -ar 48000 -ac 2 "$WORK/voice.wav" \
    || fail "could not make the capture source"
if "$QUILLON" post --dry-run --json --text "Listen" --record 1.5 --capture-from "$WORK/voice.wav" \
    >"$WORK/bite.json" 2>"$WORK/err"; then
    python3 - "$WORK/bite.json" <<'PY' || fail "sound bite dry run is wrong: $(cat "$WORK/bite.json")"
import json, os, subprocess, sys
d = json.load(open(sys.argv[1]))
path = d["recording"]
assert path.endswith(".caf") and os.path.exists(path), path
a = d["attachments"][0]
assert a["UTI"] == "audio/x-caf" and os.path.exists(a["path"]), a
probe = json.loads(subprocess.check_output(["ffprobe", "-v", "error", "-show_streams", "-show_format", "-of", "json", path]))
s = probe["streams"][0]
assert (s["codec_name"], s["sample_rate"], s["channels"]) == ("pcm_s16le", "44100", 1), s
# The recorder stops at its limit; the take's length comes from a timer, so allow slack.
assert 1.0 <= float(probe["format"]["duration"]) <= 2.0, probe["format"]
PY
else
    fail "sound bite dry run: $(cat "$WORK/err")"
fi
posted sound-bite --text "A sound bite" --record 1 --capture-from "$WORK/voice.wav"
expect_refusal capture-without-record 2 "--capture-from goes with --record" --text hi --capture-from "$WORK/voice.wav"
expect_refusal record-not-a-number 2 "--record needs" --text hi --record soon
expect_refusal record-over-limit 1 "sound bites of at most" --text hi --record 600 --capture-from "$WORK/voice.wav"
expect_refusal capture-file-missing 1 "$WORK/nope.wav cannot be read" --text hi --record 1 --capture-from "$WORK/nope.wav"
expect_refusal record-under-minimum 2 "at least 0.5 seconds" --text hi --record 0.3 --capture-from "$WORK/voice.wav"

# Capture files that are no sound: each refusal names the file and says it is not audio.
: > "$WORK/empty.wav"
head -c 4096 /dev/urandom > "$WORK/noise.wav"
python3 - "$WORK/header-only.wav" <<'PY'
import struct, sys
# A WAV header for 44.1 kHz mono 16-bit PCM with no frames after it.
fmt = struct.pack("<HHIIHH", 1, 1, 44100, 88200, 2, 16)
data = b"RIFF" + struct.pack("<I", 36) + b"WAVE" + b"fmt " + struct.pack("<I", 16) + fmt + b"data" + struct.pack("<I", 0)
open(sys.argv[1], "wb").write(data)
PY
for name in empty noise header-only; do
    expect_refusal "capture-$name" 1 "$WORK/$name.wav is not audio" --text hi --record 1 --capture-from "$WORK/$name.wav"
done

# Limits are checked before the take: an attachment too many is refused with nothing recorded,
# and the limit is named as the configuration's (the store's bag sets none).
rm -f "$WORK"/tmp/*.caf # the dry run above handed its take over; it is not the one looked for
expect_refusal record-over-attachment-limit 1 "the configuration allows at most 1" \
    --text hi --attach "$SAMPLE" --record 1 --capture-from "$WORK/voice.wav"
[ -z "$(find "$WORK/tmp" -name '*.caf')" ] || fail "a refused post left a recording behind: $(find "$WORK/tmp" -name '*.caf')"

printf '\xff\xd8\xff\xe0 truncated jpeg' > "$WORK/broken.jpg"
expect_refusal unknown-quoted-tag 1 '@"Nobody At All"' --text 'hi @"Nobody At All"'
expect_refusal ambiguous-tag 1 "@MiraSol is ambiguous" --text "hi @MiraSol"
grep -q "1008" "$WORK/err" && grep -q "1010" "$WORK/err" || fail "ambiguous-tag: the candidates are not listed: $(cat "$WORK/err")"
expect_refusal forbidden-author 1 "may not post as author 1" --text hi --as 1
expect_refusal corrupt-photo 1 "could not prepare the post" --text hi --attach "$WORK/broken.jpg"

[ "$failures" -eq 0 ] || exit 1
echo "all postcommand checks passed"
