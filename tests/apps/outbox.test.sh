#!/usr/bin/env bash
# The outbox as users meet it: quillon post and quillon outbox against a sandbox store running
# on its own, through the faults that used to strand posts: a post killed mid-upload, the store
# restarting mid-upload, a post refused for good, a full outbox file system, two posts at once.
set -uo pipefail
SOURCE="$1"; BUILD="$2"
QUILLON="$BUILD/bin/quillon"
STORE_BIN="$BUILD/bin/quillon-sandbox-store"
WORK=$(mktemp -d)
STORE_PID=""
cleanup() {
    [ -n "$STORE_PID" ] && kill -CONT "$STORE_PID" 2>/dev/null && kill "$STORE_PID" 2>/dev/null && wait "$STORE_PID" 2>/dev/null
    rm -rf "$WORK"
}
trap cleanup EXIT
export XDG_DATA_HOME="$WORK/share" XDG_RUNTIME_DIR="$WORK/run" QUILLON_OUTBOX_DIR="$WORK/outbox"
export QUILLON_STORE_ACCOUNT="casey@demo.quillon.test" QUILLON_STORE_PASSWORD="quillon-demo"
mkdir -m 700 "$WORK/run"
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# port 0 the first time; the same port again for a restart.
start_store() {
    "$STORE_BIN" --port "${1:-0}" --data "$WORK/store" >"$WORK/store.out" 2>&1 &
    STORE_PID=$!
    for _ in $(seq 100); do
        grep -q "serving" "$WORK/store.out" && break
        sleep 0.1
    done
    BAG=$(sed -n 's/.*(bag: \([^)]*\)).*/\1/p' "$WORK/store.out")
    PORT=$(sed -n 's|.*serving http://127.0.0.1:\([0-9]*\).*|\1|p' "$WORK/store.out")
    [ -n "$BAG" ] || { echo "the sandbox store did not start: $(cat "$WORK/store.out")"; exit 1; }
}
posts_json() { curl -sf "${BAG%/bag}/posts"; }
# How many stored posts have this text.
count_posts() { posts_json | python3 -c 'import json,sys; print(sum(p["text"] == sys.argv[1] for p in json.load(sys.stdin)["posts"]))' "$1"; }
outbox_posts() { find "$WORK/outbox" -mindepth 1 -maxdepth 1 -type d | wc -l; }

# Holds the store still once an upload is streaming into it, so what comes next lands mid-upload.
freeze_store_mid_upload() {
    touch "$WORK/since"
    for _ in $(seq 300); do
        # A store killed mid-upload leaves its staging behind: only files written from now count.
        if find "$WORK/store" -path '*/.staging-*' -type f -size +1k -newer "$WORK/since" 2>/dev/null | grep -q .; then
            kill -STOP "$STORE_PID"; return 0
        fi
        sleep 0.02
    done
    return 1
}

# Leaves a post in the outbox the way a killed run does: killed with SIGKILL mid-upload.
queue_by_killing() {
    local text="$1"; shift
    "$QUILLON" post --store "$BAG" --text "$text" "$@" >"$WORK/killed.out" 2>&1 &
    local pid=$!
    freeze_store_mid_upload || fail "$text: the upload never started: $(cat "$WORK/killed.out")"
    kill -9 "$pid"; wait "$pid" 2>/dev/null
    kill -CONT "$STORE_PID"
}

start_store
# A real Matroska video, large enough that an upload takes a while: raw frames, no encoding.
ffmpeg -loglevel error -f lavfi -i "testsrc=size=1280x720:rate=25" -frames:v 30 -c:v rawvideo -pix_fmt yuv420p \
    "$WORK/clip.mkv" || fail "could not make the test video"
ffmpeg -loglevel error -f lavfi -i "sine=frequency=440:duration=2" -c:a libvorbis "$WORK/song.webm" \
    || fail "could not make the test song"

# Recognised by content: a Matroska video is a video, an audio-only WebM a song.
for pair in "clip.mkv video/x-matroska" "song.webm audio/webm"; do
    set -- $pair
    "$QUILLON" post --store "$BAG" --dry-run --json --text "kinds" --attach "$WORK/$1" >"$WORK/kind.json" 2>"$WORK/err" \
        || fail "media kind of $1: $(cat "$WORK/err")"
    python3 -c 'import json,sys; a = json.load(open(sys.argv[1]))["attachments"][0]; assert a["UTI"] == sys.argv[2], a' \
        "$WORK/kind.json" "$2" || fail "media kind of $1 is wrong: $(cat "$WORK/kind.json")"
done

# 1. Killed mid-upload: the next post delivers both, each once, and says so.
queue_by_killing "killed mid-upload" --attach "$WORK/clip.mkv"
[ "$(outbox_posts)" -eq 1 ] || fail "killed: the post is not in the outbox"
"$QUILLON" post --store "$BAG" --text "the next post" >"$WORK/out" 2>"$WORK/err"
code=$?
[ "$code" -eq 0 ] || fail "killed: the next post exits $code: $(cat "$WORK/err")"
[ "$(grep -c '^posted: http' "$WORK/out")" -eq 2 ] || fail "killed: not two addresses: $(cat "$WORK/out")"
grep -q "sending a post queued earlier" "$WORK/err" || fail "killed: the queued post was sent silently: $(cat "$WORK/err")"
[ "$(count_posts "killed mid-upload")" -eq 1 ] || fail "killed: the interrupted post is not stored once"
[ "$(count_posts "the next post")" -eq 1 ] || fail "killed: the next post is not stored once"
[ "$(outbox_posts)" -eq 0 ] || fail "killed: the outbox is not empty"
[ -f "$WORK/clip.mkv" ] || fail "killed: the user's video is gone"

# 2. The store restarts mid-upload: the post is sent again and stored once; the retry is reported.
"$QUILLON" post --store "$BAG" --text "across a restart" --attach "$WORK/clip.mkv" >"$WORK/out" 2>"$WORK/err" &
pid=$!
freeze_store_mid_upload || fail "restart: the upload never started"
kill -9 "$STORE_PID"; wait "$STORE_PID" 2>/dev/null
start_store "$PORT"
wait "$pid"; code=$?
[ "$code" -eq 0 ] || fail "restart: exit $code: $(cat "$WORK/err")"
grep -q "attempt 1 for your post failed: .*trying again in" "$WORK/err" || fail "restart: the retry was not reported: $(cat "$WORK/err")"
[ "$(count_posts "across a restart")" -eq 1 ] || fail "restart: the post is not stored once"
[ "$(outbox_posts)" -eq 0 ] || fail "restart: the outbox is not empty"

# 3. A store that stops answering: a bounded wait, a hint how to send later, a non-zero exit;
# sending it later says so and stores it once.
"$QUILLON" post --store "$BAG" --text "outwaited" --attach "$WORK/clip.mkv" --wait-limit 3 >"$WORK/out" 2>"$WORK/err" &
pid=$!
freeze_store_mid_upload || fail "stalled: the upload never started"
wait "$pid"; code=$?
kill -CONT "$STORE_PID"
[ "$code" -eq 3 ] || fail "stalled: exit $code: $(cat "$WORK/err")"
grep -q "your post is still queued after 3 s.*quillon outbox send" "$WORK/err" || fail "stalled: no hint: $(cat "$WORK/err")"
[ "$(outbox_posts)" -eq 1 ] || fail "stalled: the post is not kept in the outbox"
key=$(ls "$WORK/outbox")
"$QUILLON" outbox send "${key:0:8}" --store "$BAG" >"$WORK/out" 2>"$WORK/err" || fail "stalled: send by key: $(cat "$WORK/err")"
grep -q "^posted: http" "$WORK/out" || fail "stalled: no address: $(cat "$WORK/out")"
grep -q "sending a post queued earlier: ${key:0:8}" "$WORK/err" || fail "stalled: the send was silent: $(cat "$WORK/err")"
[ "$(count_posts "outwaited")" -eq 1 ] || fail "stalled: the post is not stored once"
[ "$(outbox_posts)" -eq 0 ] || fail "stalled: the outbox is not empty"

# 4. Refused for good: kept, listed with the reason in words, discarded on request.
queue_by_killing "refused for good" --as 1001 --attach "$WORK/clip.mkv"
sqlite3 "$WORK/store/store.sqlite" "DELETE FROM authors WHERE account_id = 9001 AND author_id = '1001'"
"$QUILLON" outbox send --store "$BAG" >"$WORK/out" 2>"$WORK/err"
code=$?
[ "$code" -eq 1 ] || fail "refused: exit $code: $(cat "$WORK/err")"
grep -q "can never be sent: the account may not post this" "$WORK/err" || fail "refused: no reason in words: $(cat "$WORK/err")"
"$QUILLON" outbox list --json >"$WORK/list.json" || fail "refused: list fails"
key=$(python3 - "$WORK/list.json" <<'PY'
import json, sys
posts = json.load(open(sys.argv[1]))["posts"]
assert len(posts) == 1, posts
p = posts[0]
assert p["state"] == "refused" and p["attempts"] >= 1 and p["size"] > 1000000, p
assert p["lastError"]["httpStatus"] == 403 and "may not post" in p["lastError"]["reason"], p
assert p["files"] == ["clip.mkv"] and p["text"] == "refused for good", p
print(p["key"])
PY
) || fail "refused: the listing is wrong: $(cat "$WORK/list.json")"
"$QUILLON" outbox list | grep -q "^refused .*last error: the account may not post this" \
    || "$QUILLON" outbox list | grep -q "last error: the account may not post this" || fail "refused: the text listing lacks the reason"
# On a terminal it asks first; "no" keeps the post.
script -qec "'$QUILLON' outbox discard ${key:0:8}" /dev/null <<<"n" >"$WORK/out" 2>&1
grep -q "Discard post ${key:0:8}.*\[y/N\]" "$WORK/out" || fail "refused: discard did not ask on a terminal: $(cat "$WORK/out")"
[ "$(outbox_posts)" -eq 1 ] || fail "refused: discard without a yes removed the post"
"$QUILLON" outbox discard "$key" </dev/null >"$WORK/out" 2>"$WORK/err" || fail "refused: discard: $(cat "$WORK/err")"
[ "$(outbox_posts)" -eq 0 ] || fail "refused: discard left the post"
[ -f "$WORK/clip.mkv" ] || fail "refused: discarding removed the user's file"
[ "$(count_posts "refused for good")" -eq 0 ] || fail "refused: the store has the post"
sqlite3 "$WORK/store/store.sqlite" "INSERT INTO authors VALUES (9001, 1, '1001', 'Dana Demo', 'artist', 'shareAsEntity')"

# 5. The outbox on a full file system: a clear error, nothing half-written, the file untouched.
mkdir -p "$WORK/small"
as_mounter=(unshare -m)
[ "$(id -u)" -eq 0 ] || as_mounter=(unshare -rm)
WORK_LEFT="$WORK/left" QUILLON_OUTBOX_DIR="$WORK/small" "${as_mounter[@]}" bash -c \
    'mount -t tmpfs -o size=1m tmpfs "$1" || exit 99; shift; "$@"; code=$?; find "$QUILLON_OUTBOX_DIR" -mindepth 1 >"$WORK_LEFT"; exit $code' \
    _ "$WORK/small" "$QUILLON" post --store "$BAG" --text "no room" --attach "$WORK/clip.mkv" \
    >"$WORK/out" 2>"$WORK/err"
code=$?
[ "$code" -ne 99 ] || fail "full: cannot mount a small file system here"
[ "$code" -eq 1 ] || fail "full: exit $code: $(cat "$WORK/err")"
grep -q "clip.mkv.*could not be put in the outbox: .*No space left on device" "$WORK/err" || fail "full: unclear error: $(cat "$WORK/err")"
[ ! -s "$WORK/left" ] || fail "full: files left in the outbox: $(cat "$WORK/left")"
[ "$(count_posts "no room")" -eq 0 ] || fail "full: the store got the post"

# --no-wait: only this post goes; the older one is not started, so not cut off, and waits.
queue_by_killing "left for later" --attach "$WORK/clip.mkv"
"$QUILLON" post --store "$BAG" --text "alone" --no-wait >"$WORK/out" 2>"$WORK/err" || fail "no-wait: $(cat "$WORK/err")"
[ "$(grep -c '^posted: http' "$WORK/out")" -eq 1 ] || fail "no-wait: not one address: $(cat "$WORK/out")"
! grep -q "queued earlier" "$WORK/err" || fail "no-wait: the older post was started: $(cat "$WORK/err")"
[ "$(outbox_posts)" -eq 1 ] || fail "no-wait: the older post is not waiting"
[ "$(count_posts "left for later")" -eq 0 ] || fail "no-wait: the older post was sent"
"$QUILLON" outbox send --store "$BAG" >"$WORK/out" 2>"$WORK/err" || fail "no-wait: sending later: $(cat "$WORK/err")"
[ "$(count_posts "left for later")" -eq 1 ] || fail "no-wait: the older post is not stored once later"

# 6. Two posts at once on one outbox, with an older one queued: each is sent by one process.
queue_by_killing "older, sent once" --attach "$WORK/clip.mkv"
"$QUILLON" post --store "$BAG" --text "first at once" >"$WORK/a.out" 2>"$WORK/a.err" &
a=$!
"$QUILLON" post --store "$BAG" --text "second at once" >"$WORK/b.out" 2>"$WORK/b.err" &
b=$!
wait "$a" || fail "at once: the first exits non-zero: $(cat "$WORK/a.err")"
wait "$b" || fail "at once: the second exits non-zero: $(cat "$WORK/b.err")"
for text in "older, sent once" "first at once" "second at once"; do
    [ "$(count_posts "$text")" -eq 1 ] || fail "at once: '$text' is not stored once"
done
# Each process prints an address only for a reply to its own upload: the older post got one.
[ "$(cat "$WORK/a.out" "$WORK/b.out" | grep -c 'queued post')" -eq 1 ] \
    || fail "at once: the older post was uploaded other than once: $(cat "$WORK/a.out" "$WORK/b.out" "$WORK/a.err" "$WORK/b.err")"
[ "$(outbox_posts)" -eq 0 ] || fail "at once: the outbox is not empty"

[ "$failures" -eq 0 ] || exit 1
echo "all outbox checks passed"
