#!/usr/bin/env bash
# quillon post keeps its store session between runs: a second run with a good stored token
# does not sign in again (the sandbox makes one session per sign-in); once the store forgets
# the token, the next run signs in once and goes on.
set -uo pipefail
SOURCE="$1"; BUILD="$2"
QUILLON="$BUILD/bin/quillon"
WORK=$(mktemp -d); trap 'rm -rf "$WORK"' EXIT
export XDG_DATA_HOME="$WORK/share" XDG_CONFIG_HOME="$WORK/config" QUILLON_SANDBOX_DATA="$WORK/sandbox" \
    XDG_RUNTIME_DIR="$WORK/run"
mkdir -m 700 "$WORK/run"
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

query() { python3 -c 'import sqlite3, sys; c = sqlite3.connect(sys.argv[1]); r = c.execute(sys.argv[2]).fetchone(); c.commit(); print(r[0] if r else "")' \
    "$WORK/sandbox/$1" "$2"; }
sql() { query store.sqlite "$1"; }
post() {
    "$QUILLON" post --text "$1" >"$WORK/out" 2>"$WORK/err" || { fail "$1: $(cat "$WORK/err")"; return 1; }
    grep -Eq '^posted: https?://127\.0\.0\.1:[0-9]+/' "$WORK/out" || fail "$1: no feed address: $(cat "$WORK/out")"
}

post "first run signs in"
[ "$(sql 'select count(*) from sessions')" -eq 1 ] || fail "the first run made $(sql 'select count(*) from sessions') sessions"
post "second run reuses the session"
post "third run reuses it too"
[ "$(sql 'select count(*) from sessions')" -eq 1 ] || fail "later runs signed in again: $(sql 'select count(*) from sessions') sessions"

sql 'delete from sessions' >/dev/null
post "the store forgot the session"
[ "$(sql 'select count(*) from sessions')" -eq 1 ] || fail "a refused token did not lead to exactly one sign-in"
post "and the new one is kept"
[ "$(sql 'select count(*) from sessions')" -eq 1 ] || fail "the new session was not reused"
[ "$(query posts.sqlite 'select count(*) from posts')" -eq 5 ] || fail "not every run posted"

[ "$failures" -eq 0 ] || exit 1
echo "all store session checks passed"
