# ./run fuzz: the libFuzzer targets. Sourced by ./run.

# fuzz_one TARGET SECONDS: from its kept corpus; says how many inputs it ran, or shows what it found.
fuzz_one() {
    local target=$1 seconds=$2 name code=0
    name=$(basename "$target")
    local log=build/fuzz-findings/$name.log
    mkdir -p "build/fuzz-corpus/$name" "build/fuzz-findings/$name"
    "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -verbosity=0 -print_final_stats=1 \
        -artifact_prefix="build/fuzz-findings/$name/" "build/fuzz-corpus/$name" "tests/fuzz/corpus/$name" \
        >"$log" 2>&1 || code=$?
    if [ "$code" -ne 0 ]; then
        tail -40 "$log"
        echo "$name found a failing input; it is under build/fuzz-findings/$name"
        return 1
    fi
    printf '   %-20s %9d inputs in %d s\n' "$name" "$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")" "$seconds"
}

# fuzz_all SECONDS: each target for that long, one on each processor; new findings stay under build/fuzz-findings.
fuzz_all() {
    local seconds=$1 target targets=()
    ensure_packages test
    build address fuzzers
    for target in build/address/tests/fuzz/fuzz_*; do
        [ ! -x "$target" ] || [ ! -f "$target" ] || targets+=("$target")
    done
    [ ${#targets[@]} -gt 0 ] || fail "there are no fuzz targets"
    say "fuzzing ${#targets[@]} targets for $seconds s each"
    export -f fuzz_one
    printf '%s\0' "${targets[@]}" | xargs -0 -P "$(nproc)" -I{} bash -c 'fuzz_one "$@"' fuzz {} "$seconds" ||
        fail "fuzzing found failing inputs"
}
