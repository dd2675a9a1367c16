#!/usr/bin/env bash
# Runs the README's two commands from a fresh clone on fresh systems of the distribution.
#
#     systems.sh [RELEASE]...        by default: bookworm trixie
#
# Each system is made with debootstrap in a temporary folder, gets a clone of what is committed here, and runs ./run demo
# and ./run test in it, which install what they need. Needs root, some 8 GB of disk, and about half an hour for each.
# LUM_SYSTEMS names a folder in which the systems are kept and used again (the clone is always fresh, the compiler cache is
# not), for whoever works on a port.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

fail() {
  printf 'systems: %s\n' "$*" >&2
  exit 1
}

. tests/packaging/fresh_system.sh

[ "$(id -u)" = 0 ] || fail "only root can set up a system"
[ $# -gt 0 ] || set -- bookworm trixie
kept=${LUM_SYSTEMS:-}
work=${kept:-$(mktemp -d)}
mkdir -p "$work"
chmod 755 "$work"
[ -n "$kept" ] || trap 'rm -rf "$work"' EXIT

for release in "$@"; do
  root=$work/$release
  if [ ! -d "$root/home" ]; then
    printf '\n== A fresh %s\n' "$release"
    make_system "$release"
  fi
  rm -rf "$root/root/lum"
  git clone -q --no-hardlinks . "$root/root/lum"
  within sh -c 'apt-get -qq update && apt-get -qq install -y --no-install-recommends ca-certificates git >/dev/null'
  for command in demo test; do
    printf '\n== %s: ./run %s\n' "$release" "$command"
    began=$SECONDS
    within sh -c "cd /root/lum && ./run $command --yes </dev/null" || fail "./run $command fails on $release"
    printf '%s: ./run %s passed in %d s\n' "$release" "$command" $((SECONDS - began))
  done
  [ -n "$kept" ] || rm -rf "$root"
done
