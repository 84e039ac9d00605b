#!/usr/bin/env bash
# Makes everything that a release has, in build/package: the installer, the archives and their checksums.
#
#   tools/package.sh            builds both bitnesses from the files as they are here
#   tools/package.sh --compare  does so, then once more from a copy elsewhere, and fails where a byte differs
#   tools/package.sh --test     does so, and tries what is packed: what the binaries' headers ask for, the symbols, and the
#                               installer, in a Wine prefix of its own
#
# With TV_SIGN, a command of the shell that signs the file whose name stands behind it, in place, all DLLs and programs are signed
# before they are packed, and the installer when it is made (tools/sign.sh). Signatures have times, so nothing is compared then.
#
# TV_DOWNLOAD is the URL of the folder that the installer will be published in, for winget's manifests (tools/winget.sh).
#
# Two packagings of the same commit are the same, byte for byte: times are the commit's (or SOURCE_DATE_EPOCH), names are
# sorted, and no path of this machine is in any file, which is checked.
set -euo pipefail
cd "$(dirname "$0")/.."
[ "${1:-}" != --compare ] || [ -z "${TV_SIGN:-}" ] || { echo 'package: what is signed (TV_SIGN) is not compared' >&2; exit 2; }
tools/setup.sh --package

version=$(sed -nE 's/^project\(TavelFileSource VERSION ([0-9.]+) .*/\1/p' CMakeLists.txt)
[ -n "$version" ] || { echo 'package: CMakeLists.txt has no version' >&2; exit 1; }
export SOURCE_DATE_EPOCH="${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}"
export TZ=UTC LC_ALL=C
umask 022
# Folders of this machine's that compilers would search, and record.
unset LIBRARY_PATH CPATH C_INCLUDE_PATH CPLUS_INCLUDE_PATH

out=$PWD/build/package
stage=$out/stage
rm -rf "$out"
mkdir -p "$stage"
name=TavelFileSource-$version

bitness() { [ "$1" = x64 ] && echo 64 || echo 32; }

# Every preset's files, each kind in a folder of its own.
for arch in x64 x86; do
  preset=release-win$(bitness $arch)
  echo "== Building $preset"
  # Nothing that somebody has set in this tree before counts.
  cmake --fresh --preset "$preset" >"build/$preset.configure.log" || { cat "build/$preset.configure.log"; exit 1; }
  NINJA_STATUS='' cmake --build --preset "$preset" --target shipped sdk_headers sdk_TKRuntimeLogger_tlb -- --quiet
  put() { DESTDIR='' cmake --install "build/$preset" --prefix "$1" --component "$2" >/dev/null; }
  put "$stage/$arch" binaries
  put "$stage/symbols/$arch" symbols
  for binary in "$stage/$arch"/*.dll "$stage/$arch"/*.exe; do
    tools/sign.sh "$binary"
  done
  mkdir -p "$stage/portable/$name-$arch"
  cp "$stage/$arch"/* "$stage/portable/$name-$arch"
  put "$stage/portable/$name-$arch" portable
  put "$stage/portable/$name-$arch" documents
done
put "$stage/documents" documents
put "$stage/sdk/$name-sdk" sdk

# What is built in from others.
tools/notices.sh --spdx "$version" >"$out/$name.spdx"
for folder in "$stage"/portable/*; do
  tools/notices.sh >"$folder/third-party.txt"
done
tools/notices.sh --installer >"$stage/documents/third-party.txt"

echo '== Checking'
# A path of this machine is one that begins with a folder that only this machine has.
places=("$PWD" "${HOME%/}/")
for place in "${places[@]}"; do
  if grep -rlaF "$place" "$stage"; then
    echo "package: these have $place in them" >&2
    exit 1
  fi
done

echo '== Packing'
find "$stage" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
pack() {  # pack FILE FOLDER: what is in the folder
  (cd "$2" && find . -type f -printf '%P\n' | sort | zip -X -q -9 "$out/$1" -@)
}
for arch in x64 x86; do
  mkdir -p "$stage/archive-$arch"
  mv "$stage/portable/$name-$arch" "$stage/archive-$arch/"
  pack "$name-$arch.zip" "$stage/archive-$arch"
done
pack "$name-sdk.zip" "$stage/sdk"
pack "$name-symbols.zip" "$stage/symbols"

# The installer takes away exactly the documents that it has put.
(cd "$stage/documents" && find . -type f -printf '%P\n' | sort -r | sed 's|/|\\|g; s|.*|Delete "$INSTDIR\\documents\\&"|'
  cd "$stage/documents" && find . -mindepth 1 -type d -printf '%P\n' | sort -r | sed 's|/|\\|g; s|.*|RMDir "$INSTDIR\\documents\\&"|') >"$stage/documents.nsh"
options=()
[ -z "${TV_SIGN:-}" ] || options+=("-DSIGN=$PWD/tools/sign.sh")
for licence in "$stage"/documents/{LICENSE,COPYING}*; do
  [ ! -e "$licence" ] || options+=("-DLICENCE=$licence")
done
makensis -V2 -NOCD "-DVERSION=$version" "-DSTAGE=$stage" "-DOUTPUT=$out/$name-setup.exe" "${options[@]}" installer/TavelFileSource.nsi
tools/sign.sh "$out/$name-setup.exe"

rm -rf "$stage"
tools/winget.sh "$version" "$out/$name-setup.exe" "$out/winget"
(cd "$out" && sha256sum -- *.exe *.spdx *.zip >SHA256SUMS && cat SHA256SUMS)

if [ "${1:-}" = --test ]; then
  for arch in x64 x86; do
    tree=build/release-win$(bitness $arch)
    cmake --build "$tree" --target package_tests -- --quiet
    "$tree/wine-tests.sh" "$tree/bin/package_tests.exe" --gtest_brief=1
    bash tests/package/symbols_test.sh "$tree"/bin/{TvFileSourceAsync,TvMetadata,TvDataServices}.dll "$tree"/bin/{TKRuntimeLogger,tvsource}.exe
  done
  bash tests/package/spdx_test.sh "$version" "$out/$name.spdx"
  bash tests/package/winget_test.sh "$version" "$out/$name-setup.exe" "$out/winget"
  bash tests/package/installer_test.sh build/release-win64/wine-installer.sh "$out/$name-setup.exe" tests/media/tone.wav
fi
if [ "${1:-}" = --compare ]; then
  elsewhere=$(mktemp -d)
  trap 'rm -rf "$elsewhere"' EXIT
  git ls-files -z | xargs -0 cp --parents -t "$elsewhere"
  # What setup.sh would fetch again, and nothing of which is packed.
  mkdir "$elsewhere/build"
  [ ! -e build/wine32 ] || ln -s "$PWD/build/wine32" "$elsewhere/build/wine32"
  (cd "$elsewhere" && tools/package.sh >"$out/other.log") || { cat "$out/other.log"; exit 1; }
  diff "$out/SHA256SUMS" "$elsewhere/build/package/SHA256SUMS" && diff -r "$out/winget" "$elsewhere/build/package/winget" || { echo 'package: two packagings differ' >&2; exit 1; }
  echo 'Two packagings are the same, byte for byte.'
fi
