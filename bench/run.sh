#!/bin/bash
# Runs the benchmarks of a build directory and prints each against its reference and its aim.
#   bench/run.sh build [ARGUMENTS OF GOOGLE BENCHMARK, such as --benchmark_filter=apdu]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
bin=${1:?usage: bench/run.sh BUILD_DIRECTORY [ARGUMENTS]}/bin
shift
results=$(mktemp -d)
trap 'rm -rf "$results"' EXIT

for program in "$bin"/*_bench; do
    [ -x "$program" ] || { echo "bench/run.sh: no benchmarks in $bin" >&2; exit 1; }
    echo "running $(basename "$program") ..." >&2
    # Many short repetitions in a mixed order: what else the machine does meets both of a pair.
    "$program" --benchmark_repetitions=9 --benchmark_min_time=0.1 \
        --benchmark_enable_random_interleaving=true --benchmark_out_format=json \
        --benchmark_out="$results/$(basename "$program").json" "$@" >"$results/log" 2>&1 \
        || { cat "$results/log" >&2; exit 1; }
done
python3 "$here/table.py" "$here/aims.txt" "$results"/*.json
