#!/usr/bin/env bash
# Fuzzes the code that needs no platform, natively, with clang's libFuzzer, AddressSanitizer and UndefinedBehaviorSanitizer.
# Prints what was executed and covered; fails on a crash, a broken promise, a leak or a hang. The input that showed it is left in
# build/fuzz/finds, and is run again with: build/fuzz/TARGET FILE
#
#   tools/fuzz.sh [TARGET] [SECONDS]   one of fuzz/*.cpp, or all; 5 seconds each
#
# Inputs that reach new code are kept in build/fuzz/corpus. The first ones are the samples and the texts in the tests.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh --fuzz
export LC_ALL=C.UTF-8

all=(fuzz/*.cpp)
all=("${all[@]##*/}")
all=("${all[@]%.cpp}")
targets=("${all[@]}")
if [ $# -gt 0 ] && [[ ! $1 =~ ^[0-9]+$ ]]; then
  [[ " ${all[*]} " == *" $1 "* ]] || { echo "fuzz: no target $1: there are ${all[*]}" >&2; exit 1; }
  targets=("$1")
  shift
fi
seconds=${1:-5}
out=build/fuzz
cmake -S fuzz -B $out -G Ninja -DCMAKE_CXX_COMPILER=clang++ >/dev/null
cmake --build $out --target "${targets[@]}" -- --quiet | { grep -vx "ninja: no work to do." || true; }

# texts FILE...: a seed for each text in these tests.
texts() {
  local number=0 text
  while IFS= read -r text; do
    printf '%b' "$prefix${text:1:-1}" >"$seeds/$((++number))" 2>/dev/null || true  # the shell doesn't know every escape of C++
  done < <(grep -ohP '"([^"\\]|\\.)+"' "$@" | sort -u)
}

failed=0
for target in "${targets[@]}"; do
  corpus=$out/corpus/$target seeds=$out/seeds/$target
  rm -rf "$seeds"
  mkdir -p "$corpus" "$seeds" $out/finds
  prefix='' code=/dev/null
  case $target in
    detect)
      code=metadata/formats
      for sample in tests/metadata/samples/*/*; do
        { printf '\0\0\0\0\0\0'; cat "$sample"; } >"$seeds/$(basename "$sample")"
      done ;;
    uri) code=framework/uri; texts tests/framework/uri/*.cpp ;;
    url) code=dataservices/http/CHttpUrl.cpp; texts tests/dataservices/HttpPartsTest.cpp ;;
    headers) code=dataservices/http/HttpAnswer.cpp prefix='\6'; texts tests/dataservices/*.cpp ;;
    data) code=dataservices/data; texts tests/dataservices/HttpPartsTest.cpp ;;
    log) texts tests/diagnostics/CLogToFileTest.cpp ;;
  esac
  # The words that the code looks for.
  { grep -rhoE '"[^"\\]+"' "$code" || true; } | { grep -v '\.h"$' || echo '" "'; } | sort -u >"$out/$target.dict"
  ended=0
  "$out/$target" -max_total_time="$seconds" -max_len=16384 -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -dict="$out/$target.dict" -artifact_prefix="$out/finds/$target-" "$corpus" "$seeds" >"$out/$target.log" 2>&1 || ended=$?
  counts=$(sed -nE 's/.*(cov: [0-9]+ ft: [0-9]+ corp: [0-9]+).*/\1/p' "$out/$target.log" | tail -n 1)
  executed=$(sed -n 's/^stat::number_of_executed_units: *//p' "$out/$target.log")
  printf '%-8s %9s executions  %s\n' "$target" "${executed:-no}" "$counts"
  if [ "$ended" -ne 0 ]; then
    failed=1
    grep -vE '^(#[0-9]+[[:space:]]+(NEW|REDUCE|pulse|INITED|RELOAD)|stat::)' "$out/$target.log" | tail -n 40
  fi
done
exit $failed
