#!/usr/bin/env bash
# Installs the built tree into a temporary prefix and builds a host project against it,
# once through find_package(Quillon) and once through pkg-config.
set -euo pipefail
src="$1"; bin="$2"
work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"

cmake --install "$bin" --prefix "$prefix" >/dev/null
extra_flags=""
if grep -q '^QUILLON_SANITIZE:BOOL=ON' "$bin/CMakeCache.txt"; then
    extra_flags="-fsanitize=address,undefined"
fi

libdir=$(dirname "$(find "$prefix" -name 'libQuillon.so' | head -n1)")
[ -n "$libdir" ] || { echo "libQuillon.so not installed"; exit 1; }
[ -f "$libdir/cmake/Quillon/QuillonConfig.cmake" ] || { echo "package config not installed"; exit 1; }
if find "$prefix" -name '*_p.h' | grep -q .; then echo "private headers installed"; exit 1; fi

# The library exports its API and nothing else: no class of a private header, no SQLite layer.
nm -D --defined-only -C "$libdir/libQuillon.so" | cut -d' ' -f3- > "$work/exported.txt"
grep -q '^TULOError::TULOError(' "$work/exported.txt" || { echo "TULOError is not exported"; exit 1; }
private_classes=$(find "$src/src" -name '*_p.h' -exec sed -nE 's/^(class|struct) +([A-Za-z_][A-Za-z0-9_]*)( |$).*/\2/p' {} + | sort -u)
leaked=$(grep -E '^(TULOSQLite|sqlite3_)' "$work/exported.txt" || true)
for class in $private_classes; do
    leaked+=$(grep -E "^((vtable|typeinfo|typeinfo name|VTT) for )?$class(::|<|$)" "$work/exported.txt" || true)
done
[ -z "$leaked" ] || { echo "libQuillon.so exports internals:"; echo "$leaked" | head -20; exit 1; }

cmake -S "$src/tests/build/consumer" -B "$work/cmake-build" -G Ninja \
    -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_FLAGS="$extra_flags" \
    -DCMAKE_EXE_LINKER_FLAGS="$extra_flags" >/dev/null
cmake --build "$work/cmake-build" >/dev/null
LD_LIBRARY_PATH="$libdir" "$work/cmake-build/consumer" | grep -qx 'TULOErrorDomain 3'

export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2046
c++ $extra_flags -fPIC "$src/tests/build/consumer/main.cpp" -o "$work/pc-consumer" \
    $(pkg-config --cflags --libs quillon)
LD_LIBRARY_PATH="$libdir" "$work/pc-consumer" | grep -qx 'TULOErrorDomain 3'
# The host program of docs/embedding.md, as the doc shows it, builds and runs.
awk '/^```cpp$/ {on = 1; next} /^```$/ {if (on) exit} on' "$src/docs/embedding.md" > "$work/host.cpp"
grep -q 'int main' "$work/host.cpp" || { echo "no host program in docs/embedding.md"; exit 1; }
# shellcheck disable=SC2086,SC2046
c++ $extra_flags -std=c++20 -fPIC "$work/host.cpp" -o "$work/host" $(pkg-config --cflags --libs quillon) \
    || { echo "the host program of docs/embedding.md does not build"; exit 1; }
photo="$src/resources/samples/sunset.jpg"
# Run offscreen against a store that is not there: it attaches the photo, presents the composer,
# and the composer's configuration load fails back to the host, which exits with 2.
status=0
QT_QPA_PLATFORM=offscreen XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data" \
    LD_LIBRARY_PATH="$libdir" timeout 60 "$work/host" "$photo" "http://127.0.0.1:9/bag" > "$work/host.out" 2>&1 || status=$?
grep -q "attaching public.jpeg, $(stat -c %s "$photo") bytes" "$work/host.out" \
    || { echo "the host program of docs/embedding.md did not attach the photo"; cat "$work/host.out"; exit 1; }
[ "$status" = 2 ] && grep -q '^could not open the composer: ' "$work/host.out" \
    || { echo "the host program of docs/embedding.md did not hear the failed load (status $status)"; cat "$work/host.out"; exit 1; }

# Every installed header compiles on its own from the installed tree (no private or build-tree
# header behind it, nothing it needs left to its includer).
(cd "$prefix/include" && find Quillon -name '*.h' | sort) > "$work/headers.txt"
[ "$(wc -l < "$work/headers.txt")" -gt 50 ] || { echo "too few headers installed"; exit 1; }
# shellcheck disable=SC2046
flags="-std=c++20 -fsyntax-only -fPIC $extra_flags $(pkg-config --cflags quillon)"
export flags
# shellcheck disable=SC2016
xargs -P 2 -I{} bash -c 'echo "#include <{}>" | c++ $flags -x c++ - 2>&1 >/dev/null | head -5 | sed "s|^|{}: |"' \
    < "$work/headers.txt" > "$work/header-errors.txt"
[ ! -s "$work/header-errors.txt" ] || { echo "installed headers do not compile on their own:"; head -40 "$work/header-errors.txt"; exit 1; }
echo "consumer builds against the installed tree (cmake and pkg-config); each of the $(wc -l < "$work/headers.txt") headers compiles alone; no internals exported"
