#!/usr/bin/env bash
# Every link of the documents that are packed leads to something that is packed with them.
#
#   documents_test.sh BUILD   the build tree that is installed from
set -euo pipefail
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
for component in documents sdk; do
  cmake --install "$build" --prefix "$work/$component" --component $component >/dev/null
  links=0
  while IFS=: read -r file link; do
    links=$((links + 1))
    [ -e "$(dirname "$file")/${link%%#*}" ] || { echo "$component: ${file#"$work"/} leads to $link" >&2; failed=1; }
  done < <(grep -roE --include='*.md' '\]\([^)]+\)' "$work/$component" | sed -E 's/\]\((.*)\)$/\1/' | grep -vE ':(https?:|#)')
  [ $links -ge 10 ] || { echo "$component: only $links links were found" >&2; failed=1; }
done
exit $failed
