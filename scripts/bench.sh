#!/usr/bin/env bash
# Builds the `bench` preset (Release, -O2, g++) and runs the per-frame benchmarks, then prints each
# path's time as a ratio to the memory-copy floor measured in the same run, with the allocations
# per frame.
#
#   scripts/bench.sh [extra benchmark flags]
#
# Environment: BENCH_BUILD_DIR (default build/bench), BENCH_REPETITIONS (default 15),
# BENCH_MIN_TIME (seconds per repetition, default 0.2). The raw figures are kept as JSON in
# $BENCH_BUILD_DIR/frame_benchmark.json.
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir="${BENCH_BUILD_DIR:-build/bench}"
repetitions="${BENCH_REPETITIONS:-15}"
min_time="${BENCH_MIN_TIME:-0.2}"
json="$build_dir/frame_benchmark.json"

cmake --preset bench -B "$build_dir" >/dev/null
cmake --build "$build_dir" --target aon_frame_benchmark

# Repetitions are interleaved at random so that a burst of load on the machine falls on the floor
# and on the paths alike; medians are compared. The service's start-up log lines go to a file.
"$build_dir/bench/aon_frame_benchmark" \
  --benchmark_repetitions="$repetitions" \
  --benchmark_min_time="$min_time" \
  --benchmark_enable_random_interleaving=true \
  --benchmark_report_aggregates_only=true \
  --benchmark_out="$json" --benchmark_out_format=json \
  "$@" >/dev/null 2>"$build_dir/frame_benchmark.log"

python3 - "$json" <<'EOF'
import json
import sys

# Property reads per frame of a full event with verbose logging off: five gated lines of the
# callback, the dump switch, three fusion lines plus one per fusion item (30), one line each for
# face angle, gaze and face feature, the image line and the debug-buffer switch.
PROPERTY_READS_PER_FRAME = 5 + 1 + 3 + 30 + 3 + 1 + 1
TARGET_SIZE, TARGET_RATIO = "640x480", 1.5

with open(sys.argv[1]) as f:
    report = json.load(f)

medians = {}
for b in report["benchmarks"]:
    if b.get("error_occurred"):
        sys.exit(f"{b['run_name']}: {b.get('error_message', 'failed')}")
    if b.get("aggregate_name") == "median":
        medians[b["run_name"]] = b

def micros(b):
    scale = {"ns": 1e-3, "us": 1.0, "ms": 1e3, "s": 1e6}[b["time_unit"]]
    return b["cpu_time"] * scale, b["real_time"] * scale

paths = ["floor", "floor_fresh_destination", "translate", "manager_to_client"]
def pixels(size):
    width, height = size.split("x")
    return int(width) * int(height)

sizes = sorted({name.split("/")[1] for name in medians if "/" in name}, key=pixels)

reps = next(iter(medians.values())).get("repetitions", "?")
print(f"\nPer-frame cost, medians of {reps} interleaved repetitions "
      "(CPU time; x floor = path / floor of the same size in this run)\n")
header = (f"{'frame':<10}{'path':<26}{'cpu us':>9}{'real us':>9}{'x floor':>9}"
          f"{'allocs':>8}{'client':>8}{'alloc bytes':>13}")
print(header)
print("-" * len(header))
ratios = {}
for size in sizes:
    floor = medians.get(f"floor/{size}")
    if floor is None:
        continue
    floor_cpu, _ = micros(floor)
    for path in paths:
        b = medians.get(f"{path}/{size}")
        if b is None:
            continue
        cpu, real = micros(b)
        ratio = cpu / floor_cpu
        ratios[(size, path)] = ratio
        print(f"{size:<10}{path:<26}{cpu:>9.2f}{real:>9.2f}{ratio:>9.2f}"
              f"{b.get('allocs_per_frame', 0):>8.0f}{b.get('client_allocs_per_frame', 0):>8.0f}"
              f"{b.get('alloc_bytes_per_frame', 0):>13.0f}")
    print()

print("allocs: operator new calls per frame in the whole process; client: those made inside the")
print("client's onAONEvent (its OK status), not by the service.")

prop = medians.get("property_read")
target_floor = medians.get(f"floor/{TARGET_SIZE}")
if prop and target_floor:
    read_us, _ = micros(prop)
    share = PROPERTY_READS_PER_FRAME * read_us
    print(f"property read: {read_us * 1000:.1f} ns; {PROPERTY_READS_PER_FRAME} reads per frame = "
          f"{share:.2f} us = {share / micros(target_floor)[0]:.2f} x the {TARGET_SIZE} floor")

for path in ("translate", "manager_to_client"):
    ratio = ratios.get((TARGET_SIZE, path))
    if ratio is not None:
        verdict = "within" if ratio <= TARGET_RATIO else "ABOVE"
        print(f"{TARGET_SIZE} {path}: {ratio:.2f} x floor ({verdict} the {TARGET_RATIO} target)")
EOF
