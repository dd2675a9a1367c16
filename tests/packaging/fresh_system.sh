#!/usr/bin/env bash
# Functions to make a fresh system of the distribution in a folder and to run commands in it; for scripts that source this
# file, have a function `fail`, and name the system's folder in `root`. All of them need root.

# make_system RELEASE: a minimal system of that release ("bookworm") in the folder `root`, from the mirror that apt on this
# machine uses.
make_system() {
  local mirror log
  # shellcheck disable=SC2016 # apt's own
  mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' "Codename: $(. /etc/os-release && echo "$VERSION_CODENAME")" | head -n 1)
  [ -n "$mirror" ] || fail "apt on this machine knows no mirror of its own release"
  log=$(mktemp)
  debootstrap --variant=minbase "$1" "$root" "$mirror" >"$log" || { tail "$log" >&2; fail "debootstrap of $1 failed"; }
  rm -f "$log"
  echo force-unsafe-io >"$root/etc/dpkg/dpkg.cfg.d/quick" # a system that lives for minutes need not survive a power cut
  cp /etc/resolv.conf "$root/etc/resolv.conf"
}

# within COMMAND...: in that system, which sees no processes of this one; all that it started ends with it.
within() {
  # shellcheck disable=SC2016 # for the shell inside
  unshare --mount --pid --ipc --fork --kill-child bash -c '
    root=$1
    shift
    mount --make-rprivate /
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    mkdir -p "$root/dev/shm"
    mount -t tmpfs tmpfs "$root/dev/shm"
    exec env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 DEBIAN_FRONTEND=noninteractive chroot "$root" "$@"
  ' - "$root" "$@"
}
