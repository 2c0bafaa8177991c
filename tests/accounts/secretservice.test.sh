#!/usr/bin/env bash
# The credential store against a real Secret Service: a private session bus with a
# gnome-keyring daemon in a throwaway home. With the login collection unlocked the keyring must
# be used; with no unlocked collection the owner-only file must take over.
# Arguments: <source dir> <build dir>.
set -euo pipefail

build="$2"
for tool in dbus-run-session gnome-keyring-daemon secret-tool; do
    command -v "$tool" >/dev/null || { echo "$tool is missing: run ./quillon setup" >&2; exit 1; }
done
for test in tst_accounts_credentialstore tst_accounts_account; do
    [ -x "$build/bin/$test" ] || { echo "$build/bin/$test is not built" >&2; exit 1; }
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset DBUS_SESSION_BUS_ADDRESS DISPLAY WAYLAND_DISPLAY GNOME_KEYRING_CONTROL
export BUILD="$build"

# Runs "$@" as a script inside a new session bus with a fresh home.
in_session() {
    local name="$1"; shift
    local home="$work/$name"
    mkdir -p "$home/run"
    chmod 700 "$home/run"
    HOME="$home" XDG_DATA_HOME="$home/.local/share" XDG_CONFIG_HOME="$home/.config" \
        XDG_CACHE_HOME="$home/.cache" XDG_RUNTIME_DIR="$home/run" \
        timeout 300 dbus-run-session -- bash -euo pipefail -c "$1"
}

# Waits until the keyring daemon owns the Secret Service name on the bus.
wait_for_keyring='
for _ in $(seq 1 100); do
    if dbus-send --session --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus \
        org.freedesktop.DBus.NameHasOwner string:org.freedesktop.secrets 2>/dev/null | grep -q "boolean true"; then
        break
    fi
    sleep 0.1
done
'

echo "== unlocked login collection: the Secret Service keeps the passwords"
in_session unlocked "
    eval \"\$(printf quillon-test | gnome-keyring-daemon --unlock --components=secrets)\"
    $wait_for_keyring
    TULO_TEST_CREDENTIAL_BACKEND=secret-service \"\$BUILD/bin/tst_accounts_credentialstore\"
    TULO_TEST_CREDENTIAL_BACKEND=secret-service \"\$BUILD/bin/tst_accounts_account\"
    # Nothing of the file store appeared: the keyring alone holds the items.
    test ! -e \"\$XDG_DATA_HOME/com.vantor.Quillon/Credentials/credentials.json\"
"

echo "== keyring without an unlocked collection: the owner-only file takes over"
in_session locked "
    gnome-keyring-daemon --start --components=secrets >/dev/null
    $wait_for_keyring
    TULO_TEST_CREDENTIAL_BACKEND=file \"\$BUILD/bin/tst_accounts_credentialstore\"
    TULO_TEST_CREDENTIAL_BACKEND=file \"\$BUILD/bin/tst_accounts_account\"
"
