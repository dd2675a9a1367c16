# What the user sees, window by window, each with a screenshot; at the end all of them on one sheet. Sourced by run.

# A second home in which nothing is installed yet, so that there is something to wait for.
export HOME=$work/home2
mkdir -p "$HOME"
trust_authority
"$lumhost" allow "$url" >/dev/null 2>&1
write_manifest 1,0,8,0
expect "the package that was changed is published again" "$lumsite" publish "$work/site.json" "$site" --url "$url"
slow_site

base64_of() { printf '%s' "$1" | base64 -w0; }

# show NAME PARAMETER...: opens the page of the slow site in the background.
show() {
  local name=$1
  shift
  "$lumhost" --log "$work/$name.trace" --param "LumUrlRoot=$slow" "$@" "$slow/index.html" >"$work/$name.out" 2>&1 </dev/null &
  shown=$!
}

has_window() { [ -n "$(window "$1")" ]; }
close_window() { xdotool windowclose "$(window "$1")" 2>/dev/null || true; }
ended() { ! kill -0 "$shown" 2>/dev/null; }
# The progress window, while packages arrive; Stop ends it.
quit_application
show progress --param LumProgressBarTitle="Joining your meeting"
check "the progress window is shown while packages arrive" wait_for 200 has_window "^Joining"
sleep 1
screenshot progress "the progress window"
check "Stop ends the start" press_until ended "^Joining" Escape
check "Stop reached the site's log" grep -q "ErrorCode[=:] *901\b" "$work/requests"

# The placeholder window of a fast join.
show placeholder --param lumloadingmeetingfastflag=1 \
  --param "LumWindowTitle=$(base64_of "Meeting Hall - Quarterly review")" \
  --param "LumConfName=$(base64_of "Quarterly review")" --param "LumHostName=$(base64_of "Ada Example")" \
  --param LumSupportSSLFlag=1
check "the placeholder window is shown" wait_for 200 has_window "Quarterly review"
sleep 2
screenshot placeholder "the placeholder window"
check "the meeting starts behind it" wait_for 600 running "Meeting Hall"
check "the placeholder's start ends well" wait_for 300 ended

# The alert: one meeting runs already.
show alert
check "a second meeting is refused with an alert" wait_for 200 has_window "Too Many Meetings"
screenshot alert "the alert"
alert_is_gone() { ! has_window "Too Many Meetings"; }
check "the alert closes" press_until alert_is_gone "Too Many Meetings" Return
wait_for 100 ended || kill "$shown"
quit_application

# The certificate panel: the page shows a certificate without those of its issuers, and they are not known here.
distrust_authority
rm -rf "$HOME/GNUstep/Library/ApplicationSupport/Kelvo Folder/2.4"
show panel --param "lumcertification=$(grep -o 'lumcertification" value="[^"]*' "$site/index.html" | sed 's/.*"//; s/.*|//')"
check "an unknown issuer is asked about" wait_for 200 has_window "ertificate"
screenshot panel "the certificate panel"
message_is_there() { has_window "$message_title"; }
check "Cancel refuses the certificate" press_until message_is_there "ertificate" Escape
check "the start has ended" press_until ended "$message_title" Return
check "with message 23" grep -q "message 23\b" "$work/panel.out"

montage "$work/progress.png" "$work/placeholder.png" "$work/alert.png" "$work/panel.png" "$work/meeting.png" \
  -label '%t' -tile 2x -geometry 640x400+8+8 "$work/contact-sheet.png" 2>/dev/null &&
  explain "All windows on one sheet: $work/contact-sheet.png."
