#!/usr/bin/env bash
# pages_test.sh WINE PROGRAM DLL PICTURE MEDIA: looks with a browser at the pictures and pages that the program makes; PICTURE prints one
# whose names are hostile. Without a browser nothing can be seen: exit code 77.
set -euo pipefail
wine=$1 program=$2 dll=$3 picture=$4 media=$5
browser=$(command -v chromium || command -v chromium-browser || command -v google-chrome) || {
  echo 'skipped: no Chromium is installed'
  exit 77
}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# look PAGE SCRIPT: shows the page with the script at its end, and expects the script's last word to be "good".
look() {
  { cat "$1"; printf '<pre id="said"></pre><script>document.getElementById("said").textContent = (() => {\n%s\n})()</script>\n' "$2"; } >"$1.test.html"
  timeout 120 "$browser" --headless --no-sandbox --disable-gpu --user-data-dir="$folder/profile" --virtual-time-budget=10000 \
    --dump-dom "file://$1.test.html" 2>"$folder/browser.log" >"$folder/dom" || { cat "$folder/browser.log"; exit 1; }
  grep -q '<pre id="said">good</pre>' "$folder/dom" || {
    echo "$1: $(sed -n '/<pre id="said">/,/<\/pre>/p' "$folder/dom")"
    exit 1
  }
}

# Each text stands inside its box, if it has one, and inside the picture; labels stand in no box and on no other label.
inside='
  const faults = [];
  const within = (one, other) => one.left >= other.left - 1 && one.right <= other.right + 1 && one.top >= other.top - 1 && one.bottom <= other.bottom + 1;
  const meet = (one, other) => one.left < other.right && other.left < one.right && one.top < other.bottom && other.top < one.bottom;
  const svgs = [...document.querySelectorAll("svg")];
  for (const svg of svgs) {
    const boxes = [...svg.querySelectorAll("rect")].map(box => box.getBoundingClientRect());
    const labels = [...svg.querySelectorAll(".link text")];
    for (const text of svg.querySelectorAll("text")) {
      const place = text.getBoundingClientRect();
      if (place.width < 5 || !within(place, svg.getBoundingClientRect())) faults.push("cut off: " + text.textContent);
      if (text.closest(".filter") && !within(place, text.closest(".filter").querySelector("rect").getBoundingClientRect())) faults.push("not in its box: " + text.textContent);
    }
    for (const label of labels)
      if (boxes.some(box => meet(box, label.getBoundingClientRect())) || labels.some(other => other !== label && meet(other.getBoundingClientRect(), label.getBoundingClientRect())))
        faults.push("covered: " + label.textContent);
  }
  if (svgs.length === 0) faults.push("no picture");
'
result='return faults.length ? faults.join("; ") : "good";'

html='<!DOCTYPE html><meta charset="utf-8"><body>'
{ echo "$html"; "$wine" "$picture" | grep -v '^<?xml'; } >"$folder/hostile.html"
look "$folder/hostile.html" "$inside $result"
name='a & b'"'"'s very long name of a source, whose title takes more room than all of the graph, 音声.avi'
mkdir "$folder/media"
cp "$media/clip.avi" "$folder/media/$name"
"$wine" "$program" graph --dll "$dll" "Z:$folder/media/$name" -o "Z:$folder/clip.svg"
{ echo "$html"; grep -v '^<?xml' "$folder/clip.svg"; } >"$folder/clip.html"
look "$folder/clip.html" "$inside $result"

# The page of a batch: what it shows of good and failed sources, and what the filter and the sorting do.
cp "$media/tone.wav" "$media/clip.mkv" "$folder/media/"
: >"$folder/media/empty.wav"
printf '%s\n' 'gone <img src=x onerror="document.title=0">&amp;.wav' >"$folder/list"
"$wine" "$program" batch --dll "$dll" --commands info,play "Z:$folder/media" "@Z:$folder/list" --report "Z:$folder/batch.html" >/dev/null 2>&1 && exit 1
look "$folder/batch.html" '
  document.querySelectorAll("details").forEach(each => each.open = true);'"$inside"'
  const expect = (what, is, wanted) => { if (is !== wanted) faults.push(what + " is " + is + ", not " + wanted); };
  const names = () => [...document.querySelectorAll("tbody")].filter(body => !body.hidden).map(body => body.querySelector("th").textContent.split("\\").pop());
  const click = text => [...document.querySelectorAll("thead button")].find(button => button.textContent === text).click();
  const type = text => { const field = document.getElementById("filter"); field.value = text; field.dispatchEvent(new Event("input")); };
  expect("summary", document.getElementById("summary").textContent, "5 sources, 2 failed");
  expect("title", document.title, "tvsource batch");
  expect("pictures in the page", document.images.length, 0);
  expect("pictures of graphs", svgs.length, 3);
  expect("hostile name", document.querySelectorAll("tbody th")[4].textContent, "gone <img src=x onerror=\"document.title=0\">&amp;.wav");
  click("Bytes");
  const bytes = () => [...document.querySelectorAll("tbody")].map(body => body.rows[0].cells[8].textContent);
  const known = () => bytes().filter(text => text).map(Number);
  expect("ascending", String(known()), String(known().sort((one, other) => one - other)));
  expect("unknown last", bytes().slice(3).join(""), "");
  click("Bytes");
  expect("descending", String(known()), String(known().sort((one, other) => other - one)));
  expect("unknown last again", bytes().slice(3).join(""), "");
  click("Source");
  expect("by name", names().pop(), "tone.wav");
  type("TONE");
  expect("filtered", String(names()), "tone.wav");
  type("is empty");
  expect("filtered by words", String(names()), "empty.wav");
  type("");
  document.getElementById("failures").click();
  expect("failures", String(names().sort()), "empty.wav,gone <img src=x onerror=\"document.title=0\">&amp;.wav");
  expect("shown", document.getElementById("shown").textContent, "2 shown");
'"$result"
