# ./run bench: benchmarks. Sourced by ./run. Each prints the figures of its peers from the same run.

run_benchmarks() {
    local names=("$@") name
    [ ${#names[@]} -gt 0 ] || names=(com com-stream convert stream transmit genapi persistence files serial)
    ensure_packages
    for name in "${names[@]}"; do
        case "$name" in
            com | com-stream)
                build windows
                wine_start
                register_server
                [ "$name" = com ] && name=com_frame || name=com_stream
                in_wine "$build_windows/bench/com/${name}_bench.exe"
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
