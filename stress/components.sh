# The components that kills.sh publishes, and what is known of every version of them. Sourced by it.

bundles=(Alpha.bundle Beta.bundle KitOne.framework Gamma.bundle KitTwo.framework Shared.bundle confshell.bundle)
libraries=(libone libtwo libthree)
declare -A revision digest # of each component; of "NAME VERSION"

version_of() { printf '1,0,%d,0' "${revision[$1]}"; }

property_list() {
  printf '<?xml version="1.0"?>\n<plist version="1.0"><dict><key>CFBundleVersion</key><string>%s</string></dict></plist>\n' \
    "${1//,/.}"
}

noise() { head -c "$1" /dev/urandom; } # does not compress
text() { yes "a line of the $1" | head -c "$2" || true; }

make_bundle() {
  local folder=$components/$1 version=$2 number
  mkdir -p "$folder/Contents/MacOS" "$folder/Contents/Resources/pieces"
  property_list "$version" >"$folder/Contents/Info.plist"
  noise 300000 >"$folder/Contents/MacOS/${1%.*}"
  chmod 755 "$folder/Contents/MacOS/${1%.*}"
  noise 1200000 >"$folder/Contents/Resources/pattern"
  text "$1 of $version" 1500000 >"$folder/Contents/Resources/text"
  : >"$folder/Contents/Resources/empty"
  : >"$folder/Contents/Resources/only in $version"
  ln -s ../pattern "$folder/Contents/Resources/pieces/latest"
  for number in {1..40}; do
    printf '%s %s\n' "$number" "$version" >"$folder/Contents/Resources/pieces/$number"
  done
}

make_framework() {
  local folder=$components/$1 version=$2 name=${1%.*}
  mkdir -p "$folder/Versions/A/Resources"
  noise 800000 >"$folder/Versions/A/$name"
  property_list "$version" >"$folder/Versions/A/Resources/Info.plist"
  text "$1 of $version" 500000 >"$folder/Versions/A/Resources/text"
  ln -s A "$folder/Versions/Current"
  ln -s "Versions/Current/$name" "$folder/$name"
  ln -s Versions/Current/Resources "$folder/Resources"
}

# One text for a folder with all that is in it: names, kinds, permissions, targets of links, contents.
digest_of() {
  (
    cd "$1" || exit 1
    find . -mindepth 1 \( -type l -printf '%y %P %l\n' -o -printf '%y %m %P\n' \) | LC_ALL=C sort
    find . -type f -print0 | LC_ALL=C sort -z | xargs -0 -r sha256sum
  ) 2>&1 | sha256sum | cut -d' ' -f1
}

# The next version of a component, as publishing will take it and as it must be found installed.
make_next_version() {
  local name=$1 expected version
  revision[$name]=$((${revision[$name]:-0} + 1))
  version=$(version_of "$name")
  rm -rf "${components:?}/$name" "${components:?}/$name.dylib"
  case $name in
  *.bundle) make_bundle "$name" "$version" ;;
  *.framework) make_framework "$name" "$version" ;;
  *) noise 400000 >"$components/$name.dylib" ;;
  esac
  expected=$components/$name
  [ -d "$expected" ] || expected+=.dylib
  if [ "$name" = KitTwo.framework ]; then # its links travel as files that hold their targets
    rm -rf "$work/links-as-files"
    cp -a "$expected" "$work/links-as-files"
    expected=$work/links-as-files
    local link target
    while IFS= read -r -d '' link; do
      target=$(readlink "$link")
      rm "$link"
      printf '%s' "$target" >"$link"
    done < <(find "$expected" -type l -print0)
  fi
  if [ -d "$expected" ]; then
    digest[$name $version]=$(digest_of "$expected")
  else
    digest[$name $version]=$(sha256sum <"$expected")
  fi
}

publish() {
  local name lines="" format
  for name in "${libraries[@]}"; do
    lines+="{ \"path\": \"components/$name.dylib\", \"version\": \"$(version_of "$name")\" },"
  done
  for name in "${bundles[@]}"; do
    case $name in
    KitTwo.framework) format='"linksAsFiles": true' ;;
    Shared.bundle) format='"target": "shared"' ;;
    Gamma.bundle) format='"format": "zip"' ;;
    *) format='"format": "tar.zst"' ;;
    esac
    lines+="{ \"path\": \"components/$name\", \"version\": \"$(version_of "$name")\", $format },"
  done
  cat >"$work/site.json" <<TEXT
{
  "url": "$url",
  "sections": [{ "name": "Kelvo", "keys": "keys" }],
  "components": [${lines%,}],
  "pages": [{
    "component": "confshell.bundle",
    "parameters": {
      "LumProductVersion": "2.4", "LumDownloadOnly": "TRUE", "szNextUrl": "$url/next.html"
    }
  }]
}
TEXT
  "$lumsite" publish "$work/site.json" "$site" --url "$url" >"$work/publish.log" 2>&1 || give_up "publishing fails" "$work/publish.log"
}
