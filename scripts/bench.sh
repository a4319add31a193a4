# ./run bench: benchmarks. Sourced by ./run. Each prints the figures of its peers from the same run.

source scripts/screen.sh

run_benchmarks() {
    local names=("$@") name
    [ ${#names[@]} -gt 0 ] || names=(com com-stream convert stream transmit genapi persistence files serial trace browser gui)
    ensure_packages
    for name in "${names[@]}"; do
        case "$name" in
            browser)
                build windows browser_bench
                wine_start
                in_wine "$build_windows/bench/browser/browser_bench.exe"
                ;;
            com | com-stream)
                build windows
                wine_start
                register_server
                [ "$name" = com ] && name=com_frame || name=com_stream
                in_wine "$build_windows/bench/com/${name}_bench.exe"
                ;;
            gui)
                ensure_packages gui
                build native display_bench
                build windows gui_bench
                "$build_native/bench/gui/display_bench"
                # in a subshell: the benchmarks after it need Wine without a display again
                (
                    start_screen
                    wine_start_on_screen
                    "$wine_loader" "$build_windows/bench/gui/gui_bench.exe"
                    wine_stop
                    stop_screen
                )
                ;;
            *)
                ensure_packages bench
                # a build folder from before the peers were installed does not know of them
                [ ! -e "$build_native/build.ninja" ] || cmake "$build_native" >/dev/null
                build native
                [ -x "$build_native/bench/$name/${name}_bench" ] || fail "there is no benchmark '$name'"
                "$build_native/bench/$name/${name}_bench"
                ;;
        esac
    done
}
