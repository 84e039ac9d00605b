#!/usr/bin/env bash
# Line and branch coverage of all x64 tests, by GCC's own counters under Wine: a table by folder, and a page for each file.
#
#   tools/coverage.sh      builds into build/coverage, runs every test, writes build/coverage/html/index.html
#
# Tests that fail don't end it: what they ran is counted. Takes about twice as long as the tests themselves.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh --coverage

echo '== Building with counters'
cmake --preset win64 -B build/coverage -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_CXX_FLAGS='-O0 --coverage -fprofile-update=atomic' -DCMAKE_EXE_LINKER_FLAGS=--coverage \
  -DCMAKE_SHARED_LINKER_FLAGS=--coverage >build/coverage.configure.log || {
  cat build/coverage.configure.log
  exit 1
}
NINJA_STATUS='' cmake --build build/coverage -- --quiet
find build/coverage -name '*.gcda' -delete

echo '== Running the tests'
build/coverage/wine-tests.sh --new-prefix cmd.exe /c exit </dev/null >/dev/null 2>&1
timeout 3000 build/coverage/wine-tests.sh explorer.exe </dev/null >/dev/null 2>&1 &
keeper=$!
trap 'kill "$keeper" 2>/dev/null || true' EXIT
build/coverage/wine-tests.sh cmd.exe /c exit </dev/null >/dev/null 2>&1
ctest --test-dir build/coverage --no-tests=error >build/coverage.test.log 2>&1 || true
sed -n '/tests passed/p' build/coverage.test.log
[ -n "$(find build/coverage -name '*.gcda' -print -quit)" ] || { echo 'coverage: no test left a counter' >&2; exit 1; }

echo '== Coverage'
mkdir -p build/coverage/html
gcovr --gcov-executable x86_64-w64-mingw32-gcov-posix --root . --object-directory build/coverage \
  --exclude build/ --exclude tests/ --exclude bench/ --gcov-ignore-parse-errors --exclude-throw-branches \
  --exclude-unreachable-branches --json-summary build/coverage/summary.json \
  --html-details build/coverage/html/index.html >/dev/null
python3 - build/coverage/summary.json <<'PY'
import collections, json, os, sys
rows = collections.defaultdict(lambda: [0, 0, 0, 0])
for file in json.load(open(sys.argv[1]))['files']:
    for folder in (os.path.dirname(file['filename']), 'all'):
        for i, key in enumerate(('line_covered', 'line_total', 'branch_covered', 'branch_total')):
            rows[folder][i] += file[key]
print(f'{"folder":28}{"lines":>8}{"branches":>10}')
for folder in sorted(rows, key=lambda name: (name == 'all', name)):
    lines, of_lines, branches, of_branches = rows[folder]
    print(f'{folder:28}{100 * lines / max(1, of_lines):7.1f}%{100 * branches / max(1, of_branches):9.1f}%')
PY
echo 'each line: build/coverage/html/index.html'
