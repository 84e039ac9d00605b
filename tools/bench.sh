#!/usr/bin/env bash
# Times the filter against the platform's stock file source and bare ReadFile, and over http, from a server of its own on
# the loopback interface, against bare WinHTTP calls; prints tables and which goals were reached. Takes about a minute,
# and 256 MiB of the temporary folder while it runs.
#
# Fails when a goal was missed. Figures mean most on a machine that does nothing else.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh

echo '== Building'
mkdir -p build
cmake --preset win64 >build/win64.configure.log || {
  cat build/win64.configure.log
  exit 1
}
NINJA_STATUS='' cmake --build --preset win64 --target tvbench -- --quiet
# A platform that stops answering must not keep a machine busy for good.
exec timeout 300 build/win64/wine.sh build/win64/bin/tvbench.exe
