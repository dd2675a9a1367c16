#!/usr/bin/env bash
# Ten packages of 2 MB over a line of 20 Mbit/s with 50 ms delay, against a shell script; and with a
# line that breaks twice on the way.
#
#     bench/line.sh BUILD-FOLDER [ROUNDS]
set -uo pipefail
build=$(cd "$1" && pwd)
rounds=${2:-3}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$here/site.sh"

for number in {01..10}; do component "part$number.bundle" 2000000 0; done
mkdir -m 755 "$work/site"
serve
"$build/bench/lum_line" "$server_port" 20000000 25 "$work/line-port" &
line=$!
servers+=("$line")
for _ in {1..50}; do [ -s "$work/line-port" ] && break; sleep 0.1; done
url=http://127.0.0.1:$(cat "$work/line-port")
publish site tar.zst
export page=$url/site/index.html
# Twice, about a third and two thirds on the way, all connections break and the line is gone for a second.
interrupt() {
  for _ in 1 2; do
    sleep 3
    kill -USR1 "$line"
  done
}

for ((round = 0; round < rounds; ++round)); do
  fresh_home
  until='"event":"navigation"' measure slow "$lumhost" --json "$page"
  rm -rf "$work/by-script"
  measure slow-script "$here/script.sh" "$url/site" "$work/keys/vendor.pem" "$work/by-script"
  fresh_home
  interrupt &
  until='"event":"navigation"' measure broken "$lumhost" --json "$page"
  wait $!
  rm -rf "$work/by-script"
  interrupt &
  measure broken-script "$here/script.sh" "$url/site" "$work/keys/vendor.pem" "$work/by-script" \
    --retry 10 --retry-all-errors --retry-connrefused -C -
  wait $!
done
head_of "10 packages of 2 MB, 20 Mbit/s, 50 ms"
figures "lumhost" slow
figures "shell script, curl --parallel" slow-script
figures "lumhost, the line broken twice" broken
figures "shell script, the same, curl --retry -C -" broken-script
ratio "slow line: time : the script's" "$(quotient "$(wall slow)" "$(wall slow-script)")"
ratio "slow line, broken twice: time : the script's" "$(quotient "$(wall broken)" "$(wall broken-script)")"
ratio "slow line: time : what 20 MB take on it" "$(quotient "$(wall slow)" 8)"
