# The steps of the demonstration, as functions. Sourced by run.

headline() { printf '\n== %s\n\n' "$1"; }
explain() { printf '   %s\n' "$1"; }
not() { ! "$@"; }

# check WHAT COMMAND...: says whether it is so.
check() {
  local what=$1
  shift
  if "$@" >>"$work/checks.log" 2>&1; then
    printf '   [ok]     %s\n' "$what"
  else
    printf '   [FAILED] %s\n' "$what"
    failures=$((failures + 1))
  fi
}

# expect WHAT COMMAND...: runs a step without which the rest makes no sense.
expect() {
  local what=$1
  shift
  if "$@" >"$work/step.log" 2>&1; then
    printf '   [ok]     %s\n' "$what"
  else
    printf '   [FAILED] %s: %s\n' "$what" "$*"
    sed 's/^/            /' "$work/step.log"
    failures=$((failures + 1))
    exit 1
  fi
}

finish() {
  headline "Done"
  if [ "$failures" -eq 0 ]; then
    echo "Everything was as it should be. Screenshots and traces are in $work."
    exit 0
  fi
  echo "$failures steps were not as they should be; traces and outputs are in $work." >&2
  exit 1
}

# The processes of this name that the demonstration has started, lumhost's applications and daemon included: they have
# its temporary folder in their environment. Nothing else of the user's is touched.
own_processes() {
  local pid
  for pid in $(pgrep -xu "$(id -u)" "$1"); do
    ! grep -qzx "TMP=$work/tmp" "/proc/$pid/environ" 2>/dev/null || printf '%s\n' "$pid"
  done
}

# One that runs elsewhere would be taken for the demonstration's, by the extension, too.
refuse_running_application() {
  local pid
  for pid in $(pgrep -xu "$(id -u)" "Meeting Hall"); do
    echo "Meeting Hall is running already (process $pid). Quit it and try again: the demonstration starts one of its own." >&2
    exit 1
  done
}

end_demonstration() {
  quit_application
  for pid in "${pids[@]}" $(own_processes gdnc); do
    kill "$pid" 2>/dev/null
  done
  [ "$failures" -eq 0 ]
}

# Waits until a command succeeds; a number of tenths of a second first.
wait_for() {
  local tenths=$1
  shift
  for _ in $(seq "$tenths"); do
    "$@" >/dev/null 2>&1 && return 0
    sleep 0.1
  done
  return 1
}

start_window_server() {
  if [ -n "${DISPLAY:-}" ] && xdpyinfo >/dev/null 2>&1; then
    explain "Windows open on the display $DISPLAY."
    return
  fi
  Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$work/display" 2>/dev/null &
  pids+=($!)
  wait_for 100 test -s "$work/display" || { echo "Xvfb does not start" >&2; exit 1; }
  DISPLAY=:$(cat "$work/display")
  export DISPLAY
  openbox >/dev/null 2>&1 &
  pids+=($!)
  explain "There is no display, so windows open on one in memory ($DISPLAY)."
}

make_components() {
  cp -R "$build/demo/apps/Meeting Hall.app" "$build"/demo/components/* "$work/components/"
  mkdir -p "$work/components/Holiday Skin.bundle/Contents"
  echo snow >"$work/components/Holiday Skin.bundle/Contents/pattern"
}

# The site's manifest, with this version of the audio library, with Holiday Skin.bundle while it is offered, and with a
# signed release when there are keys for one.
write_manifest() {
  local audio=$1 skin='' release=''
  if [ "${2:-}" = with-skin ]; then
    skin='{ "path": "components/Holiday Skin.bundle", "target": "/proc/skins", "version": "1,0,0,0",
      "update": "existence", "failure": "ignore" },'
  fi
  [ ! -d "$work/release-keys" ] || release='
  "release": { "keys": "release-keys" },'
  cp "$build/demo/components/libdemoaudio.dylib" "$work/components/"
  printf '%s' "$audio" >>"$work/components/libdemoaudio.dylib" # another version, other bytes
  cat >"$work/site.json" <<TEXT
{
  "url": "$url",$release
  "sections": [{ "name": "Kelvo", "keys": "keys" }],
  "components": [
    { "path": "components/DemoKit.framework", "version": "1,0,0,0", "linksAsFiles": true },
    { "path": "components/libdemoaudio.dylib", "version": "$audio" },
    { "path": "components/libdemovideo.dylib", "version": "2,1,0,7", "format": "tar.zst" },
    { "path": "components/Practice Notes.bundle" },
    $skin
    { "path": "components/Meeting Hall.app", "format": "tar.xz" },
    { "path": "components/confshell.bundle", "format": "zip" }
  ],
  "pages": [{
    "file": "index.html",
    "title": "Quarterly review",
    "component": "confshell.bundle",
    "parameters": {
      "LumProductVersion": "2.4",
      "LumProgressBarTitle": "Meeting Hall",
      "ParmProductType_Value": "1",
      "klvpagewaiting_value": "dHJ1ZQ==",
      "szNextUrl": "$url/joined.html",
      "szFrameName": "meeting",
      "LoggingURL": "$url/log?site=demo",
      "MeetingID": "4711",
      "SessionID": "demo-session"
    }
  }]
}
TEXT
}

serve_site() {
  mkdir -p "$site"
  "$lumsite" serve "$site" --port-file "$work/port" --log "$work/requests" --log-endpoint /log >"$work/serve.log" 2>&1 &
  pids+=($!)
  wait_for 100 test -s "$work/port" || { echo "lumsite serve does not start" >&2; exit 1; }
  url=http://127.0.0.1:$(cat "$work/port")
  explain "The site is served at $url."
}

install_by_hand() {
  mkdir -p "$installed"
  cp -R "$work/components/$1" "$installed/"
}

# visit NAME: opens the page and closes the message that may come; NAME.out, NAME.trace, NAME.requests and NAME.status tell about it.
visit() {
  local before=0
  [ -f "$work/requests" ] && before=$(wc -l <"$work/requests")
  "$lumhost" --log "$work/$1.trace" "$url/index.html" >"$work/$1.out" 2>&1 </dev/null &
  local host=$! tries=0
  while kill -0 "$host" 2>/dev/null; do
    if grep -q 'message [0-9]' "$work/$1.out"; then
      sleep 1
      [ "$tries" -gt 0 ] || screenshot "message" "the message"
      press "$message_title" Return
      tries=$((tries + 1))
      [ "$tries" -lt 10 ] || kill "$host"
    fi
    sleep 0.2
  done
  wait "$host"
  echo $? >"$work/$1.status"
  sleep 0.3
  tail -n +$((before + 1)) "$work/requests" >"$work/$1.requests"
  sed 's/^/   | /' "$work/$1.out"
}

sent_on() { [ "$(cat "$work/$1.status")" = 0 ] && grep -q 'joined.html' "$work/$1.out"; }
refused() { [ "$(cat "$work/$1.status")" != 0 ] && grep -q "message $2\b" "$work/$1.out"; }
fetched() { [ "$(grep -c 'GET /packages/' "$work/$1.requests")" = "$2" ]; }
fetched_signed() { [ "$(grep -c 'GET /release/targets/' "$work/$1.requests")" = "$2" ]; }
pinned_to() { "$lumhost" allowed | grep -q "root $1, SHA-256 $(sha256sum "$site/release/root.json" | cut -d' ' -f1)"; }
not_fetched() { ! grep -q "GET /packages/$2" "$work/$1.requests"; }
traced() { grep -q "$2" "$work/$1.trace"; }
logged() {
  local name=$1 code
  shift
  for code in "$@"; do
    grep -q "ErrorCode[=:] *$code\b" "$work/$name.requests" || return 1
  done
}
show_log() { grep '^report' "$work/$1.requests" | sed 's/^/   | /'; }
running() { [ -n "$(own_processes "$1")" ]; }
in_front() {
  local window
  window=$(xdotool getactivewindow 2>/dev/null) && xdotool getwindowname "$window" | grep -q "$1"
}

quit_application() {
  local pid
  for pid in $(own_processes "Meeting Hall"); do
    kill "$pid" 2>/dev/null
  done
  wait_for 50 not running "Meeting Hall"
}

# Changes one byte in the package of a component that the instruction file names.
tamper() {
  local package
  package=$site/$(grep -o "=$1;[^;]*" "$site/lummac.ini" | cut -d';' -f2)
  printf 'X' | dd of="$package" bs=1 seek=100 conv=notrunc 2>/dev/null
  explain "One byte of $(basename "$package") is another now."
}

# Puts each folder's content in the other's place.
exchange() {
  mkdir "$work/exchange"
  cp -R "$1/." "$work/exchange/"
  find "$1" -mindepth 1 -delete
  cp -R "$2/." "$1/"
  rm -rf "$2"
  mv "$work/exchange" "$2"
}

# The window of this title, and a key pressed in it.
message_title="^(Kelvo|Alert)$"
window() { xdotool search --onlyvisible --name "$1" 2>/dev/null | tail -n 1; }
press() {
  local target
  target=$(window "$1")
  [ -n "$target" ] || return 1
  xdotool windowactivate --sync "$target" 2>/dev/null
  xdotool key "$2"
}

# press_until COMMAND TITLE KEY: presses again when the window had no focus yet, as a person would.
press_until() {
  for _ in 1 2 3 4 5 6; do
    press "$2" "$3"
    wait_for 30 "$1" && return 0
  done
  return 1
}

# screenshot NAME WHAT: of the screen, when nothing has changed on it any more; of one that goes on changing, such as a
# progress bar, after two seconds.
screenshot() {
  local before now=
  for _ in 1 2 3 4 5 6 7; do
    sleep 0.3
    before=$now
    import -window root "$work/$1.png" || return
    now=$(convert "$work/$1.png" rgba:- | sha256sum)
    [ "$now" != "$before" ] || break
  done
  explain "A screenshot of $2 is in $work/$1.png."
}

# The user's own trust in the demonstration's authority, as a person would give it.
trust_authority() {
  mkdir -p "$HOME/.config/lum/certificates/trusted"
  cp "$work/keys/ca.pem" "$HOME/.config/lum/certificates/trusted/"
}
distrust_authority() { rm -f "$HOME/.config/lum/certificates/trusted/ca.pem"; }

# The same site again, at the pace of a slow line.
slow_site() {
  "$lumsite" serve "$site" --port-file "$work/slow-port" --rate 15000 --log "$work/requests" --log-endpoint /log \
    >"$work/slow.log" 2>&1 &
  pids+=($!)
  wait_for 100 test -s "$work/slow-port" || { echo "lumsite serve does not start" >&2; exit 1; }
  slow=http://127.0.0.1:$(cat "$work/slow-port")
  "$lumhost" allow "$slow" >/dev/null 2>&1
}
