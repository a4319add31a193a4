# ./run fuzz: the libFuzzer targets. Sourced by ./run.

# fuzz_all SECONDS: each target for that long, from its kept corpus; new findings stay under build/fuzz-corpus.
fuzz_all() {
    local seconds=$1 target name
    ensure_packages test
    build address fuzzers
    for target in build/address/tests/fuzz/fuzz_*; do
        [ -x "$target" ] && [ -f "$target" ] || continue
        name=$(basename "$target")
        mkdir -p "build/fuzz-corpus/$name" "build/fuzz-findings/$name"
        say "fuzzing: $name for $seconds s"
        local log=build/fuzz-findings/$name.log code=0
        "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -verbosity=0 -print_final_stats=1 \
            -artifact_prefix="build/fuzz-findings/$name/" "build/fuzz-corpus/$name" "tests/fuzz/corpus/$name" \
            >"$log" 2>&1 || code=$?
        [ "$code" -eq 0 ] || { tail -40 "$log"; fail "$name found a failing input; it is under build/fuzz-findings/$name"; }
        grep '^stat::number_of_executed_units' "$log"
    done
}
