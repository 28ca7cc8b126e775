#!/usr/bin/env bash
# Runs a Windows test program under Wine, headless and without input, in the
# private prefix next to it (build-windows/wineprefix), so that nothing of the
# user's own Wine set-up is read or changed:
#   scripts/wine-run.sh build-windows/qm_host_tests.exe [args...]
set -euo pipefail
exe="$1"
shift
export WINEPREFIX="${QM_WINEPREFIX:-$(cd "$(dirname "$exe")" && pwd)/wineprefix}"
export WINEARCH=win64 WINEDEBUG=-all
# No browser or .NET engine: their installers would ask questions.
export WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY WAYLAND_DISPLAY
exec wine "$exe" "$@" </dev/null
