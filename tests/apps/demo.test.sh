#!/usr/bin/env bash
# The unattended demo against a sandbox store of its own: it ends with the post in the store,
# and every screen it saved is a real picture of a screen showing its title and headings.
set -uo pipefail
SOURCE="$1"; BUILD="$2"
WORK=$(mktemp -d)
STORE_PID=""
trap '[ -n "$STORE_PID" ] && kill "$STORE_PID" 2>/dev/null; rm -rf "$WORK"' EXIT
export XDG_DATA_HOME="$WORK/share" XDG_CONFIG_HOME="$WORK/config" XDG_RUNTIME_DIR="$WORK/run" \
    QUILLON_OUTBOX_DIR="$WORK/outbox" QUILLON_DRAFTS_DIR="$WORK/drafts" QT_QPA_PLATFORM=offscreen
mkdir -m 700 "$WORK/run"
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

"$BUILD/bin/quillon-sandbox-store" --port 0 --data "$WORK/sandbox" >"$WORK/store.log" 2>&1 &
STORE_PID=$!
BAG=""
for _ in $(seq 100); do
    BAG=$(sed -n 's/.*(bag: \(.*\)), data in.*/\1/p' "$WORK/store.log")
    [ -n "$BAG" ] && break
    sleep 0.1
done
[ -n "$BAG" ] || { cat "$WORK/store.log"; echo "FAIL: the store did not start"; exit 1; }

QUILLON_STORE_PASSWORD=quillon-demo timeout 240 "$BUILD/bin/quillon-demo" --bag "$BAG" --account casey@demo.quillon.test \
    --script "$WORK/screens" --sample "$SOURCE/resources/samples/sunset.jpg" >"$WORK/out" 2>"$WORK/err" \
    || { cat "$WORK/out" "$WORK/err"; echo "FAIL: the scripted demo failed"; exit 1; }
POST=$(sed -n 's/^posted: //p' "$WORK/out")
FEED=$(sed -n 's/^feed: //p' "$WORK/out")
[[ "$POST" == http://127.0.0.1:*/feed* ]] || fail "no post address: $(cat "$WORK/out")"
[[ "$FEED" == http://127.0.0.1:*/feed ]] || fail "no feed address: $(cat "$WORK/out")"

# Every screen: a PNG of a window's size with more than a blank's worth of content, showing the
# window's title and both headings; the last one also the address of the post.
python3 - "$WORK/screens" "$POST" <<'PY' || failures=$((failures + 1))
import json, os, struct, sys, zlib
folder, post = sys.argv[1], sys.argv[2]
screens = json.load(open(os.path.join(folder, "screens.json")))
names = [os.path.basename(s["path"]) for s in screens]
expected = ["01-store.png", "02-uploading.png", "03-posted.png"]
ok = names == expected or print("FAIL: screens", names, "expected", expected)
for screen in screens:
    data = open(screen["path"], "rb").read()
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        print("FAIL:", screen["path"], "is not a PNG"); ok = False; continue
    width, height = struct.unpack(">II", data[16:24])
    if width < 600 or height < 400:
        print("FAIL:", screen["path"], "is only", width, "x", height); ok = False
    # A blank window compresses to almost nothing.
    if len(data) < 8000:
        print("FAIL:", screen["path"], "holds almost nothing:", len(data), "bytes"); ok = False
    texts = screen["texts"]
    for wanted in ("Quillon Demo Store", "Catalogue", "Pending Uploads"):
        if screen["title"] != "Quillon Demo Store" or wanted not in texts:
            print("FAIL:", screen["path"], "does not show", repr(wanted), "in", texts); ok = False
if not any(post in t for t in screens[-1]["texts"]):
    print("FAIL: the last screen does not show the post's address", post); ok = False
sys.exit(0 if ok else 1)
PY

# The post is in the store as composed, and the feed page answers.
curl -sf "${FEED%/feed}/posts" >"$WORK/posts.json" || fail "the store's post list did not answer"
python3 - "$WORK/posts.json" <<'PY' || failures=$((failures + 1))
import json, sys
posts = json.load(open(sys.argv[1]))["posts"]
ok = len(posts) == 1 or print("FAIL: expected one post, the store has", len(posts))
if posts:
    post = posts[0]
    if "@{artist:" not in post["text"] or "Sunset over the harbour" not in post["text"]:
        print("FAIL: the text lost its tag:", post["text"]); ok = False
    if len(post["attachments"]) != 1:
        print("FAIL: attachments", post["attachments"]); ok = False
    if not post.get("item"):
        print("FAIL: the shared album is missing"); ok = False
sys.exit(0 if ok else 1)
PY
curl -sf "$FEED" | grep -q 'Sunset over the harbour' || fail "the feed page does not show the post"

[ "$failures" -eq 0 ] || exit 1
echo "the scripted demo posted and every screen checks out"
