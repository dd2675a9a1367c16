# A site to measure with, and ways to start from it. Sourced by the benchmarks.
#
# Sets `work`, a folder that goes away at the end.

work=$(mktemp -d "${TMPDIR:-/tmp}/lum-bench.XXXXXX")
servers=()
unset DISPLAY WAYLAND_DISPLAY http_proxy https_proxy HTTP_PROXY HTTPS_PROXY all_proxy ALL_PROXY
unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME XDG_STATE_HOME XDG_RUNTIME_DIR
mkdir -m 700 "$work/tmp"
export TMPDIR=$work/tmp TMP=$work/tmp
lumsite=$build/site/lumsite
lumhost=$build/host/lumhost

# The notification daemon that a start has started outlives it.
end_daemon() {
  local environment pid
  for environment in /proc/[0-9]*/environ; do
    pid=${environment//[!0-9]/}
    if [ "$(cat "/proc/$pid/comm" 2>/dev/null)" = gdnc ] && grep -qz "^TMP=$work/tmp\$" "$environment" 2>/dev/null; then
      kill "$pid" 2>/dev/null
    fi
  done
}

clean_up() {
  local pid
  for pid in "${servers[@]}"; do kill "$pid" 2>/dev/null; done
  end_daemon
  rm -rf "$work"
}
trap clean_up EXIT

give_up() {
  printf 'bench: %s\n' "$1" >&2
  [ -z "${2:-}" ] || tail -n 20 "$2" >&2
  exit 1
}

random_bytes() { head -c "$1" /dev/urandom; }
# Text that compresses to about a quarter, and never twice the same.
text_bytes() { seq -f "line %.0f of a text that says little" "$RANDOM$RANDOM" 99999999999 | head -c "$1" || true; }

# component NAME BYTES-OF-NOISE BYTES-OF-TEXT, below $work/components
component() {
  local folder=$work/components/$1
  mkdir -p "$folder/Contents/MacOS"
  printf '<?xml version="1.0"?>\n<plist version="1.0"><dict><key>CFBundleVersion</key><string>1.0.0.1</string></dict></plist>\n' \
    >"$folder/Contents/Info.plist"
  random_bytes "$2" >"$folder/Contents/MacOS/${1%.*}"
  chmod 755 "$folder/Contents/MacOS/${1%.*}"
  [ "$3" = 0 ] || text_bytes "$3" >"$folder/Contents/text"
}

# publish SITE FORMAT...: all components, the formats in turn; the page starts the first and downloads only, or launches
# what `launched` names. With a signed release when `release_keys` names the folder of its keys.
publish() {
  local site=$work/$1 path line=0 separator=
  shift
  local formats=("$@")
  {
    printf '{ "url": "%s",%s "sections": [{ "keys": "keys" }], "components": [' "$url/${site##*/}" "${release_keys:+ \"release\": { \"keys\": \"$release_keys\" \},}"
    for path in "$work/components/"*; do
      printf '%s\n  { "path": "components/%s", "format": "%s" }' "$separator" "${path##*/}" "${formats[line++ % ${#formats[@]}]}"
      separator=,
    done
    printf '],\n  "pages": [{ "component": "%s", "parameters": { "szNextUrl": "%s/next.html", "LumProductVersion": "2.4"%s } }] }\n' \
      "${main_component:-part01.bundle}" "$url" "${page_parameters:-, \"LumDownloadOnly\": \"TRUE\"}"
  } >"$work/site.json"
  "$lumsite" publish "$work/site.json" "$site" >"$work/publish.log" 2>&1 || give_up "the site cannot be published" "$work/publish.log"
}

# Keys, and a web server for all of $work/sites' parents: `url` is where $work is served.
serve() {
  local port=$((20000 + RANDOM % 20000))
  "$lumsite" init "$work/keys" >"$work/init.log" 2>&1 || give_up "no keys" "$work/init.log"
  chmod 755 "$work" # the server's workers are another user
  cat >"$work/nginx.conf" <<CONF
pid $work/nginx.pid;
error_log $work/nginx.log;
worker_processes 1;
daemon off;
events { worker_connections 256; }
http {
  access_log off;
  sendfile on;
  types { text/html html; }
  client_body_temp_path $work/tmp/body; proxy_temp_path $work/tmp/proxy; fastcgi_temp_path $work/tmp/fastcgi;
  uwsgi_temp_path $work/tmp/uwsgi; scgi_temp_path $work/tmp/scgi;
  server { listen 127.0.0.1:$port; root $work; location /keys { deny all; } location = /log { return 204; } }
}
CONF
  nginx -c "$work/nginx.conf" 2>"$work/nginx.err" &
  servers+=($!)
  url=http://127.0.0.1:$port
  server_port=$port
  local try
  for try in {1..50}; do
    curl -s -o /dev/null "$url/" && return
    sleep 0.1
  done
  give_up "nginx does not serve" "$work/nginx.err"
}

# A home in which the site may start something and its authority is trusted.
fresh_home() {
  rm -rf "${work:?}/home"
  export HOME=$work/home
  mkdir -p "$HOME/.config/lum/certificates/trusted"
  cp "$work/keys/ca.pem" "$HOME/.config/lum/certificates/trusted/"
  "$lumhost" allow "$url" >"$work/allow.log" 2>&1 || give_up "the site cannot be allowed" "$work/allow.log"
}

median() { sort -n | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

# measure NAME COMMAND...: appends "seconds cpu-seconds KiB" of one run to $work/NAME.times. All include its children.
measure() {
  local name=$1
  shift
  "$build/bench/lum_measure" ${until:+until "$until"} "$work/$name.out" "$@" 2>"$work/$name.err" ||
    give_up "$name fails" "$work/$name.err"
  tail -n 1 "$work/$name.err" >>"$work/$name.times"
}

wall() { cut -d' ' -f1 "$work/$1.times" | median; }
cpu() { cut -d' ' -f2 "$work/$1.times" | median; }
memory() { cut -d' ' -f3 "$work/$1.times" | median; }

head_of() { printf '\n%-52s %8s %8s\n' "$1" seconds CPU; }
figures() { printf '  %-50s %8.3f %8.3f\n' "$1" "$(wall "$2")" "$(cpu "$2")"; }
row() { printf '  %-50s %8s\n' "$1" "$2"; }
# A figure to compare by: also for the table at the end of all benchmarks.
ratio() {
  row "$1" "$2"
  printf '  %-56s %5s\n' "$1" "$2" >>"${LUM_BENCH_RATIOS:-/dev/null}"
}
quotient() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }
