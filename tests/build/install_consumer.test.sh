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

# Every installed header can be included from the installed tree alone (no private or
# build-tree header behind it).
(cd "$prefix/include" && find Quillon -name '*.h' | sed 's|^|#include <|; s|$|>|') > "$work/all_headers.cpp"
[ "$(wc -l < "$work/all_headers.cpp")" -gt 50 ] || { echo "too few headers installed"; exit 1; }
# shellcheck disable=SC2046
c++ -fsyntax-only -fPIC "$work/all_headers.cpp" $(pkg-config --cflags quillon) \
    $(pkg-config --cflags Qt6WebEngineWidgets Qt6MultimediaWidgets Qt6Sensors Qt6NetworkAuth Qt6Concurrent sndfile exiv2 taglib sqlite3 2>/dev/null) \
    || { echo "installed headers do not compile on their own"; exit 1; }
echo "consumer builds against the installed tree (cmake and pkg-config); all $(wc -l < "$work/all_headers.cpp") headers compile"
