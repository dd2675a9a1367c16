#!/usr/bin/env bash
# Many items, and large packages: time, CPU and the most memory, beyond that of a start with one small item.
#
#     bench/scale.sh BUILD-FOLDER ["ITEMS..." ["MEGABYTES..."]]
set -uo pipefail
build=$(cd "$1" && pwd)
items=${2-1 10 100 1000 2000}
megabytes=${3-1 100 1000 4000}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$here/site.sh"

mkdir -m 755 "$work/site"
serve
idle=

# lines UNIT COUNT SITE: the first start, and the one that finds everything there.
lines() {
  export page=$url/$3/index.html
  fresh_home
  for name in "$3-first" "$3-again"; do
    until='"event":"navigation"' measure "$name" "$lumhost" --json "$page"
    : "${idle:=$(memory "$name")}"
    printf '  %-50s %8.3f %8.3f %8.1f\n' "$2 $1, ${name##*-}" "$(wall "$name")" "$(cpu "$name")" \
      "$(awk -v a="$(memory "$name")" -v b="$idle" 'BEGIN { print (a - b) / 1024 }')"
    [ "$1" = items ] || row "  longest time that windows stood still, ms" \
      "$(grep -o 'longest pause of the windows" *: *"[0-9]*' "$HOME/.local/state/lumhost/last-start.json" | grep -o '[0-9]*$')"
  done
  rm -rf "$HOME"
}

printf '\n%-52s %8s %8s %8s\n' "Items and bytes" seconds CPU "MiB more"
for count in $items; do
  rm -rf "$work/components"
  for ((number = 1; number <= count; ++number)); do component "$(printf part%04d.bundle "$number")" 2000 0; done
  main_component=part0001.bundle publish "items$count" tar.gz
  lines items "$count" "items$count"
  rm -rf "$work/items$count"
done
for size in $megabytes; do
  rm -rf "$work/components"
  component part.bundle $((size * 1000000)) 0
  main_component=part.bundle publish "bytes$size" tar.zst
  # A virtual machine fetches memory from its host when it is first used; that is no part of a start. This uses as much,
  # or half of what is free if that is less.
  bytes=$((size * 2200000)) half=$(awk '/^MemAvailable/ { printf "%.0f", $2 * 512 }' /proc/meminfo)
  bytes=$((bytes < half ? bytes : half))
  head -c "$bytes" /dev/zero | tail -c "$bytes" >/dev/null
  lines "MB in one package" "$size" "bytes$size"
  rm -rf "$work/bytes$size"
done
