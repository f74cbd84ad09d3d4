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
if [ -z "$dll" ] || [ ! -f "$dll" ]; then
    echo "usage: user-registration.sh DLL (no file: <$dll>)" >&2
    exit 2
fi
dll_path="$(windows_path "$dll")" || { echo "FAIL: winepath -w $dll"; exit 1; }

readonly USER_CLASSES="HKEY_CURRENT_USER\\Software\\Classes"
readonly CLASS_KEY="CLSID\\$PARSER_CLSID"

# value KEY: the default REG_SZ value of KEY, or "<no value>" when reg cannot read it.
value() {
    run_tool "$wine_tmp/value" reg query "$1" /ve || { echo "<no value>"; return; }
    sed -n 's/^    .*    REG_SZ    //p' "$wine_tmp/value" | head -n 1
}

# exists KEY: whether reg finds KEY.
exists() { run_tool "$wine_tmp/exists" reg query "$1"; }

# regsvr32_rc ARGUMENTS...: regsvr32's exit code.
regsvr32_rc() {
    local rc=0
    run_tool "$wine_tmp/regsvr32" regsvr32 /s "$@" || rc=$?
    echo "$rc"
}

if exists "HKEY_CLASSES_ROOT\\$CLASS_KEY"; then
    echo "FAIL: the machine has a registration of the component; this test expects none"
    exit 1
fi

# Refused command lines write nothing; removing what was never registered is no error.
for bad in bogus "user machine" users; do
    rc="$(regsvr32_rc /n "/i:$bad" "$dll_path")"
    if [ "$rc" -ne 0 ]; then
        echo "ok   regsvr32 /n /i:$bad fails (exit code $rc)"
    else
        expect "regsvr32 /n /i:$bad" "$rc" "not 0"
    fi
done
if exists "$USER_CLASSES\\Tarvolin.Parser"; then expect "after refused command lines" "keys written" "nothing"; fi
expect "regsvr32 /u /n /i:user with nothing registered" "$(regsvr32_rc /u /n /i:user "$dll_path")" 0

# regsvr32 hands "user" to DllInstall: the class is registered below the user's classes
# (test_server checks each key and value DllInstall writes there) and not for the machine.
expect "regsvr32 /n /i:user" "$(regsvr32_rc /n /i:user "$dll_path")" 0
expect "$CLASS_KEY\\InprocServer32" "$(value "$USER_CLASSES\\$CLASS_KEY\\InprocServer32")" "$dll_path"
if exists "HKEY_CLASSES_ROOT\\$CLASS_KEY"; then expect "the machine's class key" "written" "untouched"; fi

expect "regsvr32 /u /n /i:user" "$(regsvr32_rc /u /n /i:user "$dll_path")" 0
for key in "Tarvolin.Parser" "Tarvolin.Parser.1" "$CLASS_KEY" "TypeLib\\$PARSER_LIBID"; do
    if exists "$USER_CLASSES\\$key"; then expect "$key" "present" "gone"; else echo "ok   $key: gone"; fi
done
if exists "HKEY_CLASSES_ROOT\\TypeLib\\$PARSER_LIBID"; then expect "the machine's type library key" "present" "gone"; fi
finish
