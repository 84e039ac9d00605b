#!/usr/bin/env bash
# The manifests for winget have what the schema of their version (1.6.0) requires, in the form that it requires, fit each other,
# the installer and what it writes into the registry.
#
#   winget_test.sh VERSION                makes them for a file of the test's and checks them
#   winget_test.sh VERSION SETUP FOLDER   checks those in FOLDER, for the installer SETUP
set -euo pipefail
version=$1 setup=${2:-} folder=${3:-}
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
fail() { echo "FAILED: $*" >&2; failed=1; }
if [ -z "$setup" ]; then
  setup=$work/TavelFileSource-$version-setup.exe folder=$work/winget
  echo installer >"$setup"
  ! TV_DOWNLOAD='ftp://host/' "$root/tools/winget.sh" "$version" "$setup" "$folder" 2>/dev/null || fail 'a URL that winget does not take is taken'
  TV_DOWNLOAD=https://example.com/files/ "$root/tools/winget.sh" "$version" "$setup" "$folder"
  grep -qx "    InstallerUrl: https://example.com/files/$(basename "$setup")" "$folder/Tavel.FileSource.installer.yaml" || fail 'the URL is another one'
fi

# values FILE FIELD: what it has, one a line, without the indentation of lists.
values() { sed -nE "s/^( *|  - )$2: +(.*)\$/\\2/p" "$folder/$1"; }
# has FILE FIELD COUNT PATTERN: so many, each of which is wholly this.
has() {
  local found
  found=$(values "$1" "$2")
  [ "$(grep -c . <<<"$found")" -eq "$3" ] && ! grep -qvxE -- "$4" <<<"$found" || fail "$1: $2 is '$found'"
}
number='(0|[1-9][0-9]{0,4})'
locale='[a-zA-Z]{2,3}(-[a-zA-Z]{1,8})*'
id=Tavel.FileSource
for file in "$id.yaml" "$id.locale.en-US.yaml" "$id.installer.yaml"; do
  [ -s "$folder/$file" ] || { fail "$file is not there"; continue; }
  has "$file" PackageIdentifier 1 "${id/./\\.}"
  has "$file" PackageVersion 1 "${version//./\\.}"
  has "$file" ManifestVersion 1 '1\.6\.0'
  ! grep -nE '@|	|[[:space:]]$' "$folder/$file" || fail "$file has what no manifest has"
done
[ "$(ls "$folder" | wc -l)" -eq 3 ] || fail "other files than these: $(ls "$folder")"
[[ $version =~ ^$number(\.$number){1,3}$ ]] || fail "$version"

has $id.yaml ManifestType 1 version
has $id.yaml DefaultLocale 1 "$locale"

file=$id.locale.$(values $id.yaml DefaultLocale).yaml
has "$file" ManifestType 1 defaultLocale
has "$file" PackageLocale 1 "$(values $id.yaml DefaultLocale)"
has "$file" Publisher 1 '.{2,256}'
has "$file" PackageName 1 '.{2,256}'
has "$file" License 1 '.{3,512}'
has "$file" ShortDescription 1 '.{3,256}'

file=$id.installer.yaml
has $file ManifestType 1 installer
has $file InstallerType 1 nullsoft
has $file Scope 1 machine
has $file ElevationRequirement 1 'elevationRequired|elevationProhibited|elevatesSelf'
has $file UpgradeBehavior 1 'install|uninstallPrevious|deny'
has $file Architecture 2 'x64|x86'
[ "$(values $file Architecture | sort -u | wc -l)" -eq 2 ] || fail 'an architecture is named twice'
has $file InstallerUrl 2 "https?://.+/$(basename "$setup")"
has $file InstallerSha256 2 "$(sha256sum <"$setup" | cut -c1-64 | tr a-f A-F)"
has $file ReleaseDate 1 '20[0-9]{2}-[01][0-9]-[0-3][0-9]'
# Each exit code that the installer has of its own is told what it means.
for code in 1 $(sed -nE 's/^!define (RESTART_REQUIRED|NEWER_IS_THERE|ALREADY_RUNNING|NOT_ADMINISTRATOR) //p' "$root/installer/TavelFileSource.nsi"); do
  [ -n "$(values $file InstallerReturnCode | grep -x "$code")" ] || fail "the exit code $code is not in $file"
  grep -q "^| $code | " "$root/docs/releasing.md" || fail "docs/releasing.md doesn't tell of the exit code $code"
done

responses='installInProgress|cancelledByUser|downgrade|rebootRequiredToFinish|custom'
has $file ReturnResponse "$(values $file InstallerReturnCode | wc -l)" "$responses"

# The entry among the installed programs is found by these.
installer() { sed -nE "s/^!define $1 \"(.*)\"\$/\\1/p" "$root/installer/TavelFileSource.nsi"; }
entry=$(installer ARP)
has $file ProductCode 1 "${entry##*\\}"
has "$id.locale.en-US.yaml" PackageName 1 "$(installer PRODUCT)"
grep -q "ARP}\" Publisher \"$(values $id.locale.en-US.yaml Publisher)\"" "$root/installer/TavelFileSource.nsi" || fail 'the installer has another publisher'
exit $failed
