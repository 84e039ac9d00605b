#!/usr/bin/env bash
# Builds and runs every test under Wine, in a new Wine prefix and in random order, so that no test can rely on what ran before it.
#
#   tools/test.sh            both bitnesses, optimised
#   tools/test.sh PRESET...  these of CMakePresets.json: win64, win32, win64-debug, win32-debug, and
#                            release-win64, release-win32, which need tools/setup.sh --package
#
# Prints the counts; fails when a test failed or didn't run. Where 32-bit programs can't be run, their
# tests are counted as skipped and the reason is printed. Log and order of the tests: build/<preset>.test.log.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh

strict=OFF
[ -z "${CI:-}" ] || strict=ON
wanted=("$@")
[ $# -gt 0 ] || wanted=(win64 win32)
for preset in "${wanted[@]}"; do
  echo "== Building $preset"
  cmake --preset "$preset" -DTV_WARNINGS_AS_ERRORS=$strict >"build/$preset.configure.log" || {
    cat "build/$preset.configure.log"
    exit 1
  }
  NINJA_STATUS='' cmake --build --preset "$preset" -- --quiet
done

presets=() skipped_presets=() why_skipped=
for preset in "${wanted[@]}"; do
  if "build/$preset/wine-tests.sh" --new-prefix "build/$preset/bin/tvsource.exe" --help </dev/null >/dev/null 2>&1; then
    presets+=("$preset")
  elif [[ $preset == *win32* ]]; then
    skipped_presets+=("$preset")
    why_skipped="Wine doesn't start 32-bit programs here"
    [ ! -e build/wine32.failed ] || why_skipped=$(cat build/wine32.failed)
  else
    echo "Wine doesn't start the programs of $preset" >&2
    exit 1
  fi
done

# The presets have a Wine prefix each, so they run side by side; within one, tests run one at a time.
# No test is run twice: one that fails now and then must be seen.
declare -A runs
keepers=()
trap 'kill "${keepers[@]}" 2>/dev/null || true' EXIT
for preset in "${presets[@]}"; do
  # While any program runs in the prefix, its services stay up and each test starts in a tenth of the time. The services
  # keep the output of whoever starts them open for good, so they must be up before CTest, which waits for the end of
  # its programs' output, starts the first one.
  timeout 3000 "build/$preset/wine-tests.sh" explorer.exe </dev/null >/dev/null 2>&1 &
  keepers+=($!)
  "build/$preset/wine-tests.sh" cmd.exe /c exit </dev/null >/dev/null 2>&1
done
for preset in "${presets[@]}"; do
  ctest --preset "$preset" --no-tests=error --schedule-random >"build/$preset.test.log" 2>&1 &
  runs[$preset]=$!
done

passed=0 failed=0 skipped=0 all=0
for preset in "${presets[@]}"; do
  log=build/$preset.test.log
  ended=0
  wait "${runs[$preset]}" || ended=$?
  read -r bad all < <(sed -nE 's/.*tests passed, ([0-9]+) tests? failed out of ([0-9]+)/\1 \2/p' "$log") || { bad=1 all=1; }
  # A run that broke off has shown no failure of its own.
  [ "$ended" -eq 0 ] || [ "$bad" -gt 0 ] || bad=1 all=$((all + 1))
  skip=$(grep -cE '^[[:space:]]+[0-9]+ - .*\(Skipped\)' "$log" || true)
  ok=$((all - bad - skip))
  passed=$((passed + ok)) failed=$((failed + bad)) skipped=$((skipped + skip))
  printf '== %s: %d passed, %d failed, %d skipped\n' "$preset" "$ok" "$bad" "$skip"
  sed -nE 's/.*Test +#[0-9]+: ([^ ]+) .*\*\*\*(Failed|Timeout|Exception).*/   not passed: \1/p' "$log" | sort -u
  [ "$skip" -eq 0 ] || { tr -d '\r' <"build/$preset/Testing/Temporary/LastTest.log" |
    awk '/: Skipped$/ { getline; count[$0]++ } END { for (why in count) printf "   %d skipped: %s\n", count[why], why }'; }
  if [ -n "${CI:-}" ]; then
    printf '   order of the tests, by their numbers:\n'
    sed -nE 's/^ +Start +([0-9]+): .*/\1/p' "$log" | tr '\n' ' ' | fold -s -w 120 | sed 's/^/   /'
    printf '\n'
  fi
  [ "$bad" -eq 0 ] || cat "$log"
done
# What can't be started can't tell how many tests it has: as many as the others.
for preset in "${skipped_presets[@]}"; do
  skipped=$((skipped + all))
  printf '== %s: %d skipped: %s\n' "$preset" "$all" "$why_skipped"
done
printf '%d passed, %d failed, %d skipped\n' "$passed" "$failed" "$skipped"
[ "$failed" -eq 0 ]
