#!/usr/bin/env bash
# The words of the parse-error report follow the user's UI language: German from the
# satellite de-DE\tarvolin.res.dll next to the DLL, English from the DLL itself by default
# and for a language without a satellite. Wine takes the UI language from LC_ALL. The
# whole VBScript walk runs each time, so it also holds in a locale that formats numbers
# differently.
#
#   satellite.sh WALK.VBS
. "$(dirname "$0")/wine-env.sh"

script=${1:-}
need_files "satellite.sh WALK.VBS" "$script"
run_client --locale de_DE.UTF-8 "$script" "Syntaxfehler"
run_client --locale C.UTF-8 "$script" "Parse error"
run_client --locale fr_FR.UTF-8 "$script" "Parse error"
finish
