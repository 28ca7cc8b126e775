#!/usr/bin/env bash
# Long fuzz run: every libFuzzer harness for the given number of seconds
# (default 300), under the address and undefined-behaviour sanitizers, one
# after the other. Corpora grow in fuzz-corpus/<harness>/; the executions
# each harness reached are printed at the end.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-300}"
bash scripts/install-deps.sh --fuzz
CC=clang CXX=clang++ cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DQM_SANITIZE=address,undefined -DQM_FUZZ=ON -DQM_BUILD_BENCH=OFF >/dev/null
cmake --build build-asan -j "${QM_JOBS:-2}"
summary=()
for harness in build-asan/fuzz/*_fuzz; do
  name=$(basename "$harness")
  mkdir -p "fuzz-corpus/$name"
  log="fuzz-corpus/$name.log"
  echo "== $name for ${seconds}s"
  "$harness" "fuzz-corpus/$name" -max_total_time="$seconds" -max_len=2048 -print_final_stats=1 >"$log" 2>&1 || {
    echo "$name FAILED, see $log"; tail -30 "$log"; exit 1; }
  runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo "?")
  summary+=("$name: $runs executions, no findings")
done
printf '%s\n' "${summary[@]}"
