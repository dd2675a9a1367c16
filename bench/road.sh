#!/usr/bin/env bash
# Twenty packages from a local web server until all are installed, against a shell script that does the same, and how
# near that comes to the work that cannot be left out.
#
#     bench/road.sh BUILD-FOLDER [ROUNDS]
set -uo pipefail
build=$(cd "$1" && pwd)
rounds=${2:-15}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$here/site.sh"

for number in {01..20}; do component "part$number.bundle" 6000000 10000000; done
mkdir -m 755 "$work/site"
serve
publish site tar.gz tar.zst
export page=$url/site/index.html
grep '^File' "$work/site/lummac.ini" | cut -d';' -f2 | while IFS= read -r path; do
  printf 'url = "%s/site/%s"\noutput = "%s"\n' "$url" "$path" "${path##*/}"
done >"$work/fetch"

# The parts of the work, each alone and on one thread.
cat >"$work/fetch-all" <<SH
cd "$work/fetched" && exec curl -sSf -K "$work/fetch"
SH
cat >"$work/hash-and-unpack" <<SH
cd "$work/fetched" && openssl dgst -sha256 *
for package in *; do bsdtar -x -f "\$package" -C "$work/unpacked"; done
SH

ours() {
  fresh_home
  until='"event":"navigation"' measure ours "$lumhost" --json "$page"
}
by_script() { # NAME --parallel|''
  rm -rf "$work/by-script"
  PARALLEL=$2 measure "$1" "$here/script.sh" "$url/site" "$work/keys/vendor.pem" "$work/by-script"
}
script() { by_script script --parallel; }
in_turn() { by_script in-turn ''; }
fetch() {
  rm -rf "$work/fetched"
  mkdir "$work/fetched"
  measure fetch sh "$work/fetch-all"
}
unpack() {
  rm -rf "$work/unpacked"
  mkdir "$work/unpacked"
  measure unpack sh "$work/hash-and-unpack"
}

# What runs after a large removal pays for it, so each round begins with another one. Nobody pays for what the one before
# has left to write.
turns=(fetch unpack ours script in_turn)
for ((round = 0; round < rounds; ++round)); do
  for ((turn = 0; turn < ${#turns[@]}; ++turn)); do
    sync
    "${turns[(round + turn) % ${#turns[@]}]}"
  done
done
diff -r "$work/by-script" "$HOME/GNUstep/Library/ApplicationSupport/Kelvo Folder/2.4" >"$work/differences"
grep -v ': lummac.ini' "$work/differences" && give_up "the two have not installed the same"

script=script
awk -v a="$(wall in-turn)" -v b="$(wall script)" 'BEGIN { exit !(a < b) }' && script=in-turn
floor=$(printf '%s\n' "$(cpu fetch)" "$(cpu unpack)" | sort -n | tail -n 1)
head_of "20 packages of 16 MB from a local web server"
figures "lumhost" ours
figures "shell script, curl --parallel" script
figures "shell script, one after another" in-turn
figures "only fetching, one after another" fetch
figures "only hashing and unpacking" unpack
ratio "20 packages: time : the faster script's" "$(quotient "$(wall ours)" "$(wall $script)")"
ratio "20 packages: CPU : the faster script's" "$(quotient "$(cpu ours)" "$(cpu $script)")"
ratio "20 packages: time : CPU of the larger part of the work" "$(quotient "$(wall ours)" "$floor")"
