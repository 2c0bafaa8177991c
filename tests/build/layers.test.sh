#!/usr/bin/env bash
# Each module compiles with the include roots of itself and the layers below only: a header of
# a module above (or beside) it is not found, while one of its own is.
set -euo pipefail
src="$1"; bin="$2"
exec python3 - "$src" "$bin" <<'PY'
import json, shlex, subprocess, sys, tempfile, os

src, bin = sys.argv[1], sys.argv[2]
commands = json.load(open(os.path.join(bin, "compile_commands.json")))

def flags(module):
    """The compiler and flags of one of the module's sources, without its PCH and outputs."""
    entry = next(e for e in commands if e["file"].startswith(f"{src}/src/{module}/") and e["file"].endswith(".cpp"))
    args = shlex.split(entry["command"])
    if os.path.basename(args[0]) == "ccache":
        args = args[1:]
    out, skip = [args[0]], False
    for arg in args[1:]:
        if skip:
            skip = False
        elif arg in ("-o", "-c", "-MF", "-MT", "-include"):
            skip = True
        elif arg != "-MD" and not arg.startswith("-Winvalid-pch") and not arg.endswith(".cpp"):
            out.append(arg)
    return out

def compiles(module, header):
    with tempfile.NamedTemporaryFile("w", suffix=".cpp") as probe:
        probe.write(f"#include <Quillon/{header}>\n")
        probe.flush()
        result = subprocess.run(flags(module) + ["-fsyntax-only", probe.name], capture_output=True, text=True)
    return result.returncode == 0, result.stderr

# (module, a header of its own, a header of a layer above it)
cases = [
    ("platform", "platform/error.h", "accounts/account.h"),
    ("accounts", "accounts/account.h", "core/attachment.h"),
    ("core", "core/attachment.h", "media/audioplayer.h"),
    ("core", "core/attachment.h", "compose/tokentextview.h"),
    ("media", "media/audioplayer.h", "compose/tokentextview.h"),
]
failures = 0
for module, own, above in cases:
    ok, err = compiles(module, own)
    if not ok:
        print(f"{module}: its own {own} does not compile:\n{err}")
        failures += 1
    ok, err = compiles(module, above)
    if ok or "No such file" not in err:
        print(f"{module} reaches {above}: {'it compiles' if ok else err}")
        failures += 1
print(f"{len(cases)} layer boundaries checked, {failures} broken")
sys.exit(1 if failures else 0)
PY
