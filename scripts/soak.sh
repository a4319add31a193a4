# ./run soak: streams for long by cables that lose, double and reorder. Sourced by ./run.

# soak [MINUTES] [SEED]
soak() {
    [ "$(id -u)" -eq 0 ] || fail "network namespaces need root"
    ensure_packages test
    build native softcam stream_probe lossy_wire
    tests/interop/soak "$@"
}
