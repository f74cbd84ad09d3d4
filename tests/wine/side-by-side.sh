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

x64_dll=${1:-} x86_dll=${2:-} script=${3:-}
need_files "side-by-side.sh X64_DLL X86_DLL WALK.JS" "$x64_dll" "$x86_dll" "$script"
x64_path="$(windows_path "$x64_dll")" || exit 1
x86_path="$(windows_path "$x86_dll")" || exit 1

# registration ARCH [/u]: regsvr32 of ARCH for its DLL.
registration() {
    local dll_path=$x86_path
    use_arch "$1"
    [ "$1" = x86 ] || dll_path=$x64_path
    expect_rc "$1 regsvr32 /s ${2:+$2 }$dll_path" 0 regsvr32 /s ${2:-} "$dll_path"
}

# registered ARCH PATH: what the registry view of ARCH holds for the class and the type
# library, PATH for both, or "<none>".
registered() {
    use_arch "$1"
    expect "$1 view: InprocServer32" "$(reg_value "HKEY_CLASSES_ROOT\\CLSID\\$PARSER_CLSID\\InprocServer32")" "$2"
    expect "$1 view: TypeLib 1.0\\0\\$TYPELIB_PLATFORM" \
        "$(reg_value "HKEY_CLASSES_ROOT\\TypeLib\\$PARSER_LIBID\\1.0\\0\\$TYPELIB_PLATFORM")" "$2"
}

# drop_progids ARCH: removes the ProgIDs from the registry view of ARCH.
drop_progids() {
    use_arch "$1"
    local progid
    for progid in Tarvolin.Parser Tarvolin.Parser.1; do
        expect_rc "$1 view: reg delete $progid" 0 reg delete "HKEY_CLASSES_ROOT\\$progid" /f
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

registration x64
registration x86
registered x64 "$x64_path"
registered x86 "$x86_path"
walks x64
walks x86

drop_progids x64
registration x86 /u
registered x86 "<none>"
creation_fails x86
registered x64 "$x64_path"
walks x64

registration x86
drop_progids x86
registration x64 /u
registered x64 "<none>"
creation_fails x64
registered x86 "$x86_path"
walks x86

registration x86 /u
registered x86 "<none>"
# Nothing is left behind in either view.
for view in x64 x86; do
    use_arch $view
    expect_key "$view view: Tarvolin.Parser" "HKEY_CLASSES_ROOT\\Tarvolin.Parser" gone
done
finish
