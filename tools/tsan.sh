#!/usr/bin/env bash
# Runs the tests of what needs nothing of the platform but locks, waits and threads natively, with clang's
# ThreadSanitizer. Prints what ran; fails on a race, on locks that are taken in both orders, on a failed test or a hang.
# What was found is left in build/tsan/log.
#
#   tools/tsan.sh [FILTER] [ROUNDS]   GoogleTest's filter (TaskGroup.*, say), or all tests; 5 rounds
#
# The random programs are the same in every round, but their threads meet otherwise.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh --fuzz
export LC_ALL=C.UTF-8

filter='*'
if [ $# -gt 0 ] && [[ ! $1 =~ ^[0-9]+$ ]]; then
  filter=$1
  shift
fi
rounds=${1:-5}
out=build/tsan
cmake -S tsan -B $out -G Ninja -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ >/dev/null
timeout 600 cmake --build $out --target tsan_tests -- --quiet | { grep -vx "ninja: no work to do." || true; }

ended=0
TSAN_OPTIONS=second_deadlock_stack=1 timeout -k 10 $((120 + 20 * rounds)) \
  $out/tsan_tests --gtest_filter="$filter" --gtest_repeat="$rounds" >$out/log 2>&1 || ended=$?
awk '/^\[ +(OK|FAILED) +\] .* ms\)$/ { ++times[$(NF - 2)]; ms[$(NF - 2)] += substr($(NF - 1), 2) }
  END { for (test in times) printf "%-60s %4d times %7d ms\n", test, times[test], ms[test] }' $out/log | sort
[ "$ended" -eq 0 ] && grep -q '^\[ *OK ' $out/log && exit
[ "$ended" -ne 124 ] || echo 'tsan: it hung'
grep -vE '^(\[( +(RUN|OK) +|-+|=+)\]|Repeating|$)' $out/log | cut -c 1-160 | head -n 100
exit 1
