#!/usr/bin/env bash
# quillon accounts against its embedded sandbox store, with a home of its own: what one run
# links, switches or unlinks, the next run sees; bad input and an unreachable store end in a
# clear error and change nothing.
set -uo pipefail
build="$2"
exe="$build/bin/quillon"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export XDG_DATA_HOME="$work/data" XDG_CONFIG_HOME="$work/config" XDG_RUNTIME_DIR="$work/run"
export DBUS_SESSION_BUS_ADDRESS="unix:path=/nonexistent/quillon-test-bus" QT_QPA_PLATFORM=offscreen
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
unset DISPLAY WAYLAND_DISPLAY QUILLON_STORE_PASSWORD QUILLON_SANDBOX_DATA
# shellcheck source=storeposts.sh
. "$(dirname "$0")/storeposts.sh"
database="$XDG_DATA_HOME/Library/com.vantor.Quillon/SocialAccounts.sqlitedb"

failures=0
fail() { echo "FAIL: $*" >&2; failures=$((failures + 1)); }

# run NAME EXPECTED_EXIT STDIN ARGS...: runs one case; its output is in $work/out, errors in $work/err.
run() {
    local name="$1" expected="$2" input="$3"
    shift 3
    printf '%s' "$input" | "$exe" accounts "$@" >"$work/out" 2>"$work/err"
    local status=$?
    [ "$status" -eq "$expected" ] || fail "$name: exit $status, expected $expected; stderr: $(cat "$work/err")"
}
expect_out() { grep -q -- "$2" "$work/out" || fail "$1: output lacks '$2': $(cat "$work/out")"; }
expect_err() { grep -q -- "$2" "$work/err" || fail "$1: error lacks '$2': $(cat "$work/err")"; }
# json_has NAME SERVICE TEXT: the service's entry of 'list --json' (Twitter's has no nested
# objects) holds TEXT.
json_has() {
    tr -d ' \n' <"$work/out" | grep -o "{[^{}]*\"service\":\"$2\"[^{}]*}" | grep -q -- "$3" \
        || fail "$1: $2 entry lacks $3: $(cat "$work/out")"
}

pass="tweet-demo-pass"
credentials="$XDG_DATA_HOME/com.vantor.Quillon/Credentials/credentials.json"

# Without a keyring the owner-only file takes the credentials: the first run says so on stderr,
# later runs do not, and 'list' names the store in use.
run "first list" 0 "" list
expect_err "first list" "passwords and session tokens are kept in the file $credentials"
expect_out "first list" "Credentials are kept in the file $credentials"
run "second list" 0 "" list --json
grep -q "kept in" "$work/err" && fail "second list: the notice came again: $(cat "$work/err")"
grep -q '"backend": "file"' "$work/out" || fail "second list: no credential store in: $(cat "$work/out")"

# Where the fallback is forbidden, linking fails with a clear error and leaves no file behind.
export XDG_DATA_HOME="$work/secure" QUILLON_REQUIRE_SECURE_CREDENTIALS=1
run "secure storage required" 1 "$pass" --as 1001 link twitter --user quillondemo
expect_err "secure storage required" "secure credential storage is required"
[ -e "$XDG_DATA_HOME/com.vantor.Quillon/Credentials/credentials.json" ] && fail "secure storage required: a credential file was written"
run "list without secure storage" 0 "" --as 1001 list
expect_out "list without secure storage" "Credentials are kept in nowhere"
export XDG_DATA_HOME="$work/data"
unset QUILLON_REQUIRE_SECURE_CREDENTIALS

# Case table for input that must be refused before anything changes:
# name | exit | stdin | arguments
while IFS='|' read -r name code input args; do
    [ -z "$name" ] && continue
    # shellcheck disable=SC2086
    run "$name" "$code" "$input" $args
    [ -s "$work/err" ] || fail "$name: no error message"
done <<'EOF'
unknown command|2||frobnicate
unknown service|2||enable myspace
missing service|2||disable
link twitter without a user|2||link twitter
extra argument|2||list extra
unknown option|2||list --colour
wrong twitter password|1|not-the-password|link twitter --user quillondemo
empty twitter password|1||link twitter --user quillondemo
unknown author|1||--as 424242 list
enable without an account|1||enable facebook
unlink without an account|1||unlink twitter
facebook without a display|1||link facebook
EOF
expect_err "facebook without a display" "needs a display"
run "after refusals" 0 "" list --json
json_has "after refusals" twitter '"linked":false'
json_has "after refusals" facebook '"linked":false'

# Link for the artist; a second run sees it, the store account's own author does not.
run "link twitter" 0 "$pass" --as 1001 link twitter --user quillondemo
expect_out "link twitter" "linked @quillondemo"
run "list artist" 0 "" --as 1001 list --json
json_has "list artist" twitter '"linked":true'
json_has "list artist" twitter '"userName":"@quillondemo"'
json_has "list artist" twitter '"enabled":true'
run "list own author" 0 "" list --json
json_has "list own author" twitter '"linked":false'
[ -f "$XDG_DATA_HOME/Library/com.vantor.Quillon/SocialAccounts.sqlitedb" ] || fail "no account file in the shared data folder"
grep -rq "$pass" "$XDG_DATA_HOME/Library" && fail "the password reached the account file"

# Linked here, shared there: a post in another process cross-posts through the same embedded
# store, whose default data folder both commands use.
if "$exe" post --as 1001 --share twitter --text "linked then posted" >"$work/out" 2>"$work/err"; then
    sandbox="$XDG_DATA_HOME/quillon/sandbox"
    [ -d "$sandbox" ] || fail "link then post: the sandbox data is not in $sandbox"
    posts_of "$sandbox" "$build" >"$work/posts.json" || fail "link then post: could not read the posts back"
    python3 - "$work/posts.json" <<'PY' || fail "link then post: the stored post is wrong: $(head -c 2000 "$work/posts.json")"
import json, sys
post = json.load(open(sys.argv[1]))["posts"][0]
assert post["text"] == "linked then posted", post
assert [d["service"] for d in post["externalDestinations"]] == ["twitter"], post
PY
else
    fail "link then post: $(cat "$work/err")"
fi
# Another data folder named by QUILLON_SANDBOX_DATA is another store, which knows no such link.
QUILLON_SANDBOX_DATA="$work/other-sandbox" "$exe" post --as 1001 --share twitter --text "elsewhere" >"$work/out" 2>"$work/err" \
    && fail "a post to another sandbox folder cross-posted with a token it never issued"
[ -d "$work/other-sandbox" ] || fail "QUILLON_SANDBOX_DATA was not used"

# An accounts file that can only be read still lists what it holds; changes are refused with
# the file and the reason named, and the file stays as it was.
make_unwritable "$database"
run "read-only list" 0 "" --as 1001 list --json
json_has "read-only list" twitter '"linked":true'
run "read-only unlink" 1 "" --as 1001 unlink twitter
expect_err "read-only unlink" "$database can only be read"
make_writable "$database"

# Switches, each seen by the next run.
for step in "disable:false" "enable:true"; do
    verb=${step%%:*} state=${step##*:}
    run "$verb twitter" 0 "" --as 1001 "$verb" twitter
    run "list after $verb" 0 "" --as 1001 list --json
    json_has "list after $verb" twitter "\"enabled\":$state"
done

# An unreachable store: a clear error, and the linked account is still there afterwards.
export QUILLON_STORE_PASSWORD=x
run "unreachable store" 1 "" --store http://127.0.0.1:1/bag --store-account someone --as 1001 unlink twitter
unset QUILLON_STORE_PASSWORD
expect_err "unreachable store" "could not sign in"
run "still linked" 0 "" --as 1001 list
expect_out "still linked" "twitter  @quillondemo, autoposting on"

run "unlink twitter" 0 "" --as 1001 unlink twitter
expect_out "unlink twitter" "unlinked @quillondemo"
run "list after unlink" 0 "" --as 1001 list --json
json_has "list after unlink" twitter '"linked":false'

# A damaged accounts file is set aside, and the user is told once where it went.
printf 'this is no database, just words that fill the file up to a page or more\n%.0s' $(seq 100) > "$database"
run "damaged list" 0 "" list
[ "$(wc -l <"$work/err")" -eq 1 ] || fail "damaged list: not one line on stderr: $(cat "$work/err")"
moved=$(sed -n 's/.* it was moved to \(.*\) and a new one was started$/\1/p' "$work/err")
[ -n "$moved" ] && [ -f "$moved" ] || fail "damaged list: the moved file is not named or not there: $(cat "$work/err")"
run "after damage" 0 "" list
[ ! -s "$work/err" ] || fail "after damage: told again: $(cat "$work/err")"

# An accounts file that cannot be opened at all is an error naming it, not "not linked".
rm -f "$database" && mkdir "$database"
run "unopenable list" 1 "" list
expect_err "unopenable list" "$database"
rmdir "$database"

[ "$failures" -eq 0 ] || exit 1
echo "ok"
