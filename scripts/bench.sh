#!/usr/bin/env bash
# Builds the benchmarks, times every family against the raw core and against
# NumPy/SciPy, writes BENCHMARKS.md and the ratio plots (bench/plots/).
#   scripts/bench.sh [build-dir]      BENCH_MIN_TIME=0.05 by default
#   BENCH_FILTER=regex                times only the matching entries
#   scripts/bench.sh --threads [build-dir]
#                                     wall time at n = 4 and n >= 1000 with
#                                     OPENBLAS_NUM_THREADS = each of
#                                     BENCH_THREADS (default 1 .. nproc);
#                                     writes the thread-scaling section of
#                                     BENCHMARKS.md and its plots
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
threads_mode=0
if [[ ${1:-} == --threads ]]; then
  threads_mode=1
  shift
fi
build=${1:-$root/build-bench}
min_time=${BENCH_MIN_TIME:-0.05}
filter=${BENCH_FILTER:-.}
out=$build/bench-results
python=/usr/bin/python3  # Debian's, the one python3-numpy and python3-scipy serve

missing=()
command -v gnuplot >/dev/null || missing+=(gnuplot-nox)
"$python" -c 'import numpy' 2>/dev/null || missing+=(python3-numpy)
"$python" -c 'import scipy.linalg' 2>/dev/null || missing+=(python3-scipy)
dpkg -s libbenchmark-dev >/dev/null 2>&1 || missing+=(libbenchmark-dev)
if ((${#missing[@]})); then
  apt-get update
  DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"
fi

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DTARNX_BENCH=ON >/dev/null
make -C "$build" -j2 tarnx_bench >/dev/null
mkdir -p "$out"

# The host stand-in poisons every byte a resize adds, for the tests; a real
# host does not, so neither does the benchmark's stand-in.
export ZWRT_POISON=0

if ((threads_mode)); then
  # The frame's serial work stays while the core's share shrinks with its
  # threads: the same entries at each thread count, wall time, both sides
  # with the same count.
  counts=${BENCH_THREADS:-$(seq 1 "$(nproc)")}
  runs=()
  for t in $counts; do
    OPENBLAS_NUM_THREADS=$t OMP_NUM_THREADS=$t "$build/bin/tarnx_bench" --wall_time \
      --benchmark_min_time="$min_time" --benchmark_context=min_time="$min_time" \
      --benchmark_context=threads="$t" \
      --benchmark_filter="^($filter).*/(ours|raw|pair)/(4|[0-9]{4,})(/|$)" \
      --benchmark_enable_random_interleaving=true --benchmark_format=json \
      --benchmark_out="$out/threads-$t.json" --benchmark_out_format=json >/dev/null
    runs+=("$out/threads-$t.json")
  done
  "$python" "$root/scripts/bench_report.py" --threads "$root/BENCHMARKS.md" "$root/bench/plots" \
    "${runs[@]}"
  echo "wrote the thread-scaling section of $root/BENCHMARKS.md"
  exit 0
fi

# One core thread on both sides: the machine is small and shared, and the
# comparison is of the frame, not of threading.
export OPENBLAS_NUM_THREADS=1 OMP_NUM_THREADS=1
"$build/bin/tarnx_bench" --benchmark_min_time="$min_time" --benchmark_filter="$filter" \
  --benchmark_context=min_time="$min_time" --benchmark_enable_random_interleaving=true \
  --benchmark_format=json \
  --benchmark_out="$out/tarnx.json" --benchmark_out_format=json >/dev/null
"$python" "$root/scripts/bench_numpy.py" "$out/numpy.json"
"$python" "$root/scripts/bench_report.py" "$out/tarnx.json" "$out/numpy.json" \
  "$root/BENCHMARKS.md" "$root/bench/plots"
echo "wrote $root/BENCHMARKS.md"
