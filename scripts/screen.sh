# A screen to show windows on, for the viewer and the benchmark of the windows. Sourced by what ./run does.

screen_pids=()

# Goes on with the user's display, or where there is none that answers with a screen of its own that ends with ./run.
start_screen() {
    [ -z "${DISPLAY:-}" ] || ! xdotool getdisplaygeometry >/dev/null 2>&1 || return 0
    local number=70 deadline=$((SECONDS + 20))
    while [ -e "/tmp/.X$number-lock" ] || [ -e "/tmp/.X11-unix/X$number" ]; do number=$((number + 1)); done
    export DISPLAY=:$number
    Xvfb "$DISPLAY" -screen 0 1600x1000x24 -nolisten tcp -noreset >build/screen.log 2>&1 {lock_fd}>&- &
    screen_pids=($!)
    until xdotool getdisplaygeometry >/dev/null 2>&1; do
        [ "$SECONDS" -lt "$deadline" ] || { cat build/screen.log; fail "there is no screen"; }
        sleep 0.05
    done
    openbox >>build/screen.log 2>&1 {lock_fd}>&- &
    screen_pids+=($!)
    trap 'wine_stop; stop_screen' EXIT
}

stop_screen() {
    [ ${#screen_pids[@]} -eq 0 ] || kill "${screen_pids[@]}" 2>/dev/null || true
    screen_pids=()
}

# Wine with its windows on the display, in a prefix of its own: the other one has none.
wine_start_on_screen() {
    export WINEPREFIX=$root/build/wine-screen
    mkdir -p "$WINEPREFIX"
    "$wine_server" -p {lock_fd}>&-
    wine_started=1
    trap 'wine_stop; stop_screen' EXIT
    [ ! -e "$WINEPREFIX/.ready" ] || return 0
    say "making a Wine prefix for windows"
    "$wine_loader" wineboot -i >build/wine.log 2>&1 || { tail -5 build/wine.log; fail "Wine could not make its prefix"; }
    touch "$WINEPREFIX/.ready"
}
