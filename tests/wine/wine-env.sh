# Sourced by the tests that run Windows programs under Wine. scripts/windows-tests.sh
# exports the prefix (WINEPREFIX, WINEDEBUG) and keeps its server running; these tests
# use that prefix and never start or stop a server themselves. Output of Wine programs
# goes to files, not pipes: a Wine process may leave helpers behind that hold a pipe open.
set -u

if [ -z "${WINEPREFIX:-}" ] || [ -z "${WINEDEBUG:-}" ]; then
    echo "FAIL: WINEPREFIX and WINEDEBUG are not set; run the Windows tests with scripts/windows-tests.sh" >&2
    exit 1
fi
if [ ! -f "$WINEPREFIX/system.reg" ]; then
    echo "FAIL: WINEPREFIX=$WINEPREFIX is not an initialised Wine prefix" >&2
    exit 1
fi

# use_arch x64|x86: the tools (reg, regsvr32, cscript) and the type-library platform of
# the 64-bit or the 32-bit build. A 64-bit prefix has a registry view and system tools for
# each: the 64-bit tools in system32, the 32-bit ones in syswow64. Once 32-bit Wine is
# installed, `wine` starts the 32-bit tool for a bare name such as "cscript", so the 64-bit
# tools are started with the 64-bit loader.
use_arch() {
    case "$1" in
    x64)
        tool_loader=$(command -v wine64 || { [ -x /usr/lib/wine/wine64 ] && echo /usr/lib/wine/wine64; } || echo wine)
        tool_dir='C:\windows\system32'
        TYPELIB_PLATFORM=win64
        ;;
    x86)
        tool_loader=wine
        tool_dir='C:\windows\syswow64'
        TYPELIB_PLATFORM=win32
        ;;
    *)
        echo "FAIL: architecture <$1> is neither x64 nor x86" >&2
        exit 1
        ;;
    esac
}
# The build under test, from TARVOLIN_ARCH.
use_arch "${TARVOLIN_ARCH:-x64}"

readonly PARSER_CLSID="{621D0E5D-88BE-4A68-9187-98FDFBE88824}"
readonly PARSER_LIBID="{E528582E-8B1D-4948-9BA7-CB86CC797672}"

wine_tmp="$(mktemp -d)"
trap 'rm -rf "$wine_tmp"' EXIT

failures=0

# expect WHAT GOT EXPECTED
expect() {
    if [ "$2" == "$3" ]; then
        echo "ok   $1: $2"
    else
        echo "FAIL $1: got <$2>, expected <$3>"
        failures=$((failures + 1))
    fi
}

# finish: the test's result from the checks so far.
finish() {
    if [ "$failures" -ne 0 ]; then
        echo "$failures check(s) failed"
        exit 1
    fi
    echo "all checks passed"
    exit 0
}

# run_wine OUTFILE COMMAND...: runs a Wine program with stdin closed, its output (carriage
# returns removed) in OUTFILE; returns its exit code. With WINE_LOCALE set, the program
# runs with LC_ALL set to it. WINE_LOADER_COMMAND, when set, starts it instead of `wine`.
run_wine() {
    local out=$1 rc=0
    shift
    env ${WINE_LOCALE:+LC_ALL=$WINE_LOCALE} "${WINE_LOADER_COMMAND:-wine}" "$@" </dev/null >"$out.raw" 2>&1 || rc=$?
    tr -d '\r' <"$out.raw" >"$out"
    rm -f "$out.raw"
    return $rc
}

# run_tool OUTFILE TOOL ARGUMENTS...: run_wine for a system tool (reg, regsvr32, cscript)
# of the architecture under test.
run_tool() {
    local out=$1 tool=$2
    shift 2
    WINE_LOADER_COMMAND=$tool_loader run_wine "$out" "$tool_dir\\$tool.exe" "$@"
}

# windows_path FILE: the path under which Windows programs in the prefix see FILE.
windows_path() {
    run_wine "$wine_tmp/winepath" winepath -w "$1" || { echo "FAIL: winepath -w $1" >&2; return 1; }
    head -n 1 "$wine_tmp/winepath"
}

# need_files USAGE FILE...: exits with the usage when one of the files does not exist.
need_files() {
    local usage=$1 file
    shift
    for file in "$@"; do
        [ -n "$file" ] && [ -f "$file" ] || { echo "usage: $usage (no file: <$file>)" >&2; exit 2; }
    done
}

# expect_rc WHAT EXPECTED TOOL ARGUMENTS...: runs a system tool (run_tool); its exit code
# must be EXPECTED, or any but 0 when EXPECTED is "not 0".
expect_rc() {
    local what=$1 want=$2 rc=0
    shift 2
    run_tool "$wine_tmp/tool" "$@" || rc=$?
    [ "$want" != "not 0" ] || [ "$rc" -eq 0 ] || rc="not 0"
    expect "$what" "$rc" "$want"
}

# reg_value KEY [NAME]: the data of the value NAME of KEY (the default value without NAME),
# read with reg.exe of the architecture chosen with use_arch; "<none>" when it is missing.
reg_value() {
    local how=(/ve)
    [ -z "${2:-}" ] || how=(/v "$2")
    run_tool "$wine_tmp/reg" reg query "$1" "${how[@]}" || { echo "<none>"; return; }
    awk -v n="${2:-(Default)}" 'index($0, "    " n "    ") == 1 { sub(/^    .*    REG_[A-Z_]+( +|$)/, ""); print; exit }' \
        "$wine_tmp/reg"
}

# expect_key WHAT KEY present|gone: whether reg.exe finds KEY.
expect_key() {
    local state=gone
    run_tool "$wine_tmp/reg" reg query "$2" && state=present
    expect "$1" "$state" "$3"
}

# run_client [--locale LOCALE] PROGRAM [ARGUMENTS...]: runs a JScript or VBScript file
# under cscript, or a Windows program, in the program's folder and the given locale
# (C.UTF-8, in which Wine's UI language is en-US, unless told otherwise). It passes when
# the program exits with 0 and its last line is "<name>: all <n> checks passed": Wine's
# cscript exits with 0 and says nothing when a script does not even compile.
run_client() {
    local locale=C.UTF-8 rc=0
    if [ "$1" == --locale ]; then
        locale=$2
        shift 2
    fi
    local dir name
    dir="$(cd "$(dirname "$1")" && pwd)"
    name="$(basename "$1")"
    shift
    local out="$wine_tmp/client"
    echo "== $name${*:+ $*} (LC_ALL=$locale)"
    case "$name" in
    *.js | *.vbs) (cd "$dir" && WINE_LOCALE=$locale run_tool "$out" cscript //nologo "$name" "$@") || rc=$? ;;
    *) (cd "$dir" && WINE_LOCALE=$locale run_wine "$out" "./$name" "$@") || rc=$? ;;
    esac
    cat "$out"
    expect "exit code of $name" "$rc" 0
    local last
    last="$(grep -av '^$' "$out" | tail -n 1)"
    if [[ "$last" =~ ^.*:\ all\ [0-9]+\ checks\ passed$ ]]; then
        echo "ok   $name reports that all its checks passed"
    else
        echo "FAIL $name did not report that all its checks passed (last line: <$last>)"
        failures=$((failures + 1))
    fi
}
