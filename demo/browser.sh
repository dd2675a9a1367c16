# The same in Chromium, with the browser's extension. Sourced by run.

slow_site
expect "the browsers are told of lumhost" "$lumhost" browser install
"$lumhost" forbid "$slow" >/dev/null # asked about in the browser
LUM_NODE=$build/tests/browser LUM_BUILD=$build LUM_WORK=$work LUM_SITE=$site LUM_URL=$url LUM_SLOW=$slow \
  LUM_SCREENSHOTS=$work node "$source_folder/browser.mjs"
failures=$((failures + $?))
