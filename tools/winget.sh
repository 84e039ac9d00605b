#!/usr/bin/env bash
# Makes the manifests by which winget finds, checks and installs a release.
#
#   tools/winget.sh VERSION SETUP FOLDER   SETUP: the installer, as it is published; FOLDER: where they go
#
# The environment variable TV_DOWNLOAD is the URL of the folder that the installer is published in. Without it a host is named
# that nobody can have, so that such a manifest does no harm. The day is that of SOURCE_DATE_EPOCH, or today.
set -euo pipefail
version=$1 setup=$2 folder=$3
templates=$(cd "$(dirname "$0")/../installer/winget" && pwd)
url=${TV_DOWNLOAD:-https://download.invalid/$version}
url=${url%/}/$(basename "$setup")
[[ $url =~ ^https?://[A-Za-z0-9._~:/%@+-]+$ ]] || { echo "winget: $url is no URL to download from" >&2; exit 1; }
sha256=$(sha256sum <"$setup" | cut -c1-64)
date=$(date -u -d "@${SOURCE_DATE_EPOCH:-$(date +%s)}" +%Y-%m-%d)
mkdir -p "$folder"
for template in "$templates"/*.yaml.in; do
  sed -e "s|@VERSION@|$version|g" -e "s|@URL@|$url|g" -e "s|@SHA256@|${sha256^^}|g" -e "s|@DATE@|$date|g" "$template" >"$folder/$(basename "$template" .in)"
done
