#!/usr/bin/env bash
# Makes everything that a release has, in build/package: the installer, the archives and their checksums.
#
#   tools/package.sh            builds both bitnesses from the files as they are here
#   tools/package.sh --test     and tries what is packed: headers, symbols, SDK and signatures, and the installer and the archives in a
#                               Wine prefix of their own
#   tools/package.sh --compare  and does it once more from a copy elsewhere, and fails where a byte differs
#
# TV_SIGN is a command that signs (tools/sign.sh). Signatures have times, so what is signed can't be compared.
#
# TV_DOWNLOAD is the URL of the folder that the installer will be published in, for winget's manifests (tools/winget.sh).
#
# Two packagings of the same commit are the same, byte for byte: times are the commit's (or SOURCE_DATE_EPOCH), names are
# sorted, and no path of this machine is in any file, which is checked.
set -euo pipefail
cd "$(dirname "$0")/.."
tests= compares=
for option in "$@"; do
  case $option in
    --test) tests=yes ;;
    --compare) compares=yes ;;
    *) echo "package: unknown option $option" >&2; exit 2 ;;
  esac
done
[ -z "$compares" ] || [ -z "${TV_SIGN:-}" ] || { echo 'package: what is signed (TV_SIGN) is not compared' >&2; exit 2; }
tools/setup.sh --package

version=$(sed -nE 's/^project\(TavelFileSource VERSION ([0-9.]+) .*/\1/p' CMakeLists.txt)
[ -n "$version" ] || { echo 'package: CMakeLists.txt has no version' >&2; exit 1; }
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)} || { echo 'package: there is no commit here whose time counts; set SOURCE_DATE_EPOCH' >&2; exit 1; }
if ! changes=$(git status --porcelain 2>/dev/null) || [ -n "$changes" ]; then
  echo 'package: these are not the files of a commit' >&2
  # Nobody could make such a release again.
  [ -z "$changes" ] || [ -z "${TV_SIGN:-}${TV_DOWNLOAD:-}" ] || exit 1
fi
export SOURCE_DATE_EPOCH TZ=UTC LC_ALL=C
umask 022
# What compilers would take from whoever runs this.
unset CMAKE_C_COMPILER_LAUNCHER CMAKE_CXX_COMPILER_LAUNCHER LIBRARY_PATH CPATH C_INCLUDE_PATH CPLUS_INCLUDE_PATH CFLAGS CXXFLAGS LDFLAGS RCFLAGS ZIP ZIPOPT NSISDIR NSISCONFDIR

out=$PWD/build/package
stage=$out/stage
rm -rf "$out"
mkdir -p "$stage"
name=TavelFileSource-$version

tree() { [ "$1" = x64 ] && echo build/release-win64 || echo build/release-win32; }
put() {  # put ARCH COMPONENT FOLDER: what installer/CMakeLists.txt installs of it
  DESTDIR='' cmake --install "$(tree "$1")" --component "$2" --prefix "$3" >/dev/null
}

# Every preset's files, each kind in a folder of its own.
for arch in x64 x86; do
  preset=$(basename "$(tree $arch)")
  echo "== Building $preset"
  # Nothing that somebody has set in this tree before counts.
  cmake --fresh --preset "$preset" -DTV_WARNINGS_AS_ERRORS=ON >"build/$preset.configure.log" || { cat "build/$preset.configure.log"; exit 1; }
  # Objects of another run may have its command line in their symbols.
  NINJA_STATUS='' cmake --build --preset "$preset" --clean-first --target shipped sdk_headers sdk_{TvFileSourceAsync,TKRuntimeLogger,TKDataServices}_tlb -- --quiet
  put $arch binaries "$stage/$arch"
  put $arch symbols "$stage/symbols/$arch"
  for binary in "$stage/$arch"/*.dll "$stage/$arch"/*.exe; do
    tools/sign.sh "$binary"
    grep -q "Put $arch $(basename "$binary")\$" installer/TavelFileSource.nsi || { echo "package: the installer lacks $binary" >&2; exit 1; }
  done
  mkdir -p "$stage/portable/$name-$arch"
  cp "$stage/$arch"/* "$stage/portable/$name-$arch"
  put $arch portable "$stage/portable/$name-$arch"
  put $arch documents "$stage/portable/$name-$arch"
done
# The same of both.
put x64 documents "$stage/documents"
put x64 sdk "$stage/sdk/$name-sdk"

# What is built in from others.
tools/notices.sh --spdx "$version" >"$out/$name.spdx"
for folder in "$stage"/portable/*; do
  tools/notices.sh >"$folder/third-party.txt"
done
tools/notices.sh --installer >"$stage/documents/third-party.txt"

echo '== Checking'
# Paths of this machine.
names_of() {  # names_of FOLDER: as bytes and as UTF-16, as patterns, one a line
  printf %s "${1%/}" | od -An -v -tx1 | tr -d '\n' | sed 's/ \(..\)/\\x\1/g; s/$/(?![A-Za-z0-9_.-])/'
  echo
  printf %s "${1%/}" | od -An -v -tx1 | tr -d '\n' | sed 's/ \(..\)/\\x\1\\x00/g; s/$/(?![A-Za-z0-9_.-]\\x00)/'
}
for place in "$PWD" "${HOME:-}"; do
  [ "${place%/}" ] || continue
  for pattern in $(names_of "$place"); do
    code=0
    grep -rlaP "$pattern" "$stage" "$out/$name.spdx" || code=$?
    [ $code -eq 1 ] || { echo "package: these have $place in them, or can't be read" >&2; exit 1; }
  done
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

options=()
[ -z "${TV_SIGN:-}" ] || options+=("-DSIGN=$PWD/tools/sign.sh")
for licence in "$stage"/documents/{LICENSE,COPYING}*; do
  [ ! -e "$licence" ] || { options+=("-DLICENCE=$licence"); break; }
done
take() {  # take COMMAND TYPE: for each document of that type, the innermost first
  (cd "$stage/documents" && find . -mindepth 1 -type "$2" -printf '%P\n') | sort -r | sed 's|/|\\|g; s|.*|'"$1"'&"|'
}
make_installer() {  # make_installer VERSION FILE
  # It takes away exactly the documents that it has put.
  { take '!insertmacro TakeDocument "' f; take 'RMDir "$INSTDIR\\documents\\' d; } >"$stage/documents.nsh"
  makensis -NOCONFIG -V2 -NOCD "-DVERSION=$1" "-DSTAGE=$stage" "-DOUTPUT=$2" "${options[@]}" installer/TavelFileSource.nsi
}
make_installer "$version" "$out/$name-setup.exe"
tools/sign.sh "$out/$name-setup.exe"
# Not beside what is published.
former=$PWD/build/former-setup.exe
if [ -n "$tests" ]; then
  echo 'A document that the newer version lacks.' >"$stage/documents/docs/former.md"
  make_installer 0.0.1 "$former"
fi

rm -rf "$stage"
tools/winget.sh "$version" "$out/$name-setup.exe" "$out/winget"
(cd "$out" && sha256sum -- *.exe *.spdx *.zip >SHA256SUMS && cat SHA256SUMS)

if [ -n "$tests" ]; then
  echo '== Testing'
  work=$(mktemp -d)
  keeper=
  trap 'rm -rf "$work"; kill $keeper 2>/dev/null || true' EXIT
  tried=(x64 x86)
  if [ -e build/wine32.failed ]; then
    printf 'package: not tried, neither the installer nor what is of 32 bits: %s\n' "$(cat build/wine32.failed)" >&2
    tried=(x64)
  fi
  for arch in "${tried[@]}"; do
    preset=$(basename "$(tree $arch)")
    NINJA_STATUS='' cmake --build --preset "$preset" --target package_tests -- --quiet
    "build/$preset/wine-tests.sh" --new-prefix cmd.exe /c exit </dev/null >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
    # As in tools/test.sh: services keep the output of whoever starts them open.
    timeout 1000 "build/$preset/wine-tests.sh" explorer.exe </dev/null >/dev/null 2>&1 &
    keeper=$!
    "build/$preset/wine-tests.sh" cmd.exe /c exit </dev/null >/dev/null 2>&1
    ctest --preset "$preset" --no-tests=error -L package_tests
    kill $keeper || true
    # What is packed is what was tested. What is signed has other bytes.
    unzip -qj "$out/$name-$arch.zip" '*.dll' '*.exe' -d "$work/$arch"
    unzip -qj "$out/$name-symbols.zip" "$arch/*" -d "$work/$arch"
    for file in "$work/$arch"/*; do
      [[ -n ${TV_SIGN:-} && $file != *.pdb ]] || cmp "$file" "build/$preset/bin/$(basename "$file")"
    done
  done
  bash tests/package/spdx_test.sh "$version" "$out/$name.spdx"
  bash tests/package/winget_test.sh "$version" "$out/$name-setup.exe" "$out/winget"
  (cd "$out" && sha256sum --check --quiet SHA256SUMS)
  [ -e build/wine32.failed ] ||
    bash tests/package/installer_test.sh build/release-win64/wine-installer.sh "$out/$name-setup.exe" "$former" tests/media/tone.wav "$out/$name-x64.zip" "$out/$name-x86.zip"
fi
if [ -n "$compares" ]; then
  elsewhere=$(mktemp -d)
  trap 'rm -rf "${work:-}" "$elsewhere"' EXIT
  git ls-files -z | xargs -0 cp --parents -t "$elsewhere"
  # What setup.sh would fetch again, and nothing of which is packed.
  mkdir "$elsewhere/build"
  [ ! -e build/wine32 ] || ln -s "$PWD/build/wine32" "$elsewhere/build/wine32"
  # By somebody else, with other habits.
  (cd "$elsewhere" && umask 077 && env -i "PATH=$PATH" "HOME=$elsewhere" TZ=Asia/Tokyo LANG=C.UTF-8 ${TV_DOWNLOAD:+"TV_DOWNLOAD=$TV_DOWNLOAD"} "SOURCE_DATE_EPOCH=$SOURCE_DATE_EPOCH" tools/package.sh >log) ||
    { cat "$elsewhere/log"; exit 1; }
  diff "$out/SHA256SUMS" "$elsewhere/build/package/SHA256SUMS" && diff -r "$out/winget" "$elsewhere/build/package/winget" || { echo 'package: two packagings differ' >&2; exit 1; }
  echo 'Two packagings are the same, byte for byte.'
fi
