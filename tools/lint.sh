#!/usr/bin/env bash
# Checks that the code is formatted (.clang-format), that clang compiles it without warnings, and what .clang-tidy asks for.
#
#   tools/lint.sh          format, and warnings of clang
#   tools/lint.sh --tidy   and clang-tidy (some minutes)
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh --lint

echo '== clang-format'
find . -name build -prune -o -name '*.cpp' -print0 -o -name '*.h' -print0 | xargs -0 clang-format --dry-run --Werror

# The compile commands are those of the 64-bit build; clang takes GCC's standard library, and its own
# compiler headers.
cmake --preset win64 -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >/dev/null
cmake --build --preset win64 --target sdk_headers -- --quiet
standard_library=$(x86_64-w64-mingw32-g++-posix -E -x c++ -v /dev/null 2>&1 >/dev/null |
  sed -n '/^#include </,/^End/s/^ \(.*c++.*\)/-isystem \1/p')
flags=(--target=x86_64-w64-mingw32 -nostdinc -nostdinc++ $standard_library
  -isystem "$(clang++ -print-resource-dir)/include" -isystem /usr/x86_64-w64-mingw32/include)
sources=$(find . -name build -prune -o -name '*.cpp' -print)
includes=(-I. -isystem build/win64/sdk/generated -isystem build/win64/third_party -isystem /usr/src/googletest/googletest/include)
definitions=(-DUNICODE -D_UNICODE -DNOMINMAX -DWIN32_LEAN_AND_MEAN -D_WIN32_WINNT=0x0601 '-DTV_TEST_MEDIA=""' '-DTV_TEST_SAMPLES=""'
  '-DTV_BIN_DIR=""' '-DTV_VERSION=""')
warnings=(-std=c++20 -Wall -Wextra -Wpedantic -Wconversion -Werror)

echo '== the folders'
tools/check-folders.sh

echo '== clang'
printf '%s\n' $sources | xargs -P "$(nproc)" -n 1 clang++ "${flags[@]}" "${definitions[@]}" "${includes[@]}" "${warnings[@]}" -fsyntax-only

if [ "${1:-}" = --tidy ]; then
  echo '== clang-tidy'
  extra=()
  for flag in "${flags[@]}" "${definitions[@]}" "${includes[@]}" -std=c++20; do extra+=("$flag"); done
  printf '%s\n' $sources | xargs -P "$(nproc)" -I{} clang-tidy --quiet --warnings-as-errors='*' {} -- "${extra[@]}"
fi
echo 'lint: nothing found'
