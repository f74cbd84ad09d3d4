#!/usr/bin/env bash
# Registration for the current user under Wine: what `regsvr32 /n /i:user` writes below
# HKEY_CURRENT_USER\Software\Classes, what `regsvr32 /u /n /i:user` removes, and what
# command lines are refused. Wine does not merge the user's classes into HKEY_CLASSES_ROOT,
# so activation from them cannot be tested here; only the keys are.
#
#   user-registration.sh DLL
#
# It expects the machine to have no registration of the component and leaves none.
# Keys are read with the reg.exe of the DLL's own architecture (its registry view).
. "$(dirname "$0")/wine-env.sh"

dll=${1:-}
need_files "user-registration.sh DLL" "$dll"
dll_path="$(windows_path "$dll")" || exit 1

readonly USER_CLASSES="HKEY_CURRENT_USER\\Software\\Classes"
readonly CLASS_KEY="CLSID\\$PARSER_CLSID"

if run_tool "$wine_tmp/exists" reg query "HKEY_CLASSES_ROOT\\$CLASS_KEY"; then
    echo "FAIL: the machine has a registration of the component; this test expects none"
    exit 1
fi

# Refused command lines write nothing; removing what was never registered is no error.
for bad in bogus "user machine" users; do
    expect_rc "regsvr32 /n /i:$bad fails" "not 0" regsvr32 /s /n "/i:$bad" "$dll_path"
done
expect_key "after refused command lines: Tarvolin.Parser" "$USER_CLASSES\\Tarvolin.Parser" gone
expect_rc "regsvr32 /u /n /i:user with nothing registered" 0 regsvr32 /s /u /n /i:user "$dll_path"

# regsvr32 hands "user" to DllInstall: the class is registered below the user's classes
# (test_server checks each key and value DllInstall writes there) and not for the machine.
expect_rc "regsvr32 /n /i:user" 0 regsvr32 /s /n /i:user "$dll_path"
expect "$CLASS_KEY\\InprocServer32" "$(reg_value "$USER_CLASSES\\$CLASS_KEY\\InprocServer32")" "$dll_path"
expect_key "the machine's class key" "HKEY_CLASSES_ROOT\\$CLASS_KEY" gone

expect_rc "regsvr32 /u /n /i:user" 0 regsvr32 /s /u /n /i:user "$dll_path"
for key in "Tarvolin.Parser" "Tarvolin.Parser.1" "$CLASS_KEY" "TypeLib\\$PARSER_LIBID"; do
    expect_key "$key" "$USER_CLASSES\\$key" gone
done
expect_key "the machine's type library key" "HKEY_CLASSES_ROOT\\TypeLib\\$PARSER_LIBID" gone
finish
