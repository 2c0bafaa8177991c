#!/usr/bin/env bash
# quillon-sandbox-store on its own: serves the bag on the port it prints, keeps its data in
# --data, stops cleanly on SIGTERM and refuses bad arguments.
set -euo pipefail
build="$2"
exe="$build/bin/quillon-sandbox-store"
work=$(mktemp -d)
pid=""
cleanup() { [ -n "$pid" ] && kill "$pid" 2>/dev/null; rm -rf "$work"; }
trap cleanup EXIT

fail() { echo "FAIL: $*" >&2; exit 1; }

"$exe" --port 70000 --data "$work/d" >/dev/null 2>&1 && fail "port 70000 accepted"
"$exe" --port 0 >/dev/null 2>&1 && fail "missing --data accepted"

"$exe" --port 0 --data "$work/data" >"$work/out" 2>&1 &
pid=$!
for _ in $(seq 1 200); do grep -q 'serving' "$work/out" && break; sleep 0.1; done
url=$(grep -o 'http://127.0.0.1:[0-9]*' "$work/out" | head -1)
[ -n "$url" ] || fail "no address printed: $(cat "$work/out")"
curl -sf "$url/bag" | grep -q '"musicForum"' || fail "bag not served"
curl -sf -d 'accountName=casey@demo.quillon.test&password=quillon-demo' "$url/account/signin" | grep -q '"token"' \
    || fail "demo sign-in failed"
[ -f "$work/data/store.sqlite" ] || fail "no database in --data"
kill -TERM "$pid"
wait "$pid" || fail "exit status $? after SIGTERM"
pid=""
echo "ok"
