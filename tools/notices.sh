#!/usr/bin/env bash
# Prints what the binaries have in them from others, with versions and licences as Debian's packages have them
# (cmake/third-party.txt: package, name, and the licence as SPDX calls it).
#
#   tools/notices.sh          for people, with the licences' texts
#   tools/notices.sh --spdx   as packages of an SPDX document, parts of SPDXRef-product
set -euo pipefail
cd "$(dirname "$0")/.."
while IFS='|' read -r package name licence; do
  version=$(dpkg-query -W -f '${Version}' "$package")
  if [ "${1:-}" = --spdx ]; then
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
  printf '\n\n'
done <cmake/third-party.txt
