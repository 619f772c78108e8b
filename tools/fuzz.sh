#!/usr/bin/env bash
# Runs each fuzz target, or the one named, for so many seconds.  fuzz.sh [TARGET] [SECONDS]
# One line for each target; a finding's input stays in build/fuzz/findings.
source tools/common.sh

FuzzOne() {
    local target=$1 seconds=$2 log=build/logs/fuzz-$1.log
    mkdir -p "build/fuzz/corpus/$target" build/fuzz/findings
    printf '%-20s %4s s ' "$target" "$seconds"
    if ASAN_SYMBOLIZER_PATH=/usr/lib/llvm-14/bin/llvm-symbolizer build/fuzz/fuzz/fuzz_targets "--target=$target" \
        "-max_total_time=$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        "-artifact_prefix=build/fuzz/findings/$target-" "build/fuzz/corpus/$target" "build/fuzz/seeds/$target" \
        >"$log" 2>&1 && grep -q '^stat::number_of_executed_units' "$log"; then
        awk '/^#/ { for (i = 2; i < NF; ++i) if ($i == "cov:") cov = $(i + 1); else if ($i == "corp:") corp = $(i + 1) }
             /^stat::number_of_executed_units/ { count = $2 }
             END { printf "%9d inputs, %5d edges, corpus %s\n", count, cov, corp }' "$log"
        return 0
    fi
    Say "FOUND SOMETHING ($log)"
    grep -m1 -A5 'This does not hold\|ERROR: \|runtime error' "$log" || tail -n 20 "$log"
    grep 'Test unit written to' "$log" || true
    return 1
}

wanted=""
seconds=60
found=0
for argument in "$@"; do
    if [[ $argument =~ ^[1-9][0-9]*$ ]]; then seconds=$argument; else wanted=$argument; fi
done
tools/setup.sh build fuzz
Build fuzz fuzz_targets write_fuzz_seeds
rm -rf build/fuzz/seeds
mapfile -t targets < <(build/fuzz/fuzz/write_fuzz_seeds build/fuzz/seeds)
((${#targets[@]})) || Fail "There is no fuzz target."
[[ -z $wanted || -d build/fuzz/seeds/$wanted ]] || Fail "There is no fuzz target '$wanted'. There are: ${targets[*]}"
Heading "Fuzzing, $seconds s for each target"
for target in ${wanted:-"${targets[@]}"}; do
    FuzzOne "$target" "$seconds" || found=$((found + 1))
done
((found == 0)) || Fail "$found of the targets found something."
