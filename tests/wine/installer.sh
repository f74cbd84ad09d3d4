#!/usr/bin/env bash
# The Windows installer in a fresh Wine prefix where nothing was installed before:
#   - /S /ALLUSERS: files under Program Files, the class and type library registered for the
#     machine, the uninstall entry; an installed example script parses statements through
#     the registered class (with the x86 DLL in the installer, also in the 32-bit registry
#     view and through the 32-bit script host); the silent uninstaller removes keys and
#     files again;
#   - /S /CURRENTUSER: files under the user's programs folder, the keys under
#     HKEY_CURRENT_USER\Software\Classes only (Wine 8 does not activate classes from there,
#     so no script runs), and the uninstaller removes them.
#
#   installer.sh SETUP.EXE
# The prefix is <folder of SETUP.EXE>/installer-prefix, made anew and shut down at the end.
set -u
setup="$(cd "$(dirname "${1:?usage: installer.sh SETUP.EXE}")" && pwd)/$(basename "$1")"
[ -f "$setup" ] || { echo "no installer: $setup" >&2; exit 2; }

export WINEPREFIX="$(dirname "$setup")/installer-prefix"
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
rm -rf "$WINEPREFIX"
wineboot -i </dev/null >/dev/null 2>&1
wineserver -w
wineserver -p
trap 'wineserver -k 2>/dev/null' EXIT
. "$(dirname "$0")/wine-env.sh"
trap 'rm -rf "$wine_tmp"; wineserver -k 2>/dev/null' EXIT

readonly UNINSTALL_KEY='HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Uninstall\Tarvolin'
readonly USER_UNINSTALL_KEY='HKEY_CURRENT_USER\Software\Microsoft\Windows\CurrentVersion\Uninstall\Tarvolin'

# install_and_remove MODE CLASSES_ROOT UNINSTALL_KEY RUN_EXAMPLE
install_and_remove() {
    local mode=$1 classes=$2 uninstall=$3 run_example=$4 rc=0
    echo "== setup /S /$mode"
    run_wine "$wine_tmp/setup" "$setup" /S "/$mode" || rc=$?
    expect "exit code of setup /S /$mode" "$rc" 0

    local dir_win dir
    dir_win="$(reg_value "$uninstall" InstallLocation)"
    [ "$dir_win" != "<none>" ] || { expect "uninstall entry" missing present; return; }
    dir="$(winepath -u "$dir_win" 2>/dev/null | tr -d '\r')"
    echo "     installed in $dir_win"
    for f in tarvolin.dll tarvolin.exe de-DE/tarvolin.res.dll include/tarvolin/tarvolin.hpp \
             include/tarvolin/tarvolin_h.h examples/scripts/walk.js doc/reference.md doc/LICENSE uninstall.exe; do
        [ -f "$dir/$f" ] && echo "ok   installed $f" || expect "installed $f" missing present
    done
    local server
    server="$(reg_value "$classes\\CLSID\\$PARSER_CLSID\\InprocServer32")"
    # Wine 8 keeps a single view of the user's classes, where the x86 registration, made
    # second, replaces the x64 one (Windows keeps a view for each).
    if [ "$mode" = CURRENTUSER ] && [ -f "$dir/x86/tarvolin.dll" ] && [ "$server" = "$dir_win\\x86\\tarvolin.dll" ]; then
        echo "ok   registered server: $server (Wine's one view of the user's classes)"
    else
        expect "registered server" "$server" "$dir_win\\tarvolin.dll"
    fi
    expect_key "ProgID Tarvolin.Parser" "$classes\\Tarvolin.Parser" present
    if [ "$mode" = CURRENTUSER ]; then
        # Wine 8's RegisterTypeLibForUser registers for the machine.
        expect_key "type library (the machine's, under Wine)" "HKEY_LOCAL_MACHINE\\Software\\Classes\\TypeLib\\$PARSER_LIBID" present
    else
        expect_key "type library" "$classes\\TypeLib\\$PARSER_LIBID" present
    fi
    expect "DisplayVersion" "$(reg_value "$uninstall" DisplayVersion)" "1.0.0"
    if [ "$run_example" = yes ]; then run_client "$dir/examples/scripts/walk.js"; fi
    if [ -f "$dir/x86/tarvolin.dll" ]; then
        use_arch x86
        expect "x86 registered server" "$(reg_value "$classes\\CLSID\\$PARSER_CLSID\\InprocServer32")" \
            "$dir_win\\x86\\tarvolin.dll"
        if [ "$run_example" = yes ]; then run_client "$dir/examples/scripts/walk.js"; fi
        use_arch x64
    fi

    echo "== uninstall /S"
    rc=0
    run_wine "$wine_tmp/uninstall" "$dir_win\\uninstall.exe" /S || rc=$?
    # The uninstaller finishes from a copy of itself that outlives the command.
    for _ in $(seq 60); do [ -e "$dir" ] || break; sleep 1; done
    expect "exit code of uninstall /S" "$rc" 0
    expect_key "class key" "$classes\\CLSID\\$PARSER_CLSID" gone
    expect_key "ProgID" "$classes\\Tarvolin.Parser" gone
    expect_key "type library key" "$classes\\TypeLib\\$PARSER_LIBID" gone
    expect_key "the machine's type library key" "HKEY_LOCAL_MACHINE\\Software\\Classes\\TypeLib\\$PARSER_LIBID" gone
    expect_key "uninstall entry" "$uninstall" gone
    use_arch x86
    expect_key "x86 class key" "$classes\\CLSID\\$PARSER_CLSID" gone
    use_arch x64
    [ ! -e "$dir" ] && echo "ok   $dir removed" || expect "$dir after uninstall" "$(ls "$dir" | tr '\n' ' ')" "removed"
}

install_and_remove ALLUSERS 'HKEY_LOCAL_MACHINE\Software\Classes' "$UNINSTALL_KEY" yes
install_and_remove CURRENTUSER 'HKEY_CURRENT_USER\Software\Classes' "$USER_UNINSTALL_KEY" no
finish
