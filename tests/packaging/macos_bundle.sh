#!/usr/bin/env bash
# macos_bundle.sh BUILD SDK: the bundle for macOS in the build folder is what macOS needs: laid out and linked as it should
# be, for both processors, showing the entry points and nothing else, and without a trace of this machine.
set -euo pipefail
build=$(cd "$1" && pwd) sdk=$(cd "$2" && pwd)
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
source=$PWD
contents=$build/lumext.bundle/Contents
code=$contents/MacOS/lumext
library=$contents/Frameworks/liblumfuzzywindow.1.dylib
faults=0

fault() {
  printf 'macos: %s\n' "$*" >&2
  faults=$((faults + 1))
}

# same WHAT EXPECTED FOUND: texts of several lines, in any order.
same() {
  local difference
  difference=$(diff <(sort -u <<<"$2") <(sort -u <<<"$3")) || fault "$1: expected (<) and found (>):"$'\n'"$difference"
}

tool() { # NAME: the tool of the version that the bundle was built with
  sed -n 's/^CMAKE_OBJDUMP:[A-Z]*=\(.*\)llvm-objdump\(.*\)/\1llvm-'"$1"'\2/p' "$build/CMakeCache.txt"
}
objdump=$(tool objdump) nm=$(tool nm) lipo=$(tool lipo)

# Of the load commands of one kind: the value of one field.
loads() { # FILE PROCESSOR KIND FIELD
  "$objdump" --macho --arch="$2" --private-headers "$1" |
    awk -v kind="$3" -v field="$4" '$1 == "cmd" { inside = $2 ~ "^(" kind ")$" } inside && $1 == field { print $2 }'
}

exports() { # MAP: as the linker knows them
  sed -n 's/^ *\([A-Za-z]*\);.*/_\1/p' "$1"
}

check_processor() { # FILE PROCESSOR FIRST_VERSION MAP
  local what
  what="$(basename "$1") for $2"
  same "$what, first version" "$3" "$(loads "$1" "$2" LC_BUILD_VERSION minos)"
  same "$what, system" macos "$(loads "$1" "$2" LC_BUILD_VERSION platform)"
  same "$what, exported functions" "$(exports "$4")" "$("$nm" --arch="$2" -gUj "$1" | grep -v ':$')"
  loads "$1" "$2" 'LC_LOAD_.*DYLIB|LC_REEXPORT_DYLIB' name |
    while read -r name; do
      case $name in
      /System/Library/Frameworks/* | /usr/lib/libobjc.* | /usr/lib/libc++.* | /usr/lib/libSystem.* | @rpath/liblumfuzzywindow.1.dylib) ;;
      *) echo "$what needs $name" ;;
      esac
    done >>"$problems"
  # The linker refuses what no stub has; what it was told to leave open would stand here.
  "$nm" --arch="$2" -um "$1" | grep -E 'dynamically looked up|\(from unknown' >>"$problems" || true
}

problems=$(mktemp)
trap 'rm -f "$problems"' EXIT

tables=$(cd lum/resources && printf '%s\n' Localizable_*.strings)
same "17 tables of texts" 17 "$(wc -l <<<"$tables")"
same "the bundle's files" \
  "$(printf '%s\n' Frameworks/liblumfuzzywindow.1.dylib Info.plist MacOS/lumext Resources/progressWindow.xib Resources/warninglogo.png && xargs printf 'Resources/%s\n' <<<"$tables")" \
  "$(cd "$contents" && find . -type f | sed 's,^\./,,;s,progressWindow.nib,progressWindow.xib,')"
for table in $tables; do
  iconv -f UTF-16 -t UTF-8 "$contents/Resources/$table" | cmp -s - <(tail -c +4 "lum/resources/$table") ||
    fault "$table is not the table of lum/resources in UTF-16"
done
for file in "$code" "$library"; do
  same "$(basename "$file"), processors" $'arm64\nx86_64' "$("$lipo" -archs "$file" | tr ' ' '\n' | grep .)"
done
for processor in x86_64:10.15 arm64:12.0; do
  check_processor "$code" "${processor%:*}" "${processor#*:}" lum/exports.map
  check_processor "$library" "${processor%:*}" "${processor#*:}" fuzzywindow/exports.map
  same "run paths" @loader_path/../Frameworks "$(loads "$code" "${processor%:*}" LC_RPATH path)"
  [ "${processor%:*}" = x86_64 ] || for file in "$code" "$library"; do # nothing runs there that is not signed
    same "$(basename "$file"), signature" LC_CODE_SIGNATURE "$(loads "$file" arm64 LC_CODE_SIGNATURE cmd)"
  done
  same "the library's name" @rpath/liblumfuzzywindow.1.dylib "$(loads "$library" "${processor%:*}" LC_ID_DYLIB name)"
done
for path in "$source" "$build" "$sdk" "$HOME/"; do
  { grep -rlaF -- "$path" "$contents" || true; } |
    while read -r file; do echo "$file holds the path $path"; done >>"$problems"
done
# Every source that is for macOS has been compiled, and no other.
compiled=$(sed -n 's,^ *"file": "'"$source"'/\(.*\)".*,\1,p' "$build/compile_commands.json" | grep -E '^(lum|fuzzywindow)/')
same "sources for macOS" \
  "$(git ls-files 'lum/*.cpp' 'lum/*.m' 'lum/*.mm' 'fuzzywindow/*.cpp' 'fuzzywindow/*.mm' | grep -vE '^lum/platform/linux/|_(xcb|pango)\.')" \
  "$compiled"
while read -r problem; do fault "$problem"; done <"$problems"
[ "$faults" -eq 0 ] || exit 1
echo "The bundle is ${contents%/Contents}: both processors, $(exports lum/exports.map | wc -l) entry points, $(wc -l <<<"$compiled") sources."
