# Sourced by scripts that use the program as a person and the web app do, and watch what arrives.
#
# They set `bin`, the folder of the tools; `out`, where pictures and records go; `backend`, the
# backend's address; and `app`, the program's process.

# wait_for SECONDS WHAT COMMAND...: polls until the command succeeds.
wait_for() {
    local limit=$1 what=$2
    shift 2
    for _ in $(seq $((limit * 10))); do
        "$@" >/dev/null 2>&1 && return 0
        sleep 0.1
    done
    echo "${0##*/}: $what: not within $limit s" >&2
    return 1
}

ask() {
    curl -fsS --noproxy '*' "$@"
}
# phase: of the session `session`.
phase() {
    ask "$backend/dev/sessions/$session" | sed -n 's/.*"phase": *"\([a-z]*\)".*/\1/p'
}
phase_is() {
    [[ $(phase) == "$1" ]]
}

# has_heard SECONDS: whether so much of the session `session` has arrived.
has_heard() {
    local heard
    heard=$(ask "$backend/dev/sessions/$session" |
        sed -n 's/.*"seconds": *\([0-9]*\).*/\1/p' | head -n 1)
    ((${heard:-0} >= $1))
}

# start_session: as the web app does. Sets `session`.
start_session() {
    ask -X POST "$backend/dev/sessions" >"$out/session.json"
    session=$(sed -n 's/.*"session_id": *"\([^"]*\)".*/\1/p' "$out/session.json")
}

# speak_sentence: into the microphone of a private sound server (private-sound.bash), again and again.
# Sets MICROPHONE_PID.
speak_sentence() {
    local sentence="The quick brown fox jumps over the lazy dog, while seven wizards quietly pack a
        large box of orange liquor jugs. Every sample that is promised shall arrive."
    espeak-ng -v en -s 150 -w "$out/sentence.wav" "$sentence"
    sox -D "$out/sentence.wav" -r 48000 -c 1 -b 16 "$out/spoken.wav" pad 0.2 0.3
    rm "$out/sentence.wav"
    "$bin/quorvane-tandrel-virtual-microphone" --sink speech --timing "$out/timing" \
        "$out/spoken.wav" 2>"$out/microphone.log" &
    MICROPHONE_PID=$!
    wait_for 10 "the virtual microphone" test -s "$out/timing"
}

# report [ARGUMENT...]: what arrived of the session `session`, against what was spoken.
report() {
    ask "$backend/dev/sessions/$session/messages.csv" >"$out/arrived.csv"
    ask "$backend/dev/sessions/$session/audio.wav" >"$out/received.wav"
    echo
    local report=("$@" --arrived "$out/arrived.csv")
    if [[ -f $out/spoken.wav ]]; then
        "$bin/quorvane-tandrel-audio-check" --loop "$out/spoken.wav" "$out/received.wav" \
            >"$out/check.txt" || {
            cat "$out/check.txt"
            echo "${0##*/}: the WAV does not hold what was spoken" >&2
            return 1
        }
        cat "$out/check.txt"
        local offset loop
        read -r offset loop < <(sed -n "s/^offset: \([0-9.]*\) frames .* reference's \([0-9]*\),.*/\1 \2/p" "$out/check.txt")
        report+=(--reference-start "$(<"$out/timing")" --offset-frames "$offset"
            --loop-frames "$loop")
    fi
    "$bin/quorvane-tandrel-stream-report" "${report[@]}"
    printf '%-34s %s\n' "WAV" "$out/received.wav"
}

step=0
# picture NAME TEXT: a picture of the screen, once it stands still.
picture() {
    step=$((step + 1))
    local file=$out/$step-$1.png
    sleep 0.4
    import -silent -window root "$file"
    printf '%d. %-34s %s\n' "$step" "$2" "$file"
}
driver() {
    "$bin/quorvane-tandrel-desktop-driver" "$app" "$@"
}
# click NAME: moves the mouse there and clicks.
click() {
    local place
    place=$(driver where "$1")
    # shellcheck disable=SC2086
    xdotool mousemove $place click 1
}

# sign_in: by mouse and keyboard, in the popover that is open.
sign_in() {
    click Email
    xdotool type --delay 20 demo@quorvane.example
    xdotool key Tab
    click Password
    xdotool type --delay 20 tandrel-demo
    picture sign-in "The sign-in form, filled in"
    click "Sign In"
    driver await "Waiting"
    picture waiting "Signed in, waiting for a session"
}
