#!/bin/bash
# Times `cfmeta profile`, plain and with --summaries, on a generated 1,000,000-row delimited
# file (about 200 MB: eight numeric, four categorical and two free-text columns, 1% empty
# cells) beside `wc -l` of the same file, the floor of one read of its bytes, and beside
# DuckDB's SUMMARIZE of it on one thread (through its Node.js package, installed from npm into
# build-bench/duckdb; DUCKDB=0 leaves it out). All run pinned to one core with the file in the
# page cache; each is run RUNS times (default 5) and the median is reported, with the
# profile's peak resident memory.
#
#   bench/profile_bench.sh [ROWS]
set -euo pipefail
cd "$(dirname "$0")/.."

rows="${1:-1000000}"
runs="${RUNS:-5}"
build=build-bench
data="$build/profile-data-$rows.csv"

CFMETA_WITH_BENCH=1 ./scripts/setup.sh
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCFMETA_BUILD_BENCH=ON \
  -DCFMETA_BUILD_TESTS=OFF -DCFMETA_BUILD_TOOLS=ON >/dev/null
cmake --build "$build" --target cfmeta_tool gen_profile_data >/dev/null
[ -s "$data" ] || "$build/bench/gen_profile_data" "$rows" >"$data"
cat "$data" >/dev/null

bytes=$(stat -c %s "$data")
timing="$(mktemp)"
trap 'rm -f "$timing"' EXIT

# Prints "seconds peak-KiB" of the median run (by time) of the given command.
median() {
  local results=()
  for _ in $(seq "$runs"); do
    /usr/bin/time -f "%e %M" -o "$timing" taskset -c 0 "$@" >/dev/null 2>&1
    results+=("$(cat "$timing")")
  done
  printf '%s\n' "${results[@]}" | sort -n | sed -n "$(((runs + 1) / 2))p"
}

read -r wc_s _ < <(median wc -l "$data")
read -r profile_s profile_kib < <(median "$build/tools/cfmeta" profile "$data" -o /dev/null)
read -r summaries_s summaries_kib < <(median "$build/tools/cfmeta" profile "$data" --summaries \
  -o /dev/null)

duck_s=0
if [ "${DUCKDB:-1}" = 1 ]; then
  mkdir -p "$build/duckdb"
  cp bench/duckdb/package.json bench/duckdb/summarize.mjs "$build/duckdb/"
  (cd "$build/duckdb" && npm install --no-audit --no-fund --silent >/dev/null)
  duck_runs=()
  for _ in $(seq "$runs"); do
    duck_runs+=("$(taskset -c 0 node "$build/duckdb/summarize.mjs" "$PWD/$data")")
  done
  duck_s=$(printf '%s\n' "${duck_runs[@]}" | sort -n | sed -n "$(((runs + 1) / 2))p")
fi

awk -v bytes="$bytes" -v rows="$rows" -v wc="$wc_s" -v pr="$profile_s" -v kib="$profile_kib" \
  -v su="$summaries_s" -v skib="$summaries_kib" -v duck="$duck_s" -v runs="$runs" 'BEGIN {
  mb = bytes / 1e6
  printf "file:            %d rows, %.1f MB\n", rows, mb
  printf "wc -l:           %.3f s  (%.0f MB/s)   median of %d\n", wc, (wc > 0 ? mb / wc : 0), runs
  printf "cfmeta profile:  %.3f s  (%.0f MB/s)   median of %d, peak memory %.1f MB\n", \
    pr, mb / pr, runs, kib * 1024 / 1e6
  if (wc > 0) printf "ratio:           %.1fx the time of wc -l\n", pr / wc
  met = ((mb / pr >= 150) && (kib * 1024 / 1e6 < 100)) ? "met" : "NOT met"
  printf "target (>= 150 MB/s on one core, < 100 MB peak): %s\n", met
  printf "with --summaries: %.3f s  (%.0f MB/s)   median of %d, peak memory %.1f MB\n", \
    su, mb / su, runs, skib * 1024 / 1e6
  met = ((mb / su >= 130) && (skib * 1024 / 1e6 < 100)) ? "met" : "NOT met"
  printf "target (>= 130 MB/s on one core, < 100 MB peak): %s\n", met
  if (duck > 0) {
    printf "DuckDB SUMMARIZE: %.3f s  (%.0f MB/s)   median of %d, one thread\n", duck, mb / duck, runs
    printf "ratio:           %.2fx DuckDB'"'"'s time with --summaries (target <= 0.35): %s\n", \
      su / duck, (su / duck <= 0.35 ? "met" : "NOT met")
  }
}'
