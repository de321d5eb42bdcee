#!/bin/bash
# Builds the fuzz targets in build-fuzz/ and runs one target, or all of them one after another,
# for the given number of seconds each:
#   fuzz/run.sh metadata_roundtrip|xml_wrapper|number_format|sketches|all SECONDS
# Each target works on a scratch corpus in build-fuzz/corpus-work/<target>, seeded from the
# committed fuzz/corpus/<target> and fuzz/regressions/<target>, so runs never touch git. A crash
# leaves its input in build-fuzz/findings/<target>/ and makes the script fail.
set -euo pipefail
cd "$(dirname "$0")/.."

targets="metadata_roundtrip xml_wrapper number_format sketches"
what="${1:-}"
seconds="${2:-}"
if [[ -z "$what" || ! "$seconds" =~ ^[0-9]+$ ]] ||
   [[ "$what" != all && " $targets " != *" $what "* ]]; then
  echo "usage: $0 {$(echo "$targets" | tr ' ' '|')|all} SECONDS" >&2
  exit 2
fi
[[ "$what" == all ]] || targets="$what"

CFMETA_WITH_FUZZ=1 ./scripts/setup.sh
build=build-fuzz
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang \
  -DCMAKE_CXX_COMPILER=clang++ -DCFMETA_BUILD_FUZZ=ON -DCFMETA_BUILD_TESTS=OFF \
  -DCFMETA_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" -j "${JOBS:-2}"

# Every text of the XML vocabulary, quoted, as a libFuzzer dictionary.
dict="$build/cfvocab.dict"
grep -o '"[^"]*"' cfmeta/vocab/cfvocabulary.cpp | sort -u | sed 's/^/kw=/' >"$dict"

status=0
for target in $targets; do
  work="$build/corpus-work/$target"
  findings="$build/findings/$target"
  mkdir -p "$work" "$findings"
  echo "== fuzz $target for ${seconds}s"
  # stdout is closed: the XML layer reports every unparsable document there.
  if ! "$build/fuzz/fuzz_$target" -max_total_time="$seconds" -dict="$dict" -close_fd_mask=1 \
      -print_final_stats=1 -artifact_prefix="$findings/" -rss_limit_mb=2048 -timeout=25 \
      "$work" "fuzz/corpus/$target" $(ls -d "fuzz/regressions/$target" 2>/dev/null); then
    echo "fuzz/run.sh: $target found a fault; its input is in $findings/" >&2
    status=1
  fi
done
exit $status
