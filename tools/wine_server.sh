#!/usr/bin/env bash
# Wine's server for a run of many programs, so that none of them meets the end of another one's server.
#   wine_server.sh start [SECONDS]   makes the prefix when there is none and starts the server; it stays until it is
#                                    ended, or for so long after the last program. Prints "started", or "runs already".
#   wine_server.sh end               ends it, and every program that still runs in the prefix
# The services start here too, away from our output: whoever reads a program's output through a pipe would otherwise
# wait until they end.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export WINEPREFIX=${WINEPREFIX:-$root/build/wine}
export WINEDEBUG=-all

case ${1:-} in
start)
    [[ -e $WINEPREFIX/.ready ]] || printf 'Making a Wine prefix in %s\n' "$WINEPREFIX" >&2
    # The first use makes the prefix, and its own server must have ended before the lasting one starts.
    [[ -e $WINEPREFIX/.ready ]] || "$root/cmake/wine-run" cmd /c exit </dev/null >/dev/null 2>&1 || true
    state="started"
    wineserver "-p${2:-}" </dev/null >/dev/null 2>&1 || state="runs already"
    # A Wine that starts programs brings this line back.
    for _ in 1 2 3; do
        "$root/cmake/wine-run" cmd /c exit </dev/null >/dev/null 2>&1 || true
        answer=$("$root/cmake/wine-run" cmd /c echo ready </dev/null 2>/dev/null | tr -d '\r') || answer=
        [[ $answer == ready ]] && break
    done
    [[ $answer == ready ]] || exit 1
    printf '%s\n' "$state"
    ;;
end)
    rm -f "$WINEPREFIX/.kept"
    wineserver -k </dev/null >/dev/null 2>&1 || true
    wineserver -w
    ;;
*)
    printf 'usage: wine_server.sh start [SECONDS] | end\n' >&2
    exit 2
    ;;
esac
