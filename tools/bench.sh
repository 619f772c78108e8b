#!/usr/bin/env bash
# Builds and runs the benchmarks.
#   bench.sh [native [ARGS…] | dll [ENTRIES [BATCHES]] | replay [MEGABYTES] | serve [SECONDS]]
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

# Rate NAME MEGABYTES COMMAND…: runs it and prints how fast it went and what it took. Its output goes to $made/out.
Rate() {
    local name=$1 megabytes=$2
    shift 2
    /usr/bin/time -f '%e %U %S %M' -o "$made/time" "$@" >"$made/out" 2>"$made/errors" ||
        { cat "$made/errors" >&2; Fail "$name failed."; }
    tail -n 1 "$made/time" | awk -v name="$name" -v megabytes="$megabytes" \
        '{ printf "%-34s %6.2f s %6.1f MB/s, %5.2f s of processor time, %4.0f MB of memory\n",
               name, $1, megabytes / $1, $2 + $3, $4 / 1000 }'
}

# A peer reads the whole capture, too, and takes all its frames apart; what it prints is not of interest.
Peer() {
    if command -v "$1" >/dev/null; then Rate "$1" "$megabytes" "$@"
    else printf '%-34s is not installed\n' "$1"; fi
}

ReplayBench() {
    local megabytes frames form
    tools/setup.sh build replay
    Build windows tarnhost products
    WarmWine >/dev/null
    made=$(mktemp -d)
    trap 'rm -rf "$made"' EXIT
    read -r megabytes _ frames _ < <(python3 bench/mixed_capture.py "$made/mixed.pcap" "$@") ||
        Fail "There is no capture."
    Heading "a mixed capture of $megabytes MB with $frames frames"
    for form in "--brief --json" "--brief" "--json"; do
        # shellcheck disable=SC2086
        Rate "tarnhost $form replay" "$megabytes" \
            cmake/wine-run build/windows/bin/tarnhost.exe $form replay "Z:$made/mixed.pcap"
        tail -n 40 "$made/out" | tr -d , | grep -E "^${frames} frames |\"frames\":${frames}[^0-9]" >/dev/null ||
            Fail "tarnhost did not read all frames."
    done
    Peer tshark -n -q -z io,phs -r "$made/mixed.pcap"
    Peer ndpiReader -q -i "$made/mixed.pcap"
}

ServeBench() {
    tools/setup.sh build serve_bench
    Build windows products tarnhost
    WarmWine >/dev/null
    python3 tools/serve_bench.py "$@"
}

which=${1:-}
(($#)) && shift
case $which in
native) NativeBench "$@" ;;
dll) DllBench "$@" ;;
replay) ReplayBench "$@" ;;
serve) ServeBench "$@" ;;
'')
    NativeBench
    DllBench
    ReplayBench
    ServeBench
    ;;
*) Fail "./dev bench [native [ARGS…] | dll [ENTRIES [BATCHES]] | replay [MEGABYTES] | serve [SECONDS]]" ;;
esac
