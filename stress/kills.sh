#!/usr/bin/env bash
# Starts that are killed: whatever the moment, what counts as installed is whole, and the next start repairs the rest.
#
#     stress/kills.sh BUILD-FOLDER KILLS
#
# A site of ten components is served on this computer. First many starts (KILLS_TOGETHER, 8) open its page on one home at
# the same time: all end with status 0 and without a word on standard error, and each package is downloaded once.
#
# Again and again two starts at once open the page, and each is killed with its process group after a random time. Every fifth round begins with an empty home, the others where the last kill
# left it (a violation ends such a chain). Before every third, two components get a new version, so that replacing is
# killed, too. After each kill:
#
#   - a bundle or framework that says it is of the present version, so that no start would fetch it, is that version to
#     the byte (an older one may be found half removed on its way out, which is counted)
#   - so is every library under its versioned name (of that version) and under its plain name
#   - a library's link, where there is one, leads to a file
#
# An undisturbed start must then end with status 0, with every component in its present version, every library with one
# version and a link to it, nothing else in the folder and no leftovers elsewhere; "lumhost status" finds all of it
# whole.
#
# KILLS_SEED gives the numbers of an earlier run again (the moments still depend on how busy the computer is).
# Exit status 0 when all of this held; else 1, and the folder with the state stays.
set -uo pipefail
umask 022

# An application that runs elsewhere would change what a start does: among processes of its own, where that can be had.
alone=(unshare --pid --fork --kill-child --mount-proc)
if [ -z "${KILLS_ALONE:-}" ] && "${alone[@]}" true 2>/dev/null; then
  KILLS_ALONE=yes exec "${alone[@]}" "$0" "$@"
fi

build=$(cd "$1" && pwd)
kills=$2
together=${KILLS_TOGETHER:-8}
seed=${KILLS_SEED:-$((10#${EPOCHREALTIME#*[.,]} % 32768))}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
lumsite=$build/site/lumsite
lumhost=$build/host/lumhost
work=$(mktemp -d "${TMPDIR:-/tmp}/lum-kills.XXXXXX")
site=$work/site
components=$work/components
home=$work/home
kelvo="$home/GNUstep/Library/ApplicationSupport/Kelvo Folder"
installed="$kelvo/2.4"
violations=0
server=
good=no
RANDOM=$seed

mkdir -p "$work/tmp" "$site" "$components"
chmod 700 "$work/tmp"
export HOME=$home TMPDIR=$work/tmp TMP=$work/tmp
unset DISPLAY WAYLAND_DISPLAY http_proxy https_proxy HTTP_PROXY HTTPS_PROXY all_proxy ALL_PROXY
unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME XDG_STATE_HOME XDG_RUNTIME_DIR
. "$here/components.sh"

give_up() {
  printf 'kills: %s\n' "$1" >&2
  [ -z "${2:-}" ] || cat "$2" >&2
  exit 1
}

# The notification daemon that lumhost's Foundation starts outlives it.
clean_up() {
  local environment pid
  for environment in /proc/[0-9]*/environ; do
    pid=${environment//[!0-9]/}
    if [ "$pid" != $$ ] && [ "$(cat "/proc/$pid/comm" 2>/dev/null)" = gdnc ] &&
      grep -qz "^TMP=$work/tmp\$" "$environment" 2>/dev/null; then
      kill "$pid" 2>/dev/null
    fi
  done
  [ -z "$server" ] || kill "$server" 2>/dev/null
  if [ "$good" = yes ]; then
    rm -rf "$work"
  else
    printf 'kills: everything is kept in %s\n' "$work" >&2
  fi
}
trap clean_up EXIT

milliseconds() { local now=${EPOCHREALTIME/[.,]/}; printf '%s' "${now%???}"; }

fresh_home() {
  rm -rf "$home"
  mkdir -p "$home/.config/lum/certificates/trusted"
  cp "$work/keys/ca.pem" "$home/.config/lum/certificates/trusted/"
  "$lumhost" allow "$url" >"$work/allow.log" 2>&1 || give_up "the site cannot be allowed" "$work/allow.log"
}

# violation TEXT...: tells it, and keeps the first home in which one shows.
violation() {
  printf 'round %d, VIOLATION: %s\n' "$round" "$*"
  violations=$((violations + 1))
  [ -e "$work/first-violation" ] || cp -a "$home" "$work/first-violation"
}

folder_of() { if [ "$1" = Shared.bundle ]; then printf '%s' "$kelvo"; else printf '%s' "$installed"; fi; }

known_bundle() {
  local found number
  found=$(digest_of "$1")
  for ((number = revision[$2]; number > 0; --number)); do
    [ "$found" != "${digest[$2 1,0,$number,0]}" ] || break
  done
  revision_found=$number # 0 for none
}

# A framework's list is read by its path, the links on the way may be files.
says_present_version() {
  local list=$1/Contents/Info.plist version
  [[ $1 != *.framework ]] || list=$1/Versions/A/Resources/Info.plist
  version=$(version_of "$2")
  grep -qsF "<string>${version//,/.}</string>" "$list"
}

# survey WHEN: holds the installed folder against the rules, and counts in `outstanding` what is absent or not current.
survey() {
  local name folder file version
  outstanding=0
  for name in "${bundles[@]}"; do
    folder=$(folder_of "$name")/$name
    revision_found=0
    if [ -e "$folder" ] || [ -L "$folder" ]; then
      known_bundle "$folder" "$name"
      if [ "$revision_found" = 0 ] && says_present_version "$folder" "$name"; then
        violation "$1: $name says that it is the present version, and is not whole"
      elif [ "$revision_found" = 0 ]; then
        half_removed=$((half_removed + 1))
      fi
    fi
    [ "$revision_found" = "${revision[$name]}" ] || outstanding=$((outstanding + 1))
  done
  for name in "${libraries[@]}"; do
    for file in "$installed/$name"-*.dylib; do
      [ -e "$file" ] || continue
      version=${file##*-}
      version=${version%.dylib}
      [ "$(sha256sum <"$file")" = "${digest[$name ${version//./,}]:-}" ] || violation "$1: $(basename "$file") is not whole"
    done
    survey_plain_library "$1" "$name"
  done
}

survey_plain_library() {
  local file=$installed/$2.dylib current number found
  current=$(version_of "$2")
  if [ -L "$file" ]; then
    [ -e "$file" ] || violation "$1: the link $2.dylib leads to no file ($(readlink "$file"))"
  elif [ -e "$file" ]; then
    found=$(sha256sum <"$file")
    for ((number = revision[$2]; number > 0; --number)); do
      [ "$found" != "${digest[$2 1,0,$number,0]}" ] || break
    done
    [ "$number" -gt 0 ] || violation "$1: $2.dylib is none of its versions"
    unlinked=$((unlinked + 1))
  elif compgen -G "$installed/$2-*.dylib" >/dev/null; then
    unlinked=$((unlinked + 1))
  fi
  if [ "$(readlink "$file")" != "$installed/$2-${current//,/.}.dylib" ] || [ ! -e "$file" ]; then
    outstanding=$((outstanding + 1))
  fi
}

# After an undisturbed start: everything is there, and nothing else.
check_complete() {
  local name surplus wanted
  survey "$1"
  [ "$outstanding" -eq 0 ] || violation "$1: $outstanding components are not there in their present version"
  wanted=$(
    printf '2.4\n.install.lock\n.lumext.bundle.lock\nlumext.bundle\nShared.bundle\n2.4/lummac.ini\n2.4/lummac.ini.plist\n'
    for name in "${bundles[@]}"; do printf '2.4/%s\n' "$name"; done
    for name in "${libraries[@]}"; do
      printf '2.4/%s.dylib\n2.4/%s-%s.dylib\n' "$name" "$name" "$(version_of "$name" | tr , .)"
    done
  )
  surplus=$( (cd "$kelvo" && find . 2.4 -mindepth 1 -maxdepth 1 -printf '%H/%P\n') | sed 's|^\./||' | grep -vxF "$wanted")
  [ -z "$surplus" ] || violation "$1: left behind: ${surplus//$'\n'/, }"
  diff -r "$build/lumext.bundle" "$kelvo/lumext.bundle" >"$work/extension.diff" 2>&1 || violation "$1: the copy of the extension is not whole"
  surplus=$(find "$work/tmp" "$home/.cache" "$home/.local" "$home/.config" \
    \( -name '.lumhost-*' -o -name '.new-*' -o -name 'installing.*' \) )
  [ -z "$surplus" ] || violation "$1: left behind: ${surplus//$'\n'/, }"
  "$lumhost" status >"$work/status" 2>&1
  misjudged=$(grep '^  [^ ]' "$work/status" | grep -v ' whole (')
  [ -z "$misjudged" ] || violation "$1: \"lumhost status\" says: $misjudged"
}

# start [NAME]: NAME tells the files of starts at the same time apart.
start() { exec setsid "$lumhost" --json "$url/index.html" >"$work/events${1:-}" 2>"$work/errors${1:-}" </dev/null; }

# An undisturbed start; its length is then in `length`.
start_undisturbed() {
  local begin status
  begin=$(milliseconds)
  (start)
  status=$?
  length=$(($(milliseconds) - begin))
  [ "$status" -eq 0 ] || violation "$1: the undisturbed start ends with $status: $(tail -n 3 "$work/events" "$work/errors")"
}

# start_together WHEN: many starts on one home, none of which is disturbed.
start_together() {
  local number pids=() before twice
  before=$(log_length)
  for ((number = 1; number <= together; ++number)); do
    start "-$number" &
    pids+=($!)
  done
  for ((number = 1; number <= together; ++number)); do
    wait "${pids[number - 1]}" || violation "$1: start $number ends with $?: $(tail -n 3 "$work/errors-$number")"
    [ ! -s "$work/errors-$number" ] || violation "$1: start $number says: $(tail -n 3 "$work/errors-$number")"
  done
  twice=$(tail -n +"$((before + 1))" "$work/requests" | grep -o 'GET /packages/[^? ]*' | sort | uniq -d)
  [ -z "$twice" ] || violation "$1: downloaded more than once: $twice"
}

sleep_ms() { sleep "$(printf '%d.%03d' $(($1 / 1000)) $(($1 % 1000)))"; }

# Two starts at once that are killed after so many milliseconds and so many more; where that hit the first one is then in
# `hit`.
start_and_kill() {
  local pid other
  start &
  pid=$!
  start -other &
  other=$!
  sleep_ms "$1"
  kill -KILL -- "-$pid" 2>/dev/null || kill -KILL "$pid" 2>/dev/null
  sleep_ms "$2"
  kill -KILL -- "-$other" 2>/dev/null || kill -KILL "$other" 2>/dev/null
  wait "$pid" "$other" 2>/dev/null
  hit=starting
  case $(grep -o '"state":"[a-z]*"\|"navigation"\|"exit"' "$work/events" | tail -n 1) in
  *downloading*) hit=downloading ;;
  *installing*) hit=installing ;;
  *navigation* | *exit*) hit=after ;;
  esac
}

# keep_copy: the home as the kill left it, for the next round. What lumhost notes of a component that it moves names the
# number of its file, which a copy does not have; so the copied notes are given the copies' numbers.
keep_copy() {
  local notes note number found
  rm -rf "$work/killed"
  cp -a "$home" "$work/killed"
  for notes in "$home"/.local/share/lumhost/installing.*; do
    [ -e "$notes" ] || continue
    while IFS= read -r -d '' note; do
      if [[ $note == +* ]]; then
        number=${note#+}
        number=${number%% *}
        found=$(find "$kelvo" -inum "$number" -printf '%P' -quit)
        number=$([ -z "$found" ] || stat -c %i "$work/killed/${kelvo#"$home"/}/$found")
        note="+${number:-1} ${note#* }"
      fi
      printf '%s\0' "$note"
    done <"$notes" >"$work/killed/.local/share/lumhost/${notes##*/}"
  done
}

# The packages asked for since line $1 of the server's log.
asked_since() { tail -n +"$(($1 + 1))" "$work/requests" | grep -o 'GET /packages/[^? ]*' | sort -u; }
log_length() { wc -l <"$work/requests"; }

"$lumsite" init "$work/keys" >"$work/init.log" 2>&1 || give_up "no keys" "$work/init.log"
: >"$work/requests"
"$lumsite" serve "$site" --port-file "$work/port" --log "$work/requests" >"$work/serve.log" 2>&1 &
server=$!
for _ in {1..100}; do [ -s "$work/port" ] && break; sleep 0.1; done
[ -s "$work/port" ] || give_up "the site is not served" "$work/serve.log"
url=http://127.0.0.1:$(cat "$work/port")
for name in "${bundles[@]}" "${libraries[@]}"; do make_next_version "$name"; done
publish

round=0 unlinked=0 half_removed=0 again=0 mended=0 published=0 violations_before=0
declare -A hits=([starting]=0 [downloading]=0 [installing]=0 [after]=0)
fresh_home
start_undisturbed "the first start"
full=$length
check_complete "the first start"
before=$(log_length)
start_undisturbed "the second start"
idle=$length
[ -z "$(asked_since "$before")" ] || violation "the second start: fetched again: $(asked_since "$before")"
fresh_home
start_together "$together starts at once"
check_complete "$together starts at once"
[ "$violations" -eq 0 ] || give_up "undisturbed starts are not as they should be"
printf 'seed %s; an undisturbed start takes %d ms, with nothing to fetch %d ms\n' "$seed" "$full" "$idle"
unlinked=0 half_removed=0

for ((round = 1; round <= kills; ++round)); do
  if ((round % 5 == 1 || violations > violations_before)); then
    fresh_home
  else
    rm -rf "$home"
    mv "$work/killed" "$home"
  fi
  violations_before=$violations
  if ((round % 3 == 0)); then
    make_next_version "${libraries[published % ${#libraries[@]}]}"
    make_next_version "${bundles[published % ${#bundles[@]}]}"
    published=$((published + 1))
    publish
  fi
  survey "before the kill"
  span=$((idle + (full > idle ? full - idle : 0) * outstanding / (${#bundles[@]} + ${#libraries[@]})))
  unlinked_before=$unlinked half_removed_before=$half_removed
  before=$(log_length)
  start_and_kill $(((RANDOM * 32768 + RANDOM) % span)) $((RANDOM % (span / 2)))
  hits[$hit]=$((hits[$hit] + 1))
  asked=$(asked_since "$before")
  unlinked=$unlinked_before half_removed=$half_removed_before
  survey "after a kill while $hit"
  keep_copy

  before=$(log_length)
  start_undisturbed "after a kill while $hit"
  mends=$(asked_since "$before")
  [ -z "$mends" ] || mended=$((mended + 1))
  ! comm -12 <(printf '%s\n' "$asked") <(printf '%s\n' "$mends") | grep . >/dev/null || again=$((again + 1))
  check_complete "the start after a kill while $hit"
done

cat <<TEXT
starts at the same time                        $together
kills of two starts at once                    $kills
  while starting                               ${hits[starting]}
  while downloading                            ${hits[downloading]}
  while installing                             ${hits[installing]}
  when everything was done                     ${hits[after]}
new versions of two components                 $published
libraries between their file and their link    $unlinked
older versions found half removed              $half_removed
rounds whose next start had to fetch           $mended
rounds whose next start fetched a package again $again
violations                                     $violations
TEXT
[ "$violations" -eq 0 ] || exit 1
good=yes
