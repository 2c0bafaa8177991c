#!/usr/bin/env bash
# testhome.sh <script> <arguments...>: runs a script test in a home of its own, as
# testhome.cpp does for the test executables.
set -euo pipefail
home=$(mktemp -d "${TMPDIR:-/tmp}/quillon-test-home-XXXXXX")
trap 'rm -rf "$home"' EXIT
mkdir -p "$home/.local/share" "$home/.config" "$home/.cache" "$home/.local/state" "$home/run"
chmod 700 "$home/run"
export HOME="$home" XDG_DATA_HOME="$home/.local/share" XDG_CONFIG_HOME="$home/.config" \
    XDG_CACHE_HOME="$home/.cache" XDG_STATE_HOME="$home/.local/state" XDG_RUNTIME_DIR="$home/run" \
    DBUS_SESSION_BUS_ADDRESS="unix:path=/nonexistent/quillon-test-bus"
bash "$@"
