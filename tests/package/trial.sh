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
cat >site.json <<'END'
{
  "url": "http://127.0.0.1/",
  "sections": [{ "name": "Kelvo", "keys": "keys" }],
  "components": [{ "path": "parts/Meeting Hall.app" }, { "path": "parts/confshell.bundle" }],
  "pages": [{ "component": "confshell.bundle", "parameters": { "szNextUrl": "http://127.0.0.1/joined.html" } }]
}
END
lumsite init keys >/dev/null
mkdir site
lumsite serve site --port-file port --log requests &
pids+=($!)
for _ in $(seq 100); do [ -s port ] && break; sleep 0.1; done
url=http://127.0.0.1:$(cat port)
lumsite publish site.json site --url "$url/" >/dev/null
lumsite check "$url/" --ca keys/ca.pem

lumhost allow "$url"
lumhost "$url/index.html" | tee steps
grep -q "^lumhost: page .* -> http://127.0.0.1/joined.html" steps
lumhost status
lumhost remove --all
