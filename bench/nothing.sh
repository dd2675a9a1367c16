#!/usr/bin/env bash
# The same page again, when its twenty components are all there: from the program's start to the application's first
# instruction, and the part of it that the extension takes (from its first trace to the one before the launch).
#
#     bench/nothing.sh BUILD-FOLDER [ROUNDS]
set -uo pipefail
build=$(cd "$1" && pwd)
rounds=${2:-9}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$here/site.sh"

for number in {01..18}; do component "part$number.bundle" 6000000 10000000; done
component confshell.bundle 100000 0
component "Meeting Hall.app" 100000 0
# shellcheck disable=SC2016 # for the script that is written
printf '#!/bin/bash\nprintf "%%s" "$EPOCHREALTIME" >"$HOME/launched"\nsleep 2\n' \
  >"$work/components/Meeting Hall.app/Contents/MacOS/Meeting Hall"
main_component=confshell.bundle
page_parameters=', "MeetingID": "1", "SessionID": "2"'
mkdir -m 755 "$work/site"
serve
publish site tar.gz tar.zst
fresh_home
start() { "$lumhost" --json "$url/site/index.html" </dev/null >"$work/start.out" 2>&1; }
start || give_up "the first start fails" "$work/start.out"
wait_for_end() { while pgrep -f "$work/home" >/dev/null; do sleep 0.2; done; }

# A second home, for which the site is pinned to the root of its release.
release_keys=release
"$lumsite" init "$work/$release_keys" --release >"$work/init.log" 2>&1 || give_up "no keys" "$work/init.log"
publish site tar.gz tar.zst
cp -R "$work/home" "$work/home-signed"
HOME=$work/home-signed "$lumhost" allow "$url" --root "$work/site/release/root.json" >"$work/allow.log" 2>&1 ||
  give_up "the site cannot be pinned" "$work/allow.log"
wait_for_end

# measure_start NAME: one start; the time until the application runs goes to $work/NAME.
measure_start() {
  wait_for_end # an application that runs would be joined
  rm -f "$HOME/launched"
  local begin=$EPOCHREALTIME
  start || give_up "a start fails" "$work/start.out"
  awk -v a="$begin" -v b="$(cat "$HOME/launched")" 'BEGIN { print (b - a) * 1000 }' >>"$work/$1"
}

for ((round = 0; round < rounds; ++round)); do
  HOME=$work/home-signed measure_start signed
  measure_start all
  # Times of the trace that is kept of each start: 2026-01-31T12:00:00.123Z
  awk -F'[T:Z ]' 'NR == 1 { a = $2 * 3600 + $3 * 60 + $4 } /Create framework links before launch/ { b = $2 * 3600 + $3 * 60 + $4 }
    END { print (b - a) * 1000 }' "$HOME/.local/state/lumhost/last-start.log" >>"$work/extension"
done
printf '\n%-52s %8s\n' "20 components, all current" ms
ratio "nothing to do: click to application, ms" "$(printf '%.0f' "$(median <"$work/all")")"
ratio "nothing to do: of that the extension, ms" "$(printf '%.0f' "$(median <"$work/extension")")"
ratio "nothing to do: the same with a signed release, ms" "$(printf '%.0f' "$(median <"$work/signed")")"
