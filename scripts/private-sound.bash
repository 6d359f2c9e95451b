# Sourced by scripts that need a sound server of their own with a virtual microphone.

# start_private_sound FOLDER: starts a PulseAudio that nobody else talks to and exports what clients
# need to find it. Sink `speech` feeds the microphone `virtual_microphone`; sink `speakers` is an
# output and nothing else. Sets SOUND_PID.
start_private_sound() {
    local folder=$1
    mkdir -p "$folder/pulse" "$folder/home"
    chmod 700 "$folder/pulse"
    cat >"$folder/server.pa" <<PA
load-module module-native-protocol-unix socket=$folder/pulse/native auth-anonymous=1
load-module module-null-sink sink_name=speakers rate=48000 sink_properties=device.description=Speakers
load-module module-null-sink sink_name=speech rate=48000 channels=1 format=float32le norewinds=1
load-module module-remap-source source_name=virtual_microphone master=speech.monitor source_properties='device.description="Virtual Microphone"'
PA
    HOME=$folder/home XDG_RUNTIME_DIR=$folder PULSE_RUNTIME_PATH=$folder/pulse \
        PULSE_STATE_PATH=$folder/pulse DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent \
        pulseaudio -n --daemonize=no --exit-idle-time=-1 \
        -F "$folder/server.pa" >"$folder/pulse.log" 2>&1 &
    SOUND_PID=$!
    export PULSE_SERVER=unix:$folder/pulse/native
    for _ in $(seq 100); do
        pactl info >/dev/null 2>&1 && return 0
        kill -0 "$SOUND_PID" 2>/dev/null || break
        sleep 0.1
    done
    echo "the private sound server did not start:" >&2
    cat "$folder/pulse.log" >&2
    return 1
}
