#!/usr/bin/env bash
# Checks the format (.clang-format), that folders include only what stands above them, and, by clang-tidy, that clang compiles
# everything without warnings and that names are as .clang-tidy has them.
#
#   tools/lint.sh          as above
#   tools/lint.sh --tidy   everything in .clang-tidy (some minutes more)
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh --lint

echo '== clang-format'
find . -name build -prune -o -name '*.cpp' -print0 -o -name '*.h' -print0 | xargs -0 clang-format --dry-run --Werror

echo '== the folders'
tools/check-folders.sh

checks='-*,clang-diagnostic-*,readability-identifier-naming'
[ "${1:-}" != --tidy ] || checks=''
echo "== clang-tidy ${checks:-.clang-tidy}"
cmake --preset win64 -B build/lint -DTV_UNITY=OFF >/dev/null
cmake --build build/lint --target sdk_headers -- --quiet >/dev/null
# The compile commands of the 64-bit build, each file alone, with GCC's standard library and clang's own compiler headers.
clang=(--target=x86_64-w64-mingw32 -nostdinc -nostdinc++ -Wno-unknown-warning-option)
while read -r folder; do
  clang+=("-isystem$folder")
done < <(x86_64-w64-mingw32-g++-posix -E -x c++ -v /dev/null 2>&1 >/dev/null | sed -n '/^#include </,/^End/s/^ \(.*c++.*\)/\1/p')
clang+=("-isystem$(clang++ -print-resource-dir)/include" -isystem/usr/x86_64-w64-mingw32/include)
find . \( -name build -o -name fuzz -o -name tsan \) -prune -o -name '*.cpp' -print |  # those two are built by clang with its warnings anyway
  xargs -P "$(nproc)" -n 4 clang-tidy -p build/lint --quiet --warnings-as-errors='*' --checks="$checks" "${clang[@]/#/--extra-arg=}" \
    2> >(grep -vE '^[0-9]+ warnings? generated\.$' >&2)
echo 'lint: nothing found'
