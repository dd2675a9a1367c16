#!/usr/bin/env bash
# Tries installed programs as a person would: is the machine in order, and does a site that is published with them start
# a meeting? Works in a temporary folder and the person's home.
#
#     trial.sh [FOLDER-OF-THE-PROGRAMS]
set -euo pipefail
export PATH=${1:-/usr/bin}:$PATH
work=$(mktemp -d)
cd "$work"
pids=()
trap 'kill "${pids[@]}" 2>/dev/null || true; wait; rm -rf "$work"' EXIT

if command -v Xvfb >/dev/null; then
  Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>display 2>/dev/null &
  pids+=($!)
  for _ in $(seq 100); do [ -s display ] && break; sleep 0.1; done
  DISPLAY=:$(cat display)
  export DISPLAY
fi

lumhost --version
lumhost doctor | grep -v ': there$' # fails when something is bad

for part in confshell.bundle "Meeting Hall.app"; do
  mkdir -p "parts/$part/Contents/MacOS"
  printf '<?xml version="1.0" encoding="UTF-8"?>\n<plist version="1.0">%s</plist>\n' \
    '<dict><key>CFBundleVersion</key><string>2.1.3.4</string></dict>' >"parts/$part/Contents/Info.plist"
  printf '#!/bin/sh\nsleep 8\n' >"parts/$part/Contents/MacOS/${part%.*}"
  chmod +x "parts/$part/Contents/MacOS/${part%.*}"
done
lumsite init keys >/dev/null
mkdir site
echo '<!DOCTYPE html><title>Joined</title>' >site/joined.html
lumsite serve site --port-file port --log requests &
pids+=($!)
for _ in $(seq 100); do [ -s port ] && break; sleep 0.1; done
url=http://127.0.0.1:$(cat port)
cat >site.json <<END
{
  "url": "$url/",
  "sections": [{ "name": "Kelvo", "keys": "keys" }],
  "components": [{ "path": "parts/Meeting Hall.app" }, { "path": "parts/confshell.bundle" }],
  "pages": [{ "component": "confshell.bundle", "parameters": { "szNextUrl": "$url/joined.html" } }]
}
END
lumsite publish site.json site >/dev/null
lumsite check "$url/" --ca keys/ca.pem

lumhost allow "$url"
lumhost "$url/index.html" | tee steps
grep -q "^lumhost: page .* -> $url/joined.html" steps
lumhost status
lumhost remove --all

# The machine's browsers know of the machine's programs only.
[ $# -eq 0 ] && command -v chromium >/dev/null || exit 0
meeting=$(sed -n 's/^The application runs (process \([0-9]*\))$/\1/p' steps)
while kill -0 "$meeting" 2>/dev/null; do sleep 0.2; done # one meeting at a time
# The same from a browser, whose extension finds lumhost by what the package has put in the machine's folders.
lumhost browser status
parts=$(lumhost doctor | sed -n 's|^ok    extension: \(.*\)/lumext.bundle,.*|\1|p')
# The browser is told what to do over a pipe: JSON messages that end in NUL.
mkfifo to_browser from_browser
chromium --headless=new --no-sandbox --disable-gpu --disable-background-networking --user-data-dir="$work/profile" \
  --load-extension="$parts/browser-extension" --remote-debugging-pipe "$url/index.html" \
  3<to_browser 4>from_browser >chromium.log 2>&1 &
pids+=($!)
exec 5>to_browser 6<from_browser
number=0

# ask MESSAGE: sends it, and leaves the answer in `answer`.
ask() {
  number=$((number + 1))
  printf '{"id":%d,%s}\0' "$number" "$1" >&5
  while IFS= read -r -d '' -t 60 answer <&6; do
    [[ $answer != '{"id":'$number,* ]] || return 0
  done
  return 1
}

# The user allows the site: the button comes to life a moment after the question is shown.
allow_in_browser() {
  local page session
  ask '"method":"Target.getTargets"'
  page=$(grep -o '"targetId":"[^"]*","type":"page","title":"[^"]*","url":"chrome-extension://[^"]*permission.html"' <<<"$answer" |
    cut -d'"' -f4) || return 1
  ask '"method":"Target.attachToTarget","params":{"targetId":"'"$page"'","flatten":true}'
  session=$(grep -o '"sessionId":"[^"]*"' <<<"$answer" | cut -d'"' -f4)
  ask '"method":"Runtime.evaluate","sessionId":"'"$session"'","params":{"expression":"document.querySelector(\"#yes\").click()"}'
}

for _ in $(seq 300); do
  ! grep -q "GET /joined.html" requests || break
  allow_in_browser || true # nothing is asked yet, or no longer
  sleep 0.3
done
grep "GET /joined.html" requests || { grep -v dbus chromium.log; cat requests; exit 1; }
lumhost status
lumhost remove --all
