#!/usr/bin/env bash
# Builds and runs the benchmarks (bench/), each pinned to one CPU and unpinned, and prints the
# tables of docs/performance.md. Not part of the tests; nothing here asserts a time.
#   scripts/bench.sh            full run (a few minutes)
#   scripts/bench.sh --quick    short run to check that everything works
#   BENCH_PARTS="notify startup" scripts/bench.sh   only those parts (default: roundtrip
#                               router notify startup); BENCH_MODES=unpinned likewise
# Results (JSON per binary and mode, and results.md) go to build/release/bench/results.
set -euo pipefail
cd "$(dirname "$0")/.."

repetitions=5
min_time=2
idle_seconds=10
notify_seconds=3
burst=1000000
if [[ "${1:-}" == "--quick" ]]; then
    repetitions=2
    min_time=0.2
    idle_seconds=1
    notify_seconds=0.5
    burst=20000
fi

cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target bench_roundtrip bench_router bench_peer \
    bench_notify bench_bare_tray clientmgr glyphd instrument-sim platform-sim

bin=build/release/bin
results=build/release/bench/results
mkdir -p "$results"

run() { # mode, binary, output name, extra arguments... (pinned as the loop sets pin)
    local mode=$1 binary=$2 name=$3
    shift 3
    echo "== $binary, $mode" >&2
    BENCH_IDLE_SECONDS=$idle_seconds "${pin[@]}" "$bin/$binary" \
        --benchmark_out="$results/$name-$mode.json" --benchmark_out_format=json "$@" >&2
}

{
    echo "# uname: $(uname -srm)"
    echo "# cpus: $(nproc), load before the run: $(cut -d' ' -f1-3 /proc/loadavg)"
    echo "# date: $(date -u +%FT%TZ), commit: $(git rev-parse --short HEAD 2>/dev/null || echo none)"
} >"$results/machine.txt"

parts=" ${BENCH_PARTS:-roundtrip router notify startup} "
wanted() { [[ "$parts" == *" $1 "* ]]; }

for mode in ${BENCH_MODES:-pinned unpinned}; do
    pin=()
    [[ "$mode" == pinned ]] && pin=(taskset -c 0)
    if wanted roundtrip; then
        run "$mode" bench_roundtrip roundtrip --benchmark_repetitions="$repetitions" \
            --benchmark_min_time="$min_time"
    fi
    if wanted router; then
        # Throughput and fan-out are repeated; memory and idle are one measurement each.
        run "$mode" bench_router router-timed --benchmark_repetitions="$repetitions" \
            --benchmark_min_time="$min_time" --benchmark_filter='Throughput|FanOut'
        run "$mode" bench_router router-once --benchmark_filter='Memory|Idle'
        python3 - "$results/router-timed-$mode.json" "$results/router-once-$mode.json" \
            "$results/router-$mode.json" <<'PY'
import json, sys
timed, once = (json.load(open(p)) for p in sys.argv[1:3])
timed["benchmarks"] += once["benchmarks"]
json.dump(timed, open(sys.argv[3], "w"), indent=1)
PY
    fi
    # The notification path and the start-up print JSON lines; the whole of each runs pinned
    # (every process it starts inherits the CPU) or free.
    if wanted notify; then
        echo "== bench_notify, $mode" >&2
        "${pin[@]}" "$bin/bench_notify" --seconds "$notify_seconds" \
            --repetitions "$repetitions" --burst "$burst" | tee "$results/notify-$mode.jsonl" >&2 ||
            echo "bench_notify: not every notification was processed (see the burst lines)" >&2
    fi
    if wanted startup; then
        echo "== start-up, memory and idle (bench/startup.sh), $mode" >&2
        "${pin[@]}" bash bench/startup.sh "$bin" "$repetitions" "$idle_seconds" "$burst" |
            tee "$results/startup-$mode.jsonl" >&2 || echo "bench/startup.sh failed" >&2
    fi
done

echo "# load after the run: $(cut -d' ' -f1-3 /proc/loadavg)" >>"$results/machine.txt"
{
    cat "$results/machine.txt"
    echo
    python3 bench/summarize.py "$results"
} | tee "$results/results.md"
