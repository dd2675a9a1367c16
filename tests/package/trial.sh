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
trap 'kill "${pids[@]}" 2>/dev/null || true; rm -rf "$work"' EXIT

if command -v Xvfb >/dev/null; then
  Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>display 2>/dev/null &
  pids+=($!)
  for _ in $(seq 100); do [ -s display ] && break; sleep 0.1; done
  export DISPLAY=":$(cat display)"
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

command -v chromium >/dev/null || exit 0
# The same from a browser, whose extension finds lumhost by what the package has put in the machine's folders.
lumhost browser status
parts=$(lumhost doctor | sed -n 's|^ok    extension: \(.*\)/lumext.bundle,.*|\1|p')
chromium --headless=new --no-sandbox --disable-gpu --disable-background-networking --user-data-dir="$work/profile" \
  --load-extension="$parts/browser-extension" "$url/index.html" >chromium.log 2>&1 &
pids+=($!)
for _ in $(seq 900); do
  grep -q "GET /joined.html" requests && break
  sleep 0.1
done
grep "GET /joined.html" requests || { tail -n 20 chromium.log; cat requests; exit 1; }
lumhost status
lumhost remove --all
