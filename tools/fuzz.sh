#!/usr/bin/env bash
# Builds and runs the fuzz targets of tests/fuzz with libFuzzer (clang, under
# AddressSanitizer and UBSan), in build-fuzz/.
#   tools/fuzz.sh list                  the targets
#   tools/fuzz.sh TARGET SECONDS        runs one target that long
#   tools/fuzz.sh all SECONDS           runs every target that long, one after another
#   tools/fuzz.sh coverage              source coverage of replaying the kept inputs
#                                       (build-cov/, llvm-cov report per target)
# Fuzzers run at the lowest priority, with a time limit of 10 s per input and
# 2048 MB of memory.  New inputs go to build-fuzz/corpus/TARGET; a crash, hang,
# leak or excess of memory is written to build-fuzz/findings/TARGET/ and the
# run stops: keep the input in tests/fuzz/regress/TARGET/ with the fix.  Each
# run adds a line "target seconds executions status" to build-fuzz/runs.txt.
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$top"
fuzz=$top/tests/fuzz
data=${BRINDLE_DATA_DIR:-$top/../shared/data}
[ -d "$data" ] || data=/work/shared/data

targets() { ls "$fuzz"/*/*_fuzz.cc | sed 's|.*/||; s|_fuzz\.cc$||'; }

build() {  # build DIR CMAKE-ARGS...: the fuzz targets' tree, configured again
  local dir=$1; shift    # each time, so that a new target is found
  CC=clang CXX=clang++ cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DBRINDLE_TESTS=OFF -DBRINDLE_BENCH=OFF -DBRINDLE_DATA_DIR="$data" "$@" >/dev/null
}

run() {  # run TARGET SECONDS
  local t=$1 secs=$2 b=$top/build-fuzz
  mkdir -p "$b/corpus/$t" "$b/findings/$t" "$b/logs"
  local seeds=("$fuzz/corpus/$t")
  [ -d "$fuzz/regress/$t" ] && seeds+=("$fuzz/regress/$t")
  local log=$b/logs/$t.log status=0 start=$SECONDS
  nice -n 19 "$b/bin/fuzz_$t" -max_total_time="$secs" -timeout=10 -rss_limit_mb=2048 \
    -dict="$fuzz/dict/$t.dict" -artifact_prefix="$b/findings/$t/" -print_final_stats=1 \
    "$b/corpus/$t" "${seeds[@]}" >"$log" 2>&1 || status=$?
  local runs took=$((SECONDS - start))
  # The count of a run that stopped at a finding is its last status line's.
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  [ -n "$runs" ] || runs=$(grep -a -o '^#[0-9]*' "$log" | tail -1 | tr -d '#' || true)
  echo "$t $took ${runs:-0} $status" >>"$b/runs.txt"
  echo "$t: ${runs:-0} executions in $took s, status $status (log: $log)"
  [ "$status" = 0 ] || ls "$b/findings/$t"
}

case "${1:-}" in
  list) targets ;;
  coverage)
    build build-cov -DBRINDLE_COVERAGE=ON
    cmake --build build-cov -j2 --target $(targets | sed 's/^/fuzz_replay_/') >/dev/null
    mkdir -p build-cov/profiles
    for t in $(targets); do
      inputs=("$fuzz/corpus/$t")
      [ -d "$fuzz/regress/$t" ] && inputs+=("$fuzz/regress/$t")
      [ -d "build-fuzz/corpus/$t" ] && inputs+=("build-fuzz/corpus/$t")
      [ "$t" = sfile ] && inputs+=("$data/corpus/bsd44")
      LLVM_PROFILE_FILE="build-cov/profiles/$t.profraw" build-cov/bin/fuzz_replay_$t \
        "${inputs[@]}" >/dev/null 2>&1 || echo "$t: replay failed"
      llvm-profdata merge -o "build-cov/profiles/$t.profdata" "build-cov/profiles/$t.profraw"
      echo "== $t"
      llvm-cov report "build-cov/bin/fuzz_replay_$t" -instr-profile="build-cov/profiles/$t.profdata" \
        "$top/src" | tail -n +1
    done
    ;;
  all)
    build build-fuzz -DBRINDLE_FUZZ=ON
    cmake --build build-fuzz -j2 --target $(targets | sed 's/^/fuzz_/') >/dev/null
    secs=${2:?usage: tools/fuzz.sh all SECONDS}
    # One at a time: the machine is shared.
    for t in $(targets); do run "$t" "$secs"; done
    ;;
  ''|-h|--help) sed -n '2,13p' "$0" | sed 's/^# \{0,1\}//'; exit 2 ;;
  *)
    t=$1 secs=${2:?usage: tools/fuzz.sh TARGET SECONDS}
    targets | grep -qx "$t" || { echo "no target $t; tools/fuzz.sh list" >&2; exit 2; }
    build build-fuzz -DBRINDLE_FUZZ=ON
    cmake --build build-fuzz -j2 --target "fuzz_$t" >/dev/null
    run "$t" "$secs"
    ;;
esac
