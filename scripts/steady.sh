# ./run steady: the tests that touch time, threads or sockets, again and again beside busy processors. Sourced by ./run.
# A test that depends on an idle machine shows itself here.

busy_loops=()

start_busy_loops() {
    local core
    for core in $(seq "$(nproc)"); do
        (while :; do :; done) {lock_fd}>&- &
        busy_loops+=("$!")
    done
}

stop_busy_loops() {
    [ ${#busy_loops[@]} -eq 0 ] || kill "${busy_loops[@]}" 2>/dev/null || true
    busy_loops=()
}

# steady ROUNDS
steady() {
    local rounds=$1 failed=0
    local native='net|control|description|device|stream|transmitter|softcam|convert' windows='device|stream|genicam|frame|server|net'
    if [ -z "${VEX_PRIVATE_NETWORK:-}" ]; then
        ensure_packages test
        fetch_sources
        enter_private_network steady "$@"
    fi
    build native checks
    build windows
    wine_start
    register_server
    trap 'stop_busy_loops; wine_stop' EXIT
    start_busy_loops
    say "native tests $rounds times beside $(nproc) busy loops"
    run_ctest "$build_native" -R "$native" --repeat "until-fail:$rounds" || failed=1
    say "tests in Wine $rounds times beside $(nproc) busy loops"
    env -u DISPLAY ctest --test-dir "$build_windows" --output-on-failure --no-tests=error -R "$windows" \
        --repeat "until-fail:$rounds" || failed=1
    stop_busy_loops
    [ "$failed" -eq 0 ] || fail "some tests depend on an idle machine"
}
