#!/usr/bin/env bash
# The Windows ZIP package that cpack makes from the build folder holds everything a user
# needs without the installer: the DLL and its satellite, the tool, the IDL, the generated
# header, GUIDs and type library, the C++ interface, the examples, the README, the
# reference and the license.
#
#   zip-contents.sh BUILD_DIR
set -euo pipefail
build=$(cd "$1" && pwd)
out="$build/zip-test"
rm -rf "$out" && mkdir -p "$out"
(cd "$out" && cpack --config "$build/CPackConfig.cmake" -G ZIP >/dev/null)
zip=$(ls "$out"/*.zip)
python3 - "$zip" <<'PY'
import sys, zipfile
names = {n.split("/", 1)[1] for n in zipfile.ZipFile(sys.argv[1]).namelist() if "/" in n}
want = ["bin/tarvolin.dll", "bin/de-DE/tarvolin.res.dll", "bin/tarvolin.exe",
        "include/tarvolin/tarvolin.idl", "include/tarvolin/tarvolin_h.h", "include/tarvolin/tarvolin_i.c",
        "include/tarvolin/tarvolin.hpp", "share/tarvolin/tarvolin.tlb", "examples/scripts/walk.js",
        "examples/cpp/host.cpp", "examples/consumer/consumer.cpp",
        "share/doc/Tarvolin/README.md", "share/doc/Tarvolin/reference.md", "share/doc/Tarvolin/LICENSE"]
missing = [w for w in want if w not in names]
for w in want:
    print(("ok   " if w in names else "FAIL missing ") + w)
sys.exit(1 if missing else 0)
PY
echo "$(basename "$zip"): all checks passed"
