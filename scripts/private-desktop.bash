# Sourced by scripts that need a desktop session of their own on a machine without a display.

# start_private_desktop FOLDER [SERVICES]: starts a screen that nobody sees, a session bus, a window
# manager, a panel for tray icons, an unlocked keyring and assistive technology, and exports what
# programs need to find them. FOLDER exists and has a short path; SERVICES is where the bus finds what
# it starts on demand. Appends to the array DESKTOP_PIDS, in the order of their start.
start_private_desktop() {
    local folder=$1
    mkdir -p "$folder/run" "$folder/keyring/control"
    chmod 700 "$folder/run"
    unset WAYLAND_DISPLAY XAUTHORITY SESSION_MANAGER XDG_CURRENT_DESKTOP
    export XDG_RUNTIME_DIR=$folder/run LC_ALL=C.UTF-8

    # Without SERVICES none are started on demand: nothing of the machine's is reached by accident.
    local services=${2:+<servicedir>$2</servicedir>}
    cat >"$folder/bus.conf" <<XML
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=$folder/bus</listen>
  $services
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
XML
    dbus-daemon --nofork --config-file="$folder/bus.conf" >"$folder/bus.log" 2>&1 &
    DESKTOP_PIDS+=($!)
    export DBUS_SESSION_BUS_ADDRESS=unix:path=$folder/bus
    Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp -noreset 3>"$folder/display" \
        >"$folder/display.log" 2>&1 &
    DESKTOP_PIDS+=($!)
    await_private "the session bus" test -S "$folder/bus" || return 1
    await_private "the display" test -s "$folder/display" || return 1
    DISPLAY=:$(<"$folder/display")
    export DISPLAY

    /usr/libexec/at-spi-bus-launcher --launch-immediately >"$folder/accessibility.log" 2>&1 &
    DESKTOP_PIDS+=($!)
    export QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
    printf 'private' >"$folder/keyring/password"
    HOME=$folder/keyring XDG_DATA_HOME=$folder/keyring/data gnome-keyring-daemon --foreground \
        --components=secrets --control-directory="$folder/keyring/control" --unlock \
        <"$folder/keyring/password" >"$folder/keyring.log" 2>&1 &
    DESKTOP_PIDS+=($!)
    HOME=$folder openbox --sm-disable >"$folder/windows.log" 2>&1 &
    DESKTOP_PIDS+=($!)
    await_private "the window manager" root_has _NET_SUPPORTING_WM_CHECK || return 1
    # With it windows may be translucent, so that the popover has its shadow.
    HOME=$folder picom --backend xrender --config /dev/null >"$folder/compositor.log" 2>&1 &
    DESKTOP_PIDS+=($!)
    trayer --edge top --align right --widthtype request --heighttype pixel --height 26 \
        --padding 4 --SetDockType true --SetPartialStrut true >"$folder/tray.log" 2>&1 &
    DESKTOP_PIDS+=($!)
    await_private "the panel" xdotool search --name '^panel$' || return 1
    await_private "the keyring" bus_has org.freedesktop.secrets || return 1
    await_private "assistive technology" bus_has org.a11y.Bus || return 1
}

# private_icon: where the middle of the one tray icon is, as "X Y"; fails while there is none.
private_icon() {
    local name value
    local -A panel=([WIDTH]=0)
    while IFS='=' read -r name value; do
        panel[$name]=$value
    done < <(xdotool search --name '^panel$' getwindowgeometry --shell 2>/dev/null)
    # Empty, the panel is a line at the edge of the screen.
    ((panel[WIDTH] >= 16)) &&
        echo "$((panel[X] + panel[WIDTH] / 2)) $((panel[Y] + panel[HEIGHT] / 2))"
}

root_has() {
    xprop -root "$1" 2>/dev/null | grep -q 'window id'
}

bus_has() {
    dbus-send --session --print-reply=literal --dest=org.freedesktop.DBus /org/freedesktop/DBus \
        org.freedesktop.DBus.NameHasOwner "string:$1" 2>/dev/null | grep -q true
}

await_private() {
    local what=$1
    shift
    for _ in $(seq 200); do
        "$@" >/dev/null 2>&1 && return 0
        sleep 0.05
    done
    echo "the private desktop has no $what" >&2
    return 1
}
