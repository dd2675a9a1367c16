#!/usr/bin/env bash
# Installs the package on a fresh system with nothing but what it asks for, tries it there, purges it, and looks whether
# anything is left.
#
#     clean_system.sh PACKAGE.deb [ROOT]
#
# ROOT is the root folder of a system of this distribution, which is changed; without it one is made with debootstrap from
# the mirror that this machine uses. Without debootstrap the package goes into an empty root folder, and this machine's
# libraries serve. Needs root; takes some minutes.
set -euo pipefail
package=$(realpath "$1")
root=${2:-}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
chmod 755 "$work"
trap 'rm -rf "$work"' EXIT

fail() {
  printf 'clean_system: %s\n' "$*" >&2
  exit 1
}

. "$here/fresh_system.sh"

say() { printf '\n== %s\n' "$1"; }

[ "$(id -u)" = 0 ] || fail "only root can set up a system"

apt_get() { within apt-get -qq -o Dpkg::Use-Pty=0 -o APT::Install-Recommends=no "$@" >"$work/apt.log" 2>&1 || {
  cat "$work/apt.log" >&2
  fail "apt-get $* failed"
}; }

# Every file but the person's, and what apt and dpkg keep for themselves. base-files makes /etc/opt without owning it, so
# dpkg takes that folder along when Chrome's file was the only thing in it.
files() {
  (cd "$root" && find . \( -path ./proc -o -path ./sys -o -path ./dev -o -path ./tmp -o -path ./run -o -path ./home/person \
    -o -path ./var/log -o -path ./var/cache/apt -o -path ./var/lib/apt \) -prune -o \
    ! -path './var/lib/dpkg/*-old' ! -path ./etc/opt ! -path './var/lib/dpkg/lock*' ! -path ./var/lib/dpkg/triggers/Lock -print | sort)
}

nothing_left() {
  if ! diff "$work/before" "$work/after"; then
    fail "the package's removal left what stands above (>), or took it along (<)"
  fi
  echo "nothing is left"
}

on_a_fresh_system() {
  if [ -z "$root" ]; then
    say "A fresh system"
    root=$work/root
    make_system "$(. /etc/os-release && echo "$VERSION_CODENAME")"
  fi
  cp /etc/resolv.conf "$root/etc/resolv.conf"
  cp "$package" "$root/tmp/lum.deb"
  install -m 755 "$here/trial.sh" "$root/tmp/trial.sh"

  say "What the package asks for, a window server, and a browser where the distribution has it as a package"
  apt_get update
  apt_get satisfy -y "$(dpkg-deb -f "$package" Depends)"
  apt_get install -y xvfb
  ! within apt-cache show chromium >/dev/null 2>&1 || apt_get install -y chromium
  ! within dpkg-query -W lum >/dev/null 2>&1 || apt_get purge -y lum # an earlier trial's
  within id person >/dev/null 2>&1 || within useradd --create-home --shell /bin/bash person
  files >"$work/before"

  say "Installation"
  apt_get install -y /tmp/lum.deb
  within dpkg --verify lum
  files | comm -13 "$work/before" - | wc -l | sed 's/$/ files and folders are new/'

  say "Trial"
  within setpriv --reuid person --regid person --init-groups env HOME=/home/person /tmp/trial.sh || fail "the trial failed"

  say "Removal"
  apt_get purge -y lum
  files >"$work/after"
  nothing_left
  ! within dpkg-query -W lum 2>/dev/null || fail "dpkg still knows the package"
  rm -f "$root/tmp/lum.deb" "$root/tmp/trial.sh"
}

in_an_empty_root() {
  echo "There is no debootstrap: the package goes into an empty root folder, and this machine's libraries serve."
  root=$work/root
  local dpkg=(dpkg --root="$root" --force-depends --force-script-chrootless --log=/dev/null)
  mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
  : >"$root/var/lib/dpkg/status"
  : >"$root/var/lib/dpkg/available"
  files >"$work/before"
  say "Installation"
  "${dpkg[@]}" --install "$package" 2>&1 | grep -v 'depends on\|is not installed\|^ *$' || true
  "${dpkg[@]}" --verify lum
  say "Trial"
  mkdir "$work/home"
  HOME=$work/home "$here/trial.sh" "$root/usr/bin"
  say "Removal"
  "${dpkg[@]}" --purge lum
  files | grep -v '^./var/lib/dpkg' >"$work/after"
  grep -v '^./var/lib/dpkg' "$work/before" >"$work/dpkg-less" && mv "$work/dpkg-less" "$work/before"
  nothing_left
}

if [ -n "$root" ] || command -v debootstrap >/dev/null; then
  on_a_fresh_system
else
  in_an_empty_root
fi
