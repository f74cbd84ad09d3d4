#!/usr/bin/env bash
# What regsvr32 writes to the registry for tarvolin.dll, and what it removes again, with
# the tools (reg, regsvr32) of the DLL's own architecture.
#
#   registration.sh register DLL     registers DLL and checks every key and value; a stale
#                                    subkey of the class key does not survive registration
#   registration.sh unregister DLL   unregisters DLL (twice) and checks that its keys are
#                                    gone while HKEY_CLASSES_ROOT\CLSID remains
. "$(dirname "$0")/wine-env.sh"

mode=${1:-}
dll=${2:-}
if [ -z "$dll" ] || [ ! -f "$dll" ]; then
    echo "usage: registration.sh register|unregister DLL (no file: <$dll>)" >&2
    exit 2
fi
dll_path="$(windows_path "$dll")" || { echo "FAIL: winepath -w $dll"; exit 1; }

readonly CLASS_KEY="HKEY_CLASSES_ROOT\\CLSID\\$PARSER_CLSID"
readonly TYPELIB_KEY="HKEY_CLASSES_ROOT\\TypeLib\\$PARSER_LIBID"

# query NAME KEY: `reg query KEY /s` into the file NAME; returns reg's exit code.
query() { run_tool "$wine_tmp/$1" reg query "$2" /s; }

# key_in NAME KEY: whether the dump NAME lists KEY.
key_in() { grep -qixF -- "$2" "$wine_tmp/$1"; }

# value_in NAME KEY [VALUE]: the REG_SZ value VALUE (the default value without it) of KEY
# in the dump NAME; "<no key>" or "<no value>" when it is not there.
value_in() {
    # Through the environment: awk -v would take the backslashes as escapes.
    KEY="$2" NAME="${3:-(Default)}" awk '
        BEGIN { key = ENVIRON["KEY"]; name = ENVIRON["NAME"] }
        /^HKEY_/ { inkey = (toupper($0) == toupper(key)); if (inkey) found = 1; next }
        inkey && index($0, "    " name "    ") == 1 {
            sub(/^ +[^ ].*    REG_[A-Z_]+    /, ""); sub(/^ +[^ ].*    REG_[A-Z_]+$/, ""); print; done = 1; exit
        }
        END { if (!done) print (found ? "<no value>" : "<no key>") }' "$wine_tmp/$1"
}

# absent WHAT KEY: KEY must not exist.
absent() {
    local rc=0
    run_tool "$wine_tmp/absent" reg query "$2" || rc=$?
    if [ "$rc" -ne 0 ]; then echo "ok   $1: gone"; else expect "$1" "present" "gone"; fi
}

case "$mode" in
register)
    # Content left under the class key by an earlier version must not survive: the
    # registration replaces the class key as a whole.
    run_tool "$wine_tmp/add" reg add "$CLASS_KEY\\StaleSubkey" /ve /d stale /f
    expect "reg add of a stale subkey under the class key" "$?" 0

    rc=0
    run_tool "$wine_tmp/regsvr32" regsvr32 /s "$dll_path" || rc=$?
    expect "regsvr32 /s $dll_path" "$rc" 0

    query progid1 "HKEY_CLASSES_ROOT\\Tarvolin.Parser.1"
    expect "Tarvolin.Parser.1" "$(value_in progid1 'HKEY_CLASSES_ROOT\Tarvolin.Parser.1')" "Parser Class"
    expect "Tarvolin.Parser.1\\CLSID" "$(value_in progid1 'HKEY_CLASSES_ROOT\Tarvolin.Parser.1\CLSID')" "$PARSER_CLSID"

    query progid "HKEY_CLASSES_ROOT\\Tarvolin.Parser"
    expect "Tarvolin.Parser" "$(value_in progid 'HKEY_CLASSES_ROOT\Tarvolin.Parser')" "Parser Class"
    expect "Tarvolin.Parser\\CLSID" "$(value_in progid 'HKEY_CLASSES_ROOT\Tarvolin.Parser\CLSID')" "$PARSER_CLSID"
    expect "Tarvolin.Parser\\CurVer" "$(value_in progid 'HKEY_CLASSES_ROOT\Tarvolin.Parser\CurVer')" "Tarvolin.Parser.1"

    query class "$CLASS_KEY"
    expect "CLSID\\$PARSER_CLSID" "$(value_in class "$CLASS_KEY")" "Parser Class"
    expect "  ProgID" "$(value_in class "$CLASS_KEY\\ProgID")" "Tarvolin.Parser.1"
    expect "  VersionIndependentProgID" "$(value_in class "$CLASS_KEY\\VersionIndependentProgID")" "Tarvolin.Parser"
    if key_in class "$CLASS_KEY\\Programmable"; then echo "ok     Programmable: present"; else expect "  Programmable" "missing" "present"; fi
    expect "  InprocServer32" "$(value_in class "$CLASS_KEY\\InprocServer32")" "$dll_path"
    expect "  InprocServer32 ThreadingModel" "$(value_in class "$CLASS_KEY\\InprocServer32" ThreadingModel)" "Apartment"
    expect "  TypeLib" "$(value_in class "$CLASS_KEY\\TypeLib")" "$PARSER_LIBID"
    if key_in class "$CLASS_KEY\\StaleSubkey"; then expect "  StaleSubkey" "present" "gone"; else echo "ok     StaleSubkey: gone"; fi

    # The type library embedded in the DLL, registered for clients of its platform.
    query typelib "$TYPELIB_KEY"
    expect "TypeLib\\$PARSER_LIBID\\1.0" "$(value_in typelib "$TYPELIB_KEY\\1.0")" "Orvane SQL Parser Library [Tarvolin]"
    expect "  0\\$TYPELIB_PLATFORM" "$(value_in typelib "$TYPELIB_KEY\\1.0\\0\\$TYPELIB_PLATFORM")" "$dll_path"
    ;;
unregister)
    rc=0
    run_tool "$wine_tmp/regsvr32" regsvr32 /s /u "$dll_path" || rc=$?
    expect "regsvr32 /s /u $dll_path" "$rc" 0
    absent "HKEY_CLASSES_ROOT\\Tarvolin.Parser.1" "HKEY_CLASSES_ROOT\\Tarvolin.Parser.1"
    absent "HKEY_CLASSES_ROOT\\Tarvolin.Parser" "HKEY_CLASSES_ROOT\\Tarvolin.Parser"
    absent "$CLASS_KEY" "$CLASS_KEY"
    absent "$TYPELIB_KEY" "$TYPELIB_KEY"
    rc=0
    run_tool "$wine_tmp/classes" reg query "HKEY_CLASSES_ROOT\\CLSID" || rc=$?
    expect "HKEY_CLASSES_ROOT\\CLSID remains (reg query exit code)" "$rc" 0

    # Unregistering what is not registered is no error either.
    rc=0
    run_tool "$wine_tmp/regsvr32" regsvr32 /s /u "$dll_path" || rc=$?
    expect "regsvr32 /s /u $dll_path again" "$rc" 0
    absent "$CLASS_KEY" "$CLASS_KEY"
    ;;
*)
    echo "usage: registration.sh register|unregister DLL" >&2
    exit 2
    ;;
esac
finish
