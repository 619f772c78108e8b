#!/usr/bin/env bash
# Builds and runs the benchmarks.  bench.sh [native [ARGS…] | dll [ENTRIES [BATCHES]]]
source tools/common.sh

NativeBench() {
    local program count=0
    tools/setup.sh build bench
    Build bench
    while read -r program; do
        Heading "${program##*/}"
        "$program" "$@"
        count=$((count + 1))
    done < <(find build/bench/bench -maxdepth 2 -type f -executable -name '*bench*' | sort)
    ((count)) || Fail "There is no benchmark program in build/bench/bench."
}

DllBench() {
    tools/setup.sh build
    Build windows dll_bench
    WarmWine >/dev/null
    Heading "tarn.dll, under Wine"
    mkdir -p build/logs
    cmake/wine-run build/windows/tests/dll_bench.exe "$@" | tee build/logs/dll_bench.log
    tail -n 1 build/logs/dll_bench.log | grep -q '^every answer right' || Fail "The benchmark did not run to its end."
}

which=${1:-}
(($#)) && shift
case $which in
native) NativeBench "$@" ;;
dll) DllBench "$@" ;;
'')
    NativeBench
    DllBench
    ;;
*) Fail "./dev bench, ./dev bench native [ARGS…] or ./dev bench dll [ENTRIES [BATCHES]]" ;;
esac
