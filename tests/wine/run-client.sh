#!/usr/bin/env bash
# Runs one client of the registered component (a JScript or VBScript file under cscript,
# or a Windows program) and passes when it exits with 0 and reports that all its checks
# passed.
#
#   run-client.sh [--locale LOCALE] PROGRAM [ARGUMENTS...]
. "$(dirname "$0")/wine-env.sh"

if [ $# -lt 1 ]; then
    echo "usage: run-client.sh [--locale LOCALE] PROGRAM [ARGUMENTS...]" >&2
    exit 2
fi
run_client "$@"
finish
