#!/usr/bin/env bash
# The SDK, installed into an empty folder, is all that the program of the integration guide needs.
#
#   sdk_test.sh BUILD TOOLCHAIN VERSION PROGRAM RUN... FILE
#
# BUILD: the build tree that is installed from; PROGRAM: the source file; RUN: what is given the built program and FILE.
set -euo pipefail
build=$1 toolchain=$2 version=$3 program=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/sdk" --component sdk >/dev/null
mkdir "$work/host"
cp "$program" "$work/host/host.cpp"
cat >"$work/host/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(Host LANGUAGES CXX)
find_package(TavelFileSource $version EXACT REQUIRED)
add_executable(host host.cpp)
target_compile_features(host PRIVATE cxx_std_17)
target_compile_options(host PRIVATE -Wall -Werror)
target_link_libraries(host PRIVATE Tavel::FileSource)
target_link_options(host PRIVATE -municode -static)
END
cmake -S "$work/host" -B "$work/build" -G Ninja "-DCMAKE_TOOLCHAIN_FILE=$toolchain" "-DTavelFileSource_DIR=$work/sdk/cmake" >"$work/log" 2>&1 &&
  cmake --build "$work/build" >>"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
# Nothing that CMake takes must take a later version for this one.
sed -i "s/TavelFileSource $version EXACT/TavelFileSource 99.0/" "$work/host/CMakeLists.txt"
if cmake -S "$work/host" -B "$work/other" -G Ninja "-DCMAKE_TOOLCHAIN_FILE=$toolchain" "-DTavelFileSource_DIR=$work/sdk/cmake" >/dev/null 2>&1; then
  echo 'version 99.0 was found' >&2
  exit 1
fi
"${@:5:$#-5}" "$work/build/host.exe" "${@: -1}"
