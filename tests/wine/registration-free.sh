#!/usr/bin/env bash
# Registration-free use of the component in a Wine prefix where nothing was ever
# registered: a host with an application manifest that depends on the component's assembly
# finds tarvolin.dll through Tarvolin.manifest beside it, and a manifest whose DLL is
# missing gives the host HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND).
#
#   registration-free.sh HOST_EXE HOST_MANIFEST DLL COMPONENT_MANIFEST
#
# The prefix is TARVOLIN_FRESH_WINEPREFIX, which scripts/windows-tests.sh creates and whose
# server it runs; this test never registers anything in it, and checks that nothing is.
# Keys are read with the reg.exe of the DLL's own architecture (its registry view).
if [ -z "${TARVOLIN_FRESH_WINEPREFIX:-}" ]; then
    echo "FAIL: TARVOLIN_FRESH_WINEPREFIX is not set; run the Windows tests with scripts/windows-tests.sh" >&2
    exit 1
fi
export WINEPREFIX="$TARVOLIN_FRESH_WINEPREFIX"
. "$(dirname "$0")/wine-env.sh"

host=${1:-} host_manifest=${2:-} dll=${3:-} component_manifest=${4:-}
need_files "registration-free.sh HOST_EXE HOST_MANIFEST DLL COMPONENT_MANIFEST" \
    "$host" "$host_manifest" "$dll" "$component_manifest"

# nothing_registered WHEN: neither the machine's nor the user's classes know the component.
nothing_registered() {
    local key
    for key in "HKEY_CLASSES_ROOT\\CLSID\\$PARSER_CLSID" "HKEY_CLASSES_ROOT\\Tarvolin.Parser" \
               "HKEY_CLASSES_ROOT\\TypeLib\\$PARSER_LIBID" \
               "HKEY_CURRENT_USER\\Software\\Classes\\CLSID\\$PARSER_CLSID" \
               "HKEY_CURRENT_USER\\Software\\Classes\\TypeLib\\$PARSER_LIBID"; do
        expect_key "$1: $key" "$key" gone
    done
}

# stage DIR FILE...: a folder of its own holding the files, as an application is copied.
stage() {
    local dir=$1
    shift
    rm -rf "$dir"
    mkdir -p "$dir"
    cp "$@" "$dir/"
}

nothing_registered "before"
readonly app="$(dirname "$host")/regfree-app"
stage "$app" "$host" "$host_manifest" "$dll" "$component_manifest"
run_client "$app/$(basename "$host")" use
readonly missing="$(dirname "$host")/regfree-missing"
stage "$missing" "$host" "$host_manifest" "$component_manifest"
run_client "$missing/$(basename "$host")" missing
nothing_registered "after"
finish
