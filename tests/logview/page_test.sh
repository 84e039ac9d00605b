#!/usr/bin/env bash
# page_test.sh WINE LOG_PAGES: looks with a browser at the pages that LOG_PAGES writes. Without a browser nothing can be seen: exit
# code 77.
set -euo pipefail
wine=$1 pages=$2
browser=$(command -v chromium || command -v chromium-browser || command -v google-chrome) || {
  echo 'skipped: no Chromium is installed'
  exit 77
}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

browse() {
  timeout 60 "$browser" --headless --no-sandbox --disable-gpu --hide-scrollbars --user-data-dir="$folder/profile" \
    --virtual-time-budget=20000 "$@" 2>"$folder/browser.log" || { cat "$folder/browser.log" >&2; exit 1; }
}

# look PAGE WIDTH SCRIPT: shows the page in a window of that width with the script at its end, and expects that it finds no faults.
look() {
  { cat "$folder/$1"; printf '<pre id="said" hidden></pre><script>document.getElementById("said").textContent = (() => {\nconst faults = [];\n%s\n%s\nreturn faults.length ? faults.join("; ") : "good";\n})()</script>\n' "$tools" "$3"; } >"$folder/test.html"
  browse --window-size="$2,900" --dump-dom "file://$folder/test.html" >"$folder/dom"
  grep -q '<pre id="said" hidden="">good</pre>' "$folder/dom" || {
    echo "$1, $2 wide: $(sed -n '/<pre id="said"/,/<\/pre>/p' "$folder/dom")"
    exit 1
  }
}

tools='
  const expect = (what, is, wanted) => { if (String(is) !== String(wanted)) faults.push(what + " is " + is + ", not " + wanted); };
  const rows = id => [...document.querySelectorAll("#" + id + " tbody tr")];
  const cells = (id, column) => rows(id).map(row => row.cells[column].textContent);
  const click = (id, text) => [...document.querySelectorAll("#" + id + " button")].find(button => button.textContent === text).click();
  const tab = text => [...document.querySelectorAll("nav button")].find(button => button.textContent === text).click();
  const pick = (id, text) => { const list = document.getElementById(id); list.value = [...list.options].find(option => option.text === text).value; list.dispatchEvent(new Event("change")); };
  const type = (id, text) => { const field = document.getElementById(id); field.value = text; field.dispatchEvent(new Event("input")); };
  const place = id => document.querySelector("#" + id + " [role=status]").textContent;
  // Nothing that is shown stands outside its cell, or outside the page; a table that is too wide for the window can be moved.
  const inside = what => {
    const width = document.documentElement.clientWidth;
    if (document.documentElement.scrollWidth > width) faults.push(what + ": the page is wider than the window");
    for (const cell of document.querySelectorAll("th, td, label, p, small")) {
      const box = cell.getBoundingClientRect();
      const moves = cell.closest("section") && getComputedStyle(cell.closest("section")).overflowX === "auto";
      if (box.width && (box.left < 0 || box.right > width + 1 && !moves || cell.scrollWidth > cell.clientWidth + 1 && getComputedStyle(cell).display !== "inline"))
        faults.push(what + ": cut off: " + cell.textContent.slice(0, 40));
    }
  };
'
"$wine" "$pages" "Z:$folder"

look small.html 1400 '
  expect("alerts", document.images.length + document.querySelectorAll("td b").length, 0);
  expect("summary", document.getElementById("summary").textContent,
    "6 records of 2 processes, 4 timing sites; 2026-11-23 03:37:26.000000 to 2026-11-23 03:37:30.000000 UTC");
  inside("records");
  expect("severities", cells("log", 1), "INFO,ERROR,DEBUG,severity 9,FATAL,WARN");
  expect("no time comes last", cells("log", 0)[5], "");
  const hostile = cells("log", 6)[1];
  if (!hostile.includes("a\u240d\u240aSEV: 4, MSG: b\u2400c\u241b[31m") || !hostile.includes("<\/script><img src=x onerror=alert(1)>\"\u0027,;") || !hostile.includes("\u97f3\u58f0 \ud83d\ude00"))
    faults.push("hostile text: " + hostile);
  if (!cells("log", 7)[5].endsWith("(explicit: 7, true)")) faults.push("explicit: " + cells("log", 7)[5]);
  expect("long text", rows("log")[2].cells[6].textContent.length, 1000 + "\u2026 64536 characters more".length);
  rows("log")[2].cells[6].querySelector("button").click();
  expect("whole text", rows("log")[2].cells[6].textContent.length, 65536);
  inside("whole text");
  expect("bars", document.querySelectorAll("#chart rect[height]:not([height=\"0\"])").length, 5);
  click("log", "Message");
  expect("sorted", cells("log", 6)[1], "an unknown severity");
  click("log", "Severity");
  expect("by severity", cells("log", 1), "DEBUG,INFO,WARN,ERROR,FATAL,severity 9");
  click("log", "Severity");
  expect("downwards", cells("log", 1), "severity 9,FATAL,ERROR,WARN,INFO,DEBUG");
  pick("severity", "WARN and above");
  expect("at least WARN", cells("log", 1), "severity 9,FATAL,ERROR,WARN");
  pick("process", "host.exe (212)");
  expect("of a process", cells("log", 1), "severity 9,FATAL,WARN");
  type("thread", "281");
  expect("of a thread", cells("log", 6), "fatal");
  pick("severity", "all"); pick("process", "all"); type("thread", "");
  pick("category", "TvFileSourceAsync");
  expect("of a category", rows("log").length, 5);
  type("function", "c::l"); type("text", "LOADING");
  expect("of a text", cells("log", 6), "Loading: a.avi");
  type("text", "nothing has this");
  expect("none", place("log"), "none");
  pick("category", "all"); type("function", ""); type("text", "");
  document.querySelectorAll("#chart g")[1].dispatchEvent(new Event("click"));
  expect("of a time", cells("log", 1), "ERROR");
  click("log", "All times");
  expect("of all times", rows("log").length, 6);'

look small.html 1400 '
  tab("Profile");
  inside("profile");
  expect("sites", cells("profile", 0).map(text => text.slice(0, 7)), "Other: ,C::Sync,C::Sync,C::Sync");
  expect("totals", cells("profile", 6), "6.000000,4.000000,2.500000,5.000e-4");
  expect("steps", rows("profile").map(row => row.cells[0].classList.contains("inner")), "false,false,true,true");
  const widths = () => [...document.querySelectorAll("#profile .bar")].map(bar => Math.round(parseFloat(bar.style.width)));
  expect("bars", widths(), "100,67,42,0");
  click("profile", "Mean");
  expect("by mean", cells("profile", 0).map(text => text.split(": ")[1]?.slice(0, 7)), ",reading,seeking,a\u240d\u240aSEV");
  expect("bars of means", widths(), "100,63,0,2");
  click("profile", "Mean");
  expect("upwards", cells("profile", 6), "6.000000,4.000000,5.000e-4,2.500000");
  tab("Processes");
  inside("processes");
  expect("processes", cells("sessions", 0), "host.exe,<\/script><b>.exe");
  expect("ends", cells("sessions", 4), ",2026-11-23 03:37:29.000000");
  click("sessions", "ID"); 
  expect("by id", cells("sessions", 1), "300,212");'

look small.html 800 'inside("records"); tab("Profile"); inside("profile"); tab("Processes"); inside("processes");'
look empty.html 1000 '
  inside("empty");
  expect("summary", document.getElementById("summary").textContent, "0 records of 0 processes, 0 timing sites");
  expect("rows", rows("log").length + rows("profile").length + rows("sessions").length, 0);'

look large.html 1200 '
  expect("rows at once", rows("log").length, 200);
  expect("place", place("log"), "1 to 200 of 100000");
  if (!document.getElementById("summary").textContent.endsWith("1000 older ones are left out")) faults.push("left out is not told");
  click("log", "Last");
  expect("the last", cells("log", 6).pop(), "record 100999.");
  click("log", "Back");
  expect("before the last", place("log"), "99601 to 99800 of 100000");
  const began = performance.now();
  type("text", "record 50");
  expect("filtered", place("log"), "1 to 200 of 1100");
  click("log", "Message");
  expect("sorted", cells("log", 6)[0], "record 5000.");
  if (performance.now() - began > 15000) faults.push("too slow: " + (performance.now() - began) + " ms");
  inside("large");
  const said = id => document.querySelector("#" + id + " p").textContent;
  if (!said("profile").endsWith(" 10 rows without a report for longest are left out.")) faults.push("sites: " + said("profile"));
  if (!said("sessions").endsWith(" 11 older processes are left out.")) faults.push("processes: " + said("sessions"));'

# The page can be seen: a page with nothing on it makes a far smaller picture.
echo '<!DOCTYPE html><title>Log</title>' >"$folder/blank.html"
for page in blank small; do
  browse --window-size=1400,900 --screenshot="$folder/$page.png" "file://$folder/$page.html" >/dev/null
done
[ "$(stat -c %s "$folder/small.png")" -gt $((4 * $(stat -c %s "$folder/blank.png"))) ] || {
  echo "small.html can't be seen: $(stat -c '%n %s' "$folder"/*.png)"
  exit 1
}
