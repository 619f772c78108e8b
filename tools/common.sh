# shellcheck shell=bash
# What the commands in this folder share. Each is started by ./dev with the project's root as its working folder.
set -euo pipefail

Say() { printf '%s\n' "$*"; }
Fail() { printf '%s\n' "$*" >&2; exit 1; }
Heading() { printf '\n== %s\n' "$*"; }

# Build PRESET [TARGET…]: everything without a target.
Build() { python3 tools/build.py "$@"; }

Host() { cmake/wine-run build/windows/bin/tarnhost.exe "$@"; }

# A server for the programs that follow; it ends by itself a minute after the last one.
WarmWine() { tools/wine_server.sh start 60 || Fail "Wine does not run: try cmake/wine-run cmd /c ver"; }
