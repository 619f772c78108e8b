#!/usr/bin/env bash
# Many lives of the library under Wine, or many threads in one.  soak.sh [CYCLES | --seconds N | serve [MINUTES]]
source tools/common.sh
if [[ ${1:-} == serve ]]; then
    tools/setup.sh build serve
    Build windows products tarnhost
    WarmWine >/dev/null
    exec python3 tools/serve_soak.py "${@:2}"
fi
tools/setup.sh build
Build windows products soak
WarmWine >/dev/null
[[ ${1:-} == --* ]] || set -- --cycles "${1:-10000}"
mkdir -p build/logs
cmake/wine-run build/windows/tests/soak.exe "$@" | tee build/logs/soak.log
tail -n 1 build/logs/soak.log | grep -q '^steady' || Fail "The soak did not run to its end, or was not steady."
