#!/usr/bin/env bash
# Runs the public conformance suite of The Update Framework over tuf_client.
#
#     tests/delivery/release/conformance.sh BUILD-FOLDER SUITE-FOLDER [pytest options]
#
# SUITE-FOLDER holds a checkout of each of the repositories below, under its last name. Exit status 0 only when every
# test has passed: none may be skipped or expected to fail.
set -euo pipefail

# What the suite consists of, and the commits that this script was last tried with. Later ones should do as well.
repositories=(
  "theupdateframework/tuf-conformance eec841c186f81f2d9d8d30460c7e7deefa615f9e"
  "theupdateframework/python-tuf 4abccdcf2ea89f10e92628d4def074257c461af9"
  "secure-systems-lab/securesystemslib e3ccdc48fc980218bc5cca70cba6ced037c4dbc0"
)

fail() {
  printf 'conformance: %s\n' "$*" >&2
  exit 2
}

[ $# -ge 1 ] || fail "usage: conformance.sh BUILD-FOLDER SUITE-FOLDER [pytest options]"
client=$(realpath "$1/tests/tuf_client")
[ -x "$client" ] || fail "$client is missing; build it first (./run build)"
suite=${2:-}
missing=()
for repository in "${repositories[@]}"; do
  read -r name commit <<<"$repository"
  [ -n "$suite" ] && [ -e "$suite/${name#*/}/pyproject.toml" ] || missing+=("$name (commit ${commit:0:12} or later)")
done
if [ ${#missing[@]} -gt 0 ]; then
  printf 'conformance: the suite is not part of this project. Check these public repositories out on GitHub:\n' >&2
  printf '  %s\n' "${missing[@]}" >&2
  fail "each under its last name into one folder, and give that: ./run conformance FOLDER"
fi
suite=$(realpath "$suite")
shift 2
# Of the distribution, whatever other Python the path leads to.
for module in cryptography pytest requests urllib3; do
  /usr/bin/python3 -c "import $module" 2>/dev/null || fail "the package python3-$module is missing"
done
command -v faketime >/dev/null || fail "the package faketime is missing"

place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
# The suite takes a path without spaces, and expects failures that a file beside the client lists; here is none.
ln -s "$client" "$place/tuf_client"
# Names in annotations that an older python3-cryptography does not have.
cat >"$place/older_cryptography.py" <<'TEXT'
from cryptography.hazmat.primitives.asymmetric import types

for name in ("PrivateKeyTypes", "PublicKeyTypes"):
    if not hasattr(types, name):
        setattr(types, name, object)
TEXT

export PYTHONPATH="$place:$suite/python-tuf:$suite/securesystemslib:$suite/tuf-conformance" PYTHONDONTWRITEBYTECODE=1
export HOME=$place TMPDIR=$place LC_ALL=C.UTF-8
unset http_proxy https_proxy all_proxy HTTP_PROXY HTTPS_PROXY ALL_PROXY
cd "$place"
tests=$suite/tuf-conformance/tuf_conformance
status=0
/usr/bin/python3 -W ignore -m pytest -p no:cacheprovider -p older_cryptography -c /dev/null --rootdir "$tests" \
  --confcutdir "$tests" -q -ra --tb=short "$tests" --entrypoint "$place/tuf_client" "$@" 2>&1 | tee log || status=$?
[ "$status" -eq 0 ] || exit 1
if tail -n 1 log | grep -Eq 'skipped|xfailed|xpassed'; then
  fail "not every test was run and passed"
fi
