#!/usr/bin/env bash
# A DLL, a program, the installer and its uninstaller can be signed as a release's are, here with a certificate that is made
# for the test: the signatures are good, the program still runs, and what isn't signed is noticed.
#
#   signing_test.sh WINE DLL PROGRAM
set -euo pipefail
for tool in osslsigncode openssl makensis; do
  command -v $tool >/dev/null || { echo "there is no $tool"; exit 77; }
done
wine=$1 dll=$2 program=$3
cd "$(dirname "$0")/../.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
fail() { echo "FAILED: $*" >&2; failed=1; }
openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj '/CN=Made for a test' -addext extendedKeyUsage=codeSigning \
  -addext keyUsage=digitalSignature -keyout "$work/key" -out "$work/certificate" 2>/dev/null
is_good() { osslsigncode verify -CAfile "$work/certificate" -in "$1" >"$work/log" 2>&1; }
# A copy of all that was signed is kept.
cat >"$work/sign" <<'END_OF_SIGN'
#!/usr/bin/env bash
set -e
cd "$(dirname "$0")"
osslsigncode sign -h sha256 -n "$1" -certs certificate -key key -in "$2" -out new >/dev/null
mv new "$2"
cp "$2" "signed-$(basename "$2")"
END_OF_SIGN
chmod +x "$work/sign"
export TV_SIGN="'$work/sign' 'Tavel File Source'"

mkdir "$work/a folder"
for file in "$dll" "$program"; do
  copy="$work/a folder/$(basename "$file")"
  cp "$file" "$copy"
  TV_SIGN='' tools/sign.sh "$copy"
  cmp -s "$file" "$copy" || fail "without TV_SIGN $file is changed"
  ! TV_SIGN=true tools/sign.sh "$copy" 2>/dev/null || fail "nobody notices that $file isn't signed"
  ! TV_SIGN=false tools/sign.sh "$copy" 2>/dev/null || fail "nobody notices that signing $file fails"
  tools/sign.sh "$copy" || fail "$file can't be signed"
  is_good "$copy" || { fail "the signature of $file isn't good"; cat "$work/log" >&2; }
  # One byte: the signature is of this very file.
  cp "$copy" "$work/changed"
  printf '\x5a' | dd of="$work/changed" bs=1 seek=5000 conv=notrunc status=none
  ! cmp -s "$copy" "$work/changed" || fail 'nothing was changed'
  ! is_good "$work/changed" || fail "a changed $file is still good"
done
version=$("$wine" "$program" --version)
[ -n "$version" ] && [ "$("$wine" "$work/a folder/$(basename "$program")" --version)" = "$version" ] || fail 'the signed program does not run'

# The installer, with something small in place of what it installs.
for arch in x64 x86; do
  mkdir -p "$work/stage/$arch" "$work/stage/documents"
  for name in TvFileSourceAsync.dll TvMetadata.dll TvDataServices.dll TKRuntimeLogger.exe tvsource.exe; do
    echo small >"$work/stage/$arch/$name"
  done
  echo small >"$work/stage/documents/small.md"
done
: >"$work/stage/documents.nsh"
rm "$work"/signed-*
makensis -V1 -NOCD -DVERSION=1.2.3 "-DSTAGE=$work/stage" "-DOUTPUT=$work/setup.exe" "-DSIGN=$PWD/tools/sign.sh" installer/TavelFileSource.nsi >"$work/log" ||
  { fail 'the installer is not made'; cat "$work/log" >&2; }
set -- "$work"/signed-*
[ $# -eq 1 ] && is_good "$1" || fail 'the uninstaller is not signed'
tools/sign.sh "$work/setup.exe"
is_good "$work/setup.exe" || fail "the installer's signature isn't good"
[ $failed -eq 0 ] && echo 'signing: libraries, programs, installer and uninstaller'
exit $failed
