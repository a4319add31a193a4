# ./run demo: a software camera, the registered DLL and the script that a user would write. Sourced by ./run.

source scripts/screen.sh

camera_pid=''

stop_camera() {
    [ -z "$camera_pid" ] || { kill -INT "$camera_pid" 2>/dev/null || true; wait "$camera_pid" 2>/dev/null || true; camera_pid=''; }
}

# await_line FILE PATTERN SECONDS
await_line() {
    local deadline=$((SECONDS + $3))
    until grep -qE "$2" "$1" 2>/dev/null; do
        [ "$SECONDS" -lt "$deadline" ] || return 1
        sleep 0.05
    done
}

demo() {
    local camera=softcam script=first_light arguments=("$@")
    while [ $# -gt 0 ]; do
        case "$1" in
            --camera) camera=${2:-}; shift 2 || fail "--camera wants softcam or third-party" ;;
            --features) script=features; shift ;;
            --viewer) camera=viewer; shift ;;
            *) fail "demo does not know '$1'" ;;
        esac
    done
    case "$camera" in
        softcam) prepare_demo; enter_private_network demo "${arguments[@]}"; demo_softcam "$script" ;;
        third-party) prepare_demo test; enter_private_network demo "${arguments[@]}"; demo_third_party "$script" ;;
        viewer) prepare_viewer; enter_private_network demo "${arguments[@]}"; demo_viewer ;;
        *) fail "--camera wants softcam or third-party" ;;
    esac
}

prepare_demo() {
    [ -z "${VEX_PRIVATE_NETWORK:-}" ] || return 0
    ensure_packages "$@"
    build native softcam
    build windows VexKamCOMWrapper
    mkdir -p out
}

first_light() {
    say "examples/vbscript/first_light.vbs"
    run_script 180 examples/vbscript/first_light.vbs "First light: done." "$(windows_path "$root/out")" "$@"
}

# The same arguments; only the camera's address counts.
features() {
    say "examples/vbscript/features.vbs"
    run_script 180 examples/vbscript/features.vbs "Done." "$1"
}

# camera LOG PATTERN PROGRAM...: starts a camera and waits until its log shows that it listens.
start_camera() {
    local log=$1 pattern=$2
    shift 2
    : >"$log"  # at once: the line that is waited for may stand in it since the last time
    "$@" >"$log" 2>&1 {lock_fd}>&- &
    camera_pid=$!
    trap 'stop_camera; wine_stop; stop_screen' EXIT
    [ -z "$pattern" ] || await_line "$log" "$pattern" 10 || { cat "$log"; fail "the camera did not start"; }
}

demo_softcam() {
    local script=${1:-first_light}
    wine_start
    register_server
    say "starting the software camera on 127.0.0.2"
    start_camera build/softcam.log listening "$build_native/tools/softcam/softcam" --address 127.0.0.2 --serial FIRST-LIGHT
    "$script" 127.0.0.2 || fail "the demo failed"
    stop_camera
    [ "$script" != first_light ] || say "saved: out/first_light.bmp"
}

# The third party's camera answers on every interface of its machine and broadcasts; it is run only where there is
# nothing but loopback.
demo_third_party() {
    local script=${1:-first_light}
    [ -n "${VEX_PRIVATE_NETWORK:-}" ] || fail "the third-party camera needs a network namespace, and that needs root"
    wine_start
    register_server
    say "starting the third party's camera"
    # it says nothing when it listens; the search waits a second for answers
    start_camera build/third-party.log '' arv-fake-gv-camera-0.8 -i lo
    # it sends no test packets, and a frame in one burst of small packets overruns the sockets of Wine
    "$script" any 8192 || fail "the demo failed"
    stop_camera
    [ "$script" != first_light ] || say "saved: out/first_light.bmp"
}

prepare_viewer() {
    [ -z "${VEX_PRIVATE_NETWORK:-}" ] || return 0
    ensure_packages gui
    build native softcam pvctl
    build windows VexKamCOMWrapper viewer
    mkdir -p out
}

# The viewer of examples/cpp on the user's display, until the user closes it, or on a screen that nobody sees, until its
# picture was taken.
demo_viewer() {
    local viewer code=0 window deadline
    start_screen
    wine_start_on_screen
    register_server
    say "starting the software camera on 127.0.0.2"
    start_camera build/softcam.log listening "$build_native/tools/softcam/softcam" --address 127.0.0.2 --serial VIEWER
    "$build_native/tools/pvctl/pvctl" set 127.0.0.2 PixelFormat=BayerRG8 >build/pvctl.log || { cat build/pvctl.log; fail "the camera sends no colours"; }
    say "examples/cpp/viewer.cpp"
    "$wine_loader" "$build_windows/examples/cpp/viewer.exe" 127.0.0.2 "$(windows_path "$root/out")" \
        >build/viewer.log 2>&1 {lock_fd}>&- &
    viewer=$!
    # the title says so when images come
    deadline=$((SECONDS + 60))
    until window=$(xdotool search --onlyvisible --name '^Viewer - 127.0.0.2, live$' 2>/dev/null | tail -1) && [ -n "$window" ]; do
        kill -0 "$viewer" 2>/dev/null || { cat build/viewer.log; fail "the viewer has ended"; }
        [ "$SECONDS" -lt "$deadline" ] || fail "the viewer shows no images"
        sleep 0.2
    done
    import -frame -window "$window" out/viewer.png
    say "saved: out/viewer.png"
    if [ ${#screen_pids[@]} -gt 0 ]; then
        xdotool windowactivate --sync "$window" key alt+F4
        deadline=$((SECONDS + 20))
        while kill -0 "$viewer" 2>/dev/null; do
            [ "$SECONDS" -lt "$deadline" ] || fail "the viewer does not close"
            sleep 0.1
        done
    else
        say "the viewer is shown until you close it"
    fi
    wait "$viewer" || code=$?
    [ "$code" -eq 0 ] || fail "the viewer ended with code $code"
    stop_camera
}
