#!/usr/bin/env bash
# What regsvr32 writes to the registry for tarvolin.dll, and what it removes again, with
# the tools (reg, regsvr32) of the DLL's own architecture. (test_server checks every key
# and value of the class that DllRegisterServer writes; here regsvr32 writes them, for the
# registry view and the type-library platform of the DLL.)
#
#   registration.sh register DLL     registers DLL and checks the server and type library
#                                    keys; a stale subkey of the class key does not survive
#   registration.sh unregister DLL   unregisters DLL (twice) and checks that its keys are
#                                    gone while HKEY_CLASSES_ROOT\CLSID remains
. "$(dirname "$0")/wine-env.sh"

mode=${1:-}
dll=${2:-}
need_files "registration.sh register|unregister DLL" "$dll"
dll_path="$(windows_path "$dll")" || exit 1

readonly CLASS_KEY="HKEY_CLASSES_ROOT\\CLSID\\$PARSER_CLSID"
readonly TYPELIB_KEY="HKEY_CLASSES_ROOT\\TypeLib\\$PARSER_LIBID"

case "$mode" in
register)
    # Content left under the class key by an earlier version must not survive: the
    # registration replaces the class key as a whole.
    expect_rc "reg add of a stale subkey under the class key" 0 reg add "$CLASS_KEY\\StaleSubkey" /ve /d stale /f
    expect_rc "regsvr32 /s $dll_path" 0 regsvr32 /s "$dll_path"
    expect "InprocServer32" "$(reg_value "$CLASS_KEY\\InprocServer32")" "$dll_path"
    expect "InprocServer32 ThreadingModel" "$(reg_value "$CLASS_KEY\\InprocServer32" ThreadingModel)" "Apartment"
    expect_key "StaleSubkey" "$CLASS_KEY\\StaleSubkey" gone
    # The type library embedded in the DLL, registered for clients of its platform.
    expect "TypeLib 1.0" "$(reg_value "$TYPELIB_KEY\\1.0")" "Orvane SQL Parser Library [Tarvolin]"
    expect "TypeLib 1.0\\0\\$TYPELIB_PLATFORM" "$(reg_value "$TYPELIB_KEY\\1.0\\0\\$TYPELIB_PLATFORM")" "$dll_path"
    ;;
unregister)
    expect_rc "regsvr32 /s /u $dll_path" 0 regsvr32 /s /u "$dll_path"
    for key in "HKEY_CLASSES_ROOT\\Tarvolin.Parser.1" "HKEY_CLASSES_ROOT\\Tarvolin.Parser" "$CLASS_KEY" "$TYPELIB_KEY"; do
        expect_key "$key" "$key" gone
    done
    expect_key "HKEY_CLASSES_ROOT\\CLSID" "HKEY_CLASSES_ROOT\\CLSID" present
    # Unregistering what is not registered is no error either.
    expect_rc "regsvr32 /s /u $dll_path again" 0 regsvr32 /s /u "$dll_path"
    expect_key "$CLASS_KEY" "$CLASS_KEY" gone
    ;;
*)
    echo "usage: registration.sh register|unregister DLL" >&2
    exit 2
    ;;
esac
finish
