# Sourced by the command-line tests: reads back what the embedded sandbox store kept, by
# starting the sandbox store on its own over the same data folder once the command has ended.
# posts_of DATA_DIR BUILD: prints the store's post list (JSON) on stdout; fails when the store
# does not come up.
posts_of() {
    local data="$1" build="$2" out pid base=""
    out=$(mktemp)
    "$build/bin/quillon-sandbox-store" --port 0 --data "$data" >"$out" 2>&1 &
    pid=$!
    for _ in $(seq 100); do
        base=$(sed -n 's/^quillon-sandbox-store: serving \(http[^ ]*\) .*/\1/p' "$out")
        [ -n "$base" ] && break
        kill -0 "$pid" 2>/dev/null || break
        sleep 0.1
    done
    local status=1
    if [ -n "$base" ]; then
        python3 -c 'import sys, urllib.request; sys.stdout.write(urllib.request.urlopen(sys.argv[1] + "/posts", timeout=30).read().decode())' "$base"
        status=$?
    else
        echo "the sandbox store did not start: $(cat "$out")" >&2
    fi
    kill "$pid" 2>/dev/null
    wait "$pid" 2>/dev/null
    rm -f "$out"
    return $status
}

# make_unwritable FILE / make_writable FILE: a file this process may read but not write, root
# included (root ignores the mode, not the immutable attribute).
make_unwritable() {
    if [ "$(id -u)" -eq 0 ]; then chattr +i "$1"; else chmod 400 "$1"; fi
}
make_writable() {
    if [ "$(id -u)" -eq 0 ]; then chattr -i "$1"; else chmod 600 "$1"; fi
}
