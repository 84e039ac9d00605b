#!/usr/bin/env bash
# Installs what the build and the tests need on Debian 12. Safe to run again: it installs only what is missing.
#
#   tools/setup.sh          compilers, Wine, test and media packages, a small web server, a virtual screen, Wine's 32-bit DLLs
#   tools/setup.sh --lint   the same, and the formatter and the linter
#   tools/setup.sh --coverage   the same as the first, and what counts covered lines
#   tools/setup.sh --fuzz   the same as the first, and clang with its sanitizers and libFuzzer (tools/tsan.sh needs it, too)
#   tools/setup.sh --bench  the same as the first, and what the benchmark over links serves, makes and compares with
#   tools/setup.sh --package   the same as the first, and what releases are built and packed with
#
# 32-bit programs run in Wine's own WoW64 mode, which needs the DLLs of Debian's libwine:i386 but not its dependencies
# (those often cannot be installed beside newer 64-bit libraries). They are unpacked into build/wine32. Where that fails, the
# reason is left in build/wine32.failed and the 32-bit tests are reported as skipped.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(
  cmake ninja-build
  g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix mingw-w64-tools
  wine wine64 libwine-dev
  libboost-dev libcli11-dev nlohmann-json3-dev googletest
  gstreamer1.0-plugins-base gstreamer1.0-plugins-good libgstreamer-plugins-base1.0-0
  busybox xvfb
)
case "${1:-}" in
  --lint) packages+=(clang clang-format clang-tidy git) ;;
  --coverage) packages+=(gcovr) ;;
  --fuzz) packages+=(clang libclang-rt-dev) ;;
  --package) packages+=(clang faketime git lld llvm nsis openssl osslsigncode unzip zip) ;;
  --bench) packages+=(python3 curl ffmpeg gstreamer1.0-tools) ;;
esac

# No package may ask questions: its output isn't shown.
as_root=(env DEBIAN_FRONTEND=noninteractive)
[ "$(id -u)" -eq 0 ] || as_root=(sudo "${as_root[@]}")

missing=()
for package in "${packages[@]}"; do
  [ "$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null)" = 'install ok installed' ] || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
  printf 'Installing: %s\n' "${missing[*]}"
  # An index that can't be had (a mirror in the middle of a sync) need not matter: the installation itself decides.
  "${as_root[@]}" apt-get update -qq || true
  "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

mkdir -p build
wine32=build/wine32
if [ ! -e "$wine32/complete" ]; then
  rm -rf "$wine32" build/wine32.failed
  download=$(mktemp -d)
  trap 'rm -rf "$download"' EXIT
  fetch_wine32() {
    "${as_root[@]}" dpkg --add-architecture i386 &&
      { "${as_root[@]}" apt-get update -qq || true; } &&
      (cd "$download" && apt-get download -qq libwine:i386) &&
      dpkg-deb -x "$download"/libwine_*_i386.deb "$wine32"
  }
  if fetch_wine32 >"$download/log" 2>&1; then
    touch "$wine32/complete"
  else
    rm -rf "$wine32"
    { printf "Wine's 32-bit DLLs could not be had: "; tail -n 1 "$download/log"; } >build/wine32.failed
    cat build/wine32.failed >&2
  fi
fi
