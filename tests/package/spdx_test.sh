#!/usr/bin/env bash
# The list of what is built in has every field that SPDX 2.3 requires, in the form that it requires, and each package of
# cmake/third-party.txt as it is installed here.
#
#   spdx_test.sh VERSION        makes the list and checks it; skipped (77) where a package is missing
#   spdx_test.sh VERSION FILE   checks this one
set -euo pipefail
version=$1 file=${2:-}
root=$(cd "$(dirname "$0")/../.." && pwd)
if [ -z "$file" ]; then
  dpkg-query -W nsis >/dev/null 2>&1 || { echo 'nsis is not installed'; exit 77; }
  file=$(mktemp)
  trap 'rm -f "$file"' EXIT
  SOURCE_DATE_EPOCH=1000000000 "$root/tools/notices.sh" --spdx "$version" >"$file"
  grep -qx 'Created: 2001-09-09T01:46:40Z' "$file" || { echo 'FAILED: it has another time'; exit 1; }
fi
awk -v product="$version" '
  function fail(what) { print "FAILED: line " NR ": " what; bad = 1 }
  function need(list,   names, i, n) {  # one of each in this section
    n = split(list, names, " ")
    for (i = 1; i <= n; ++i)
      if (has[names[i]] != 1) fail(section " has " has[names[i]] + 0 " fields " names[i])
    delete has
  }
  function close_section() {
    if (section == "document") need("SPDXVersion DataLicense SPDXID DocumentName DocumentNamespace Creator Created")
    else need("PackageName SPDXID PackageVersion PackageDownloadLocation FilesAnalyzed PackageLicenseConcluded PackageLicenseDeclared PackageCopyrightText")
  }
  function licence(text,   i, n, words) {
    if (text == "NOASSERTION" && section == "Tavel File Source") return 1
    n = split(text, words, " ")
    for (i = 1; i <= n; ++i)
      if (i % 2 == 0 ? words[i] !~ /^(AND|OR|WITH)$/ : words[i] !~ /^[A-Za-z0-9]+([.-][A-Za-z0-9]+)*$/) return 0
    return n % 2
  }
  BEGIN { section = "document" }
  /^$/ { next }
  !/^[A-Za-z]+: [^ ].*$/ { fail("no field: " $0); next }
  { tag = $1; sub(/:$/, "", tag); value = substr($0, length($1) + 2) }
  tag == "PackageName" { close_section(); section = value }
  tag == "Relationship" { from[NR] = $2; kind[NR] = $3; to[NR] = $4; next }
  { ++has[tag] }
  tag == "SPDXID" { if (value !~ /^SPDXRef-[A-Za-z0-9.-]+$/ || ++ids[value] > 1) fail("not an identifier of its own: " value) }
  tag == "SPDXVersion" && value != "SPDX-2.3" || tag == "DataLicense" && value != "CC0-1.0" { fail(value) }
  tag == "DocumentNamespace" && (value !~ /^[a-z]+:[^ #]+$/ || !index(value, product)) { fail(value) }
  tag == "Creator" && value !~ /^(Person|Organization|Tool): ./ { fail(value) }
  tag == "Created" && (value !~ /^[0-9-]+T[0-9:]+Z$/ || length(value) != 20) { fail(value) }
  tag == "FilesAnalyzed" && value != "false" { fail(value) }
  tag ~ /^PackageLicense/ && !licence(value) { fail("no expression of licences: " value) }
  END {
    close_section()
    for (i in from) {
      if (!(from[i] in ids) || !(to[i] in ids)) fail("relates what is not there: " from[i] " " to[i])
      ++kinds[kind[i]]
      ++parts[to[i]]
    }
    if (kinds["DESCRIBES"] != 1) fail("what is described?")
    for (id in ids) if (id != "SPDXRef-DOCUMENT" && parts[id] != 1) fail(id " is part of nothing")
    exit bad
  }' "$file"
while IFS='|' read -r package name licence _; do
  for field in "PackageName: $name" "PackageVersion: $(dpkg-query -W -f '${Version}' "$package")" "PackageLicenseConcluded: $licence"; do
    [ -n "$(grep -B 1 -A 6 -xF "SPDXID: SPDXRef-$package" "$file" | grep -xF "$field")" ] || { echo "FAILED: $package has no $field"; exit 1; }
  done
done <"$root/cmake/third-party.txt"
# What our code includes of others is on that list.
libraries=$(sed -nE 's/^foreach\(library (.*)\)$/\1/p' "$root/cmake/ProductOptions.cmake")
[ -n "$libraries" ] || { echo 'FAILED: no library is linked'; exit 1; }
for library in $libraries; do
  package=$(dpkg-query -S "/usr/include/$library" | sed 's/[:,].*//')
  grep -q "^$package|" "$root/cmake/third-party.txt" || { echo "FAILED: $library of $package is not in cmake/third-party.txt"; exit 1; }
done
grep -qxF "PackageVersion: $version" "$file"
