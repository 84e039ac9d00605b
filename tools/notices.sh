#!/usr/bin/env bash
# Prints what is built in from others, with versions and licences as Debian's packages have them (cmake/third-party.txt: package, name,
# the licence as SPDX calls it, and where it is built in: the binaries, or the installer alone).
#
#   tools/notices.sh                  what the binaries have, for people, with the licences' texts
#   tools/notices.sh --installer      the same of the installer, with what it installs
#   tools/notices.sh --spdx VERSION   all of it as an SPDX document, made at SOURCE_DATE_EPOCH
set -euo pipefail
cd "$(dirname "$0")/.."
form=${1:-}
if [ "$form" = --spdx ]; then
  version=$2
  cat <<END
SPDXVersion: SPDX-2.3
DataLicense: CC0-1.0
SPDXID: SPDXRef-DOCUMENT
DocumentName: TavelFileSource-$version
DocumentNamespace: urn:tavel:TavelFileSource-$version:$SOURCE_DATE_EPOCH
Creator: Organization: Tavel
Created: $(date -u -d "@$SOURCE_DATE_EPOCH" +%Y-%m-%dT%H:%M:%SZ)

PackageName: Tavel File Source
SPDXID: SPDXRef-product
PackageVersion: $version
PackageDownloadLocation: NOASSERTION
FilesAnalyzed: false
PackageLicenseConcluded: NOASSERTION
PackageLicenseDeclared: NOASSERTION
PackageCopyrightText: NOASSERTION
Relationship: SPDXRef-DOCUMENT DESCRIBES SPDXRef-product
END
fi
while IFS='|' read -r package name licence place; do
  [ "$place" = binaries ] || [ -n "$form" ] || continue
  version=$(dpkg-query -W -f '${Version}' "$package")
  if [ "$form" = --spdx ]; then
    printf '\nPackageName: %s\nSPDXID: SPDXRef-%s\nPackageVersion: %s\nPackageDownloadLocation: NOASSERTION\nFilesAnalyzed: false\n' "$name" "$package" "$version"
    printf 'PackageLicenseConcluded: %s\nPackageLicenseDeclared: %s\nPackageCopyrightText: NOASSERTION\n' "$licence" "$licence"
    printf 'Relationship: SPDXRef-product CONTAINS SPDXRef-%s\n' "$package"
    continue
  fi
  printf '%s %s\n%s\n%s\n\n' "$name" "$version" "$licence" '------------------------------------------------------------'
  text=/usr/share/doc/$package/copyright
  if [ "$licence" = BSL-1.0 ]; then
    # Debian's file lists two megabytes of holders; one text is the licence of them all.
    awk '/^ Boost Software License - Version 1.0/ { on = 1 } on { print } on && /DEALINGS IN THE SOFTWARE/ { exit }' "$text"
  else
    cat "$text"
  fi | sed -E 's/^ \.$//; s/^ //'
  # Debian's files name this one, which only a Debian has.
  [[ $licence != GPL-3* ]] || { echo; cat /usr/share/common-licenses/GPL-3; }
  printf '\n\n'
done <cmake/third-party.txt
