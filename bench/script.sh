#!/usr/bin/env bash
# What an administrator would write instead of the extension: fetches all packages of an instruction file, holds their
# hashes and signatures against it and unpacks them.
#
#     script.sh SITE-URL CERTIFICATE FOLDER [curl's further options]
set -euo pipefail
url=$1 certificate=$2 folder=$3
shift 3
mkdir -p "$folder"
staging=$(mktemp -d "$folder/.staging.XXXXXX")
trap 'rm -rf "$staging"' EXIT
cd "$staging"

curl -sSf -o lummac.ini "$url/lummac.ini"
grep '^File' lummac.ini | sed 's/^[^=]*=//' >lines
cut -d';' -f2 lines | while IFS= read -r path; do
  printf 'url = "%s/%s"\noutput = "%s"\n' "$url" "$path" "${path##*/}"
done >fetch
# shellcheck disable=SC2086 # an empty PARALLEL is no argument
curl -sSf ${PARALLEL---parallel} "$@" -K fetch

while IFS=';' read -r name path _ _ _ _ _ _ _ _ hash method signature _; do
  file=${path##*/}
  [ "$(openssl dgst -r "-$method" "$file" | cut -d' ' -f1)" = "$hash" ]
  printf '%s' "$signature" | openssl base64 -d -A >"$file.signature"
  openssl pkeyutl -verifyrecover -certin -inkey "$certificate" -in "$file.signature" | tail -c "${#hash}" >"$file.signed"
  [ "$(cat "$file.signed")" = "$hash" ]
  mkdir "$file.unpacked"
  bsdtar -x -f "$file" -C "$file.unpacked"
  rm -rf "${folder:?}/$name"
  mv "$file.unpacked/$name" "$folder/$name"
done <lines
