#!/usr/bin/env bash
# The SDK, installed into an empty folder, is all that its samples need: they are built there, by GCC and, where it is
# installed, by clang, and do what they say.
#
#   sdk_test.sh BUILD VERSION PROCESSOR WINE FILTER WAVE
#
# BUILD: the build tree that is installed from; PROCESSOR: x86_64 or i686; WINE: what runs programs; FILTER: the filter's DLL;
# WAVE: a file to read.
set -euo pipefail
build=$1 version=$2 processor=$3 wine=$4 filter=$5 wave=$6
sources=$(cd "$(dirname "$0")/../.." && pwd)
toolchains=$sources/cmake
work="$(mktemp -d)/with a blank"
mkdir "$work"
layer='HKLM\Software\Classes\CLSID\{8DEF38CF-43CC-44C3-A8D8-A69395CE9022}'
view=/reg:64
[ "$processor" = x86_64 ] || view=/reg:32
clean_up() {
  "$wine" reg delete "$layer" /f $view >/dev/null 2>&1 || true
  rm -rf "$(dirname "$work")"
}
trap clean_up EXIT
failed=0
# expect PROGRAM ARGUMENT... <<<OUTPUT: it succeeds and says exactly this.
expect() {
  local said code=0
  said=$("$wine" "$@" 2>&1 </dev/null | tr -d '\r') || code=$?
  [ "$said" = "$(cat)" ] && [ $code -eq 0 ] || { printf 'exit code %d of %s, which said:\n%s\n' "$code" "$*" "$said" >&2; failed=1; }
}

cmake --install "$build" --prefix "$work/sdk" --component sdk >/dev/null
needed=(include/TvMetadata.h include/TavelVersion.h README.md)
for idl in "$sources"/sdk/*.idl; do
  name=$(basename "$idl" .idl)
  needed+=("idl/$name.idl" "include/$name.h" "typelib/${name}32.tlb" "typelib/${name}64.tlb")
done
for file in "${needed[@]}"; do
  [ -s "$work/sdk/$file" ] || { echo "$file is missing" >&2; failed=1; }
done

# Its own version is found, a later one is not.
for asked in "$version EXACT" 99.0; do
  printf 'cmake_minimum_required(VERSION 3.25)\nproject(Version LANGUAGES CXX)\nfind_package(TavelFileSource %s)\nfile(WRITE found "${TavelFileSource_FOUND}")\n' "$asked" >"$work/CMakeLists.txt"
  rm -rf "$work/version"
  cmake -S "$work" -B "$work/version" -G Ninja "-DCMAKE_TOOLCHAIN_FILE=$toolchains/mingw-w64-$processor.cmake" "-DTavelFileSource_DIR=$work/sdk/cmake" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
  found=$(cat "$work/found")
  case $asked in
    99.0) [ "$found" = 0 ] ;;
    *) [ "$found" = 1 ] ;;
  esac || { echo "asked for $asked, found: $found" >&2; failed=1; }
done

"$wine" regsvr32 /s "$filter"
size=$(stat -c %s "$wave")
sum=$(od -An -v -tu1 -w1 "$wave" | awk '{ sum += $1 } END { print sum }')
compilers=(mingw-w64)
if command -v clang++ >/dev/null && command -v ld.lld >/dev/null; then
  compilers+=(clang-mingw-w64)
fi
for compiler in "${compilers[@]}"; do
  bin=$work/$compiler
  { cmake -S "$work/sdk/samples" -B "$bin" -G Ninja -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_TOOLCHAIN_FILE=$toolchains/$compiler-$processor.cmake" \
      -DCMAKE_COMPILE_WARNING_AS_ERROR=ON && cmake --build "$bin"; } >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }

  expect "$bin/ReadThrough.exe" "Z:$wave" <<<"length $size"$'\n'"sum of bytes $sum"
  # A name that can't be opened is a failure that shows.
  ! "$wine" "$bin/ReadThrough.exe" "Z:$wave.gone" 2>/dev/null || { echo 'a missing file was read' >&2; failed=1; }

  expect "$bin/HostStream.exe" "Z:$wave" <<<"length $size"$'\n'"given up with $((size / 2)) bytes here"$'\n'"sum of bytes $sum"

  "$wine" reg add "$layer\\InprocServer32" /ve /d "Z:$bin/MemoryLayer.dll" /f $view >/dev/null
  "$wine" reg add "$layer\\InprocServer32" /v ThreadingModel /d Both /f $view >/dev/null
  # A header of 44 bytes, whose sum is 1814, and as many samples of 64 as of 192.
  expect "$bin/ReadThrough.exe" tone:440 <<<$'length 8044\nsum of bytes 1025814'
  ! "$wine" "$bin/ReadThrough.exe" tone:high 2>/dev/null || { echo 'a malformed name was opened' >&2; failed=1; }
  echo "$compiler: the samples are built and do what they say"
done
exit $failed
