# ./run demo: a software camera, the registered DLL and the script that a user would write. Sourced by ./run.

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
    local camera=softcam
    while [ $# -gt 0 ]; do
        case "$1" in
            --camera) camera=${2:-}; shift 2 || fail "--camera wants softcam or third-party" ;;
            *) fail "demo does not know '$1'" ;;
        esac
    done
    case "$camera" in
        softcam) ensure_packages; demo_softcam ;;
        third-party) ensure_packages test; demo_third_party ;;
        *) fail "--camera wants softcam or third-party" ;;
    esac
}

prepare_demo() {
    build native
    build windows
    wine_start
    register_server
    mkdir -p out
}

first_light() {
    say "examples/vbscript/first_light.vbs"
    run_script 180 examples/vbscript/first_light.vbs "First light: done." "$(windows_path "$root/out")" "$@"
}

demo_softcam() {
    prepare_demo
    say "starting the software camera on 127.0.0.2"
    "$build_native/tools/softcam/softcam" --address 127.0.0.2 --serial FIRST-LIGHT >build/softcam.log 2>&1 &
    camera_pid=$!
    trap 'stop_camera; wine_stop' EXIT
    await_line build/softcam.log listening 10 || { cat build/softcam.log; fail "the software camera did not start"; }
    local code=0
    first_light 127.0.0.2 || code=$?
    stop_camera
    [ "$code" -eq 0 ] || fail "the demo failed"
    say "saved: out/first_light.bmp"
}

# The third party's camera answers on every interface of its machine, so it gets a machine of its own: a network
# namespace with nothing but loopback, in which the script (and its own Wine prefix) runs too.
demo_third_party() {
    [ "$(id -u)" -eq 0 ] || fail "the third-party camera needs a network namespace, and that needs root"
    prepare_demo
    wine_stop
    local namespace=vexdemo
    ip netns del $namespace 2>/dev/null || true
    ip netns add $namespace
    ip netns exec $namespace ip link set lo up
    export WINEPREFIX=$root/build/wine-namespace
    if [ ! -e "$WINEPREFIX" ]; then cp -a "$root/build/wine" "$WINEPREFIX"; fi
    ip netns exec $namespace arv-fake-gv-camera-0.8 -i lo >build/third-party.log 2>&1 &
    camera_pid=$!
    trap 'stop_camera; wine_stop; ip netns del vexdemo 2>/dev/null || true' EXIT
    local loader=$wine_loader server=$wine_server code=0
    cat >build/in-namespace <<SCRIPT
#!/bin/sh
exec ip netns exec $namespace $loader "\$@"
SCRIPT
    chmod +x build/in-namespace
    wine_loader=$root/build/in-namespace
    ip netns exec $namespace "$server" -p {lock_fd}>&-
    wine_started=1
    first_light || code=$?
    stop_camera
    wine_stop
    wine_loader=$loader
    ip netns del $namespace
    export WINEPREFIX=$root/build/wine
    [ "$code" -eq 0 ] || fail "the demo failed"
    say "saved: out/first_light.bmp"
}
