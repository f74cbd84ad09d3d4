#!/usr/bin/env bash
# The x64 and the x86 DLL registered in one 64-bit prefix: each registry view holds the
# class and the type library of its own DLL, each script host creates the parser from its
# own DLL, and unregistering either DLL leaves the other one working.
#
# 64-bit Windows keeps one set of ProgIDs for both views, so unregistering one DLL removes
# the other's ProgIDs too, and the unregistration writes them back. Wine keeps a set per
# view: before each unregistration the other view's ProgIDs are removed by hand, as Windows
# would remove them, and the other script host, which creates the parser by its ProgID,
# must find them again.
#
#   side-by-side.sh X64_DLL X86_DLL WALK.JS
. "$(dirname "$0")/wine-env.sh"

x64_dll=${1:-}
x86_dll=${2:-}
script=${3:-}
if [ ! -f "$x64_dll" ] || [ ! -f "$x86_dll" ] || [ ! -f "$script" ]; then
    echo "usage: side-by-side.sh X64_DLL X86_DLL WALK.JS (missing: <$x64_dll> <$x86_dll> <$script>)" >&2
    exit 2
fi
x64_path="$(windows_path "$x64_dll")" || { echo "FAIL: winepath -w $x64_dll"; exit 1; }
x86_path="$(windows_path "$x86_dll")" || { echo "FAIL: winepath -w $x86_dll"; exit 1; }

readonly SERVER_KEY="HKEY_CLASSES_ROOT\\CLSID\\$PARSER_CLSID\\InprocServer32"
readonly VERSION_KEY="HKEY_CLASSES_ROOT\\TypeLib\\$PARSER_LIBID\\1.0"

# registration ARCH REGISTER|UNREGISTER: regsvr32 of ARCH for its DLL.
registration() {
    local rc=0 dll_path switch=""
    use_arch "$1"
    if [ "$1" = x64 ]; then dll_path=$x64_path; else dll_path=$x86_path; fi
    [ "$2" = UNREGISTER ] && switch=/u
    run_tool "$wine_tmp/regsvr32" regsvr32 /s $switch "$dll_path" || rc=$?
    expect "$1 regsvr32 /s ${switch:+$switch }$dll_path" "$rc" 0
}

# registered ARCH PATH: what the registry view of ARCH holds for the class and the type
# library, PATH for both, or "<none>".
registered() {
    use_arch "$1"
    local server=none typelib=none
    run_tool "$wine_tmp/server" reg query "$SERVER_KEY" /ve && server=$(sed -n 's/^ *(Default) *REG_SZ *//p' "$wine_tmp/server")
    run_tool "$wine_tmp/typelib" reg query "$VERSION_KEY\\0\\$TYPELIB_PLATFORM" /ve &&
        typelib=$(sed -n 's/^ *(Default) *REG_SZ *//p' "$wine_tmp/typelib")
    expect "$1 view: InprocServer32" "$server" "$2"
    expect "$1 view: TypeLib 1.0\\0\\$TYPELIB_PLATFORM" "$typelib" "$2"
}

# drop_progids ARCH: removes the ProgIDs from the registry view of ARCH.
drop_progids() {
    use_arch "$1"
    local progid rc
    for progid in Tarvolin.Parser Tarvolin.Parser.1; do
        rc=0
        run_tool "$wine_tmp/delete" reg delete "HKEY_CLASSES_ROOT\\$progid" /f || rc=$?
        expect "$1 view: reg delete $progid" "$rc" 0
    done
}

# walks ARCH: the JScript walk under the script host of ARCH, which can only load the DLL
# of its own architecture.
walks() {
    use_arch "$1"
    echo "== $1 script host"
    run_client "$script"
}

# creation_fails ARCH: the script host of ARCH cannot create the parser.
creation_fails() {
    use_arch "$1"
    local rc=0
    (cd "$(dirname "$script")" && run_tool "$wine_tmp/client" cscript //nologo "$(basename "$script")") || rc=$?
    if [ "$rc" -ne 0 ] && grep -q "0x800A01AD" "$wine_tmp/client"; then
        echo "ok   $1 script host cannot create the parser"
    else
        expect "$1 script host creating the parser (exit code, then output)" "$rc: $(tail -n 1 "$wine_tmp/client")" "1: 0x800A01AD"
    fi
}

registration x64 REGISTER
registration x86 REGISTER
registered x64 "$x64_path"
registered x86 "$x86_path"
walks x64
walks x86

drop_progids x64
registration x86 UNREGISTER
registered x86 none
creation_fails x86
registered x64 "$x64_path"
walks x64

registration x86 REGISTER
drop_progids x86
registration x64 UNREGISTER
registered x64 none
creation_fails x64
registered x86 "$x86_path"
walks x86

registration x86 UNREGISTER
registered x86 none
# Nothing is left behind in either view.
for view in x64 x86; do
    use_arch $view
    rc=0
    run_tool "$wine_tmp/progid" reg query "HKEY_CLASSES_ROOT\\Tarvolin.Parser" || rc=$?
    if [ "$rc" -ne 0 ]; then echo "ok   $view view: Tarvolin.Parser gone"; else expect "$view view: Tarvolin.Parser" present gone; fi
done
finish
