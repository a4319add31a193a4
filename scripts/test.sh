# ./run test: every test there is. Sourced by ./run. Suites run independently: one failing does not hide the next.

# More are run when asked for: `native` runs the SDK's tests once more without sanitizers (`address` and `thread` run the
# same ones, `windows` runs them optimised), `neon` takes a cross compiler and an emulated processor, and `tidy` takes
# minutes when much has changed
not_run=77  # what a suite returns that cannot run here
suites_all=(style docs windows scripts package gui interop address thread fuzz)

# ctest in a build folder; WHAT names it in the summary.
run_ctest() {
    local folder=$1
    shift
    ctest --test-dir "$folder" --output-on-failure --no-tests=error "$@"
}

suite_style() {
    local files
    mapfile -t files < <(git ls-files '*.h' '*.cpp')
    clang-format-16 --dry-run --Werror "${files[@]}"
    scripts/check_layers.py
    scripts/check_sizes.py
    scripts/check_examples.py
    tests/examples/table_test.py
    scripts/check_version.py
}

# clang-tidy over what the native build compiles of the product. What was found clean is looked at again when it, any
# header or the rules have changed.
suite_tidy() {
    configure_build native
    mkdir -p build/tidy
    local newest file stamp files=()
    newest=$(git ls-files '*.h' .clang-tidy | xargs ls -t | head -1)
    for file in $(git ls-files 'sdk/*.cpp' 'tools/*.cpp'); do
        stamp=build/tidy/${file//\//_}
        grep -q "\"$root/$file\"" "$build_native/compile_commands.json" || continue
        [ "$stamp" -nt "$file" ] && [ "$stamp" -nt "$newest" ] || files+=("$file")
    done
    echo "   ${#files[@]} files to look at"
    [ ${#files[@]} -eq 0 ] || printf '%s\n' "${files[@]}" | xargs -P "$(nproc)" -I{} bash -c '
        clang-tidy --quiet -p "$1" --extra-arg=-Wno-unknown-warning-option "$2" 2>/dev/null && touch "build/tidy/${2//\//_}"' \
        tidy "$build_native" {}
}

suite_native() { build native checks && run_ctest "$build_native" -j2; }

# The modules for images and their tests, for 64-bit ARM on an emulated processor. The results name the instruction sets
# whose vector code was compared with the plain code.
suite_neon() {
    local results=$root/build/neon/results/ targets
    build neon checks
    rm -rf "$results"
    GTEST_OUTPUT=xml:$results run_ctest "$root/build/neon" -j2
    targets=$(sed -n 's/.*name="targets" value="\([^"]*\)".*/\1/p' "$results/convert_tests.xml")
    echo "   vector code compared with the plain code: ${targets:-none}"
    [[ " $targets " == *" NEON "* ]]
}

suite_address() { build address checks && run_ctest "$root/build/address" -j2; }

suite_thread() { build thread checks && run_ctest "$root/build/thread" -j2; }

suite_windows() {
    build windows
    wine_start
    register_server
    env -u DISPLAY ctest --test-dir "$build_windows" --output-on-failure --no-tests=error
}

# count_script SCRIPT ARG...: runs it and counts it in suite_scripts' passed or failed.
count_script() {
    echo "-- $1"
    if run_script 120 "$1" "Done." "${@:2}"; then passed=$((passed + 1)); else failed=$((failed + 1)); fi
}

# count_program SOURCE PROGRAM ARG...: the same for a program that was made from a source
count_program() {
    echo "-- $1"
    if run_in_wine 120 "$1" "Done." "${@:2}"; then passed=$((passed + 1)); else failed=$((failed + 1)); fi
}

suite_scripts() {
    build native softcam softlink
    build windows VexKamCOMWrapper camera
    source scripts/demo.sh
    source scripts/pascal.sh
    compile_pascal examples/delphi/camera.dpr build/pascal/camera
    compile_pascal tests/scripts/late_bound.dpr build/pascal/late_bound
    wine_start
    register_server
    start_camera build/softcam.log listening "$build_native/tools/softcam/softcam" --address 127.0.0.2 --serial SCRIPTS
    local script failed=0 passed=0 folder
    folder=$(windows_path "$root/build")
    for script in tests/scripts/*.vbs; do count_script "$script" "$folder" 127.0.0.2; done
    count_script examples/vbscript/features.vbs 127.0.0.2
    count_script examples/vbscript/pipeline.vbs 127.0.0.2
    count_script examples/vbscript/serial.vbs 127.0.0.2
    count_script examples/vbscript/i2c.vbs 127.0.0.2
    count_script examples/vbscript/save_bmp.vbs "$folder"
    count_script examples/vbscript/configuration.vbs "$folder\\configuration.xml" 127.0.0.2
    count_script examples/vbscript/camera.vbs 127.0.0.2 "$folder"
    count_script examples/jscript/camera.js 127.0.0.2 "$folder"
    count_program examples/cpp/camera.cpp "$build_windows/examples/cpp/camera.exe" 127.0.0.2 "$folder"
    count_program examples/delphi/camera.dpr build/pascal/camera.exe 127.0.0.2 "$folder"
    count_program tests/scripts/late_bound.dpr build/pascal/late_bound.exe 127.0.0.2
    # a disk of its own that is soon full
    mkdir -p build/full_disk
    if mount -t tmpfs -o size=64k none build/full_disk 2>/dev/null; then
        count_script tests/scripts/full_disk/full_disk.vbs "$(windows_path "$root/build/full_disk")"
        umount -l build/full_disk
    else
        echo "-- tests/scripts/full_disk/full_disk.vbs: not run: no file system can be mounted here"
    fi
    stop_camera
    start_camera build/softlink.log listening "$build_native/tools/softlink/softlink" --link "$WINEPREFIX/dosdevices/com7"
    count_script examples/vbscript/camera_link.vbs COM7
    stop_camera
    start_camera build/softlink.log listening "$build_native/tools/softlink/softlink" --serve tcp:0
    count_script examples/vbscript/camera_link.vbs "$(sed -n 's/.*listening on \(tcp:[0-9]*\) .*/\1/p' build/softlink.log)"
    stop_camera
    echo "scripts: $passed passed, $failed failed"
    [ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
}

# The documentation: whether its pages can be made, its links lead somewhere, its code compiles and its scripts run.
suite_docs() {
    source scripts/docs.sh
    check_docs
}

# Real windows on a screen of their own, with mouse and keyboard; pictures of them go to out/windows.
suite_gui() {
    [ -n "${VEX_PRIVATE_NETWORK:-}" ] || { echo "the desktop needs a network namespace, and that needs root"; return "$not_run"; }
    build native softcam pvctl
    build windows VexKamCOMWrapper gui_client gui_host viewer
    tests/gui/run_all
}

suite_interop() {
    [ -n "${VEX_PRIVATE_NETWORK:-}" ] || { echo "the test peers need network namespaces, and those need root"; return "$not_run"; }
    build native softcam pvctl host_probe recovery_probe virtual_camera stream_probe lossy_wire
    build windows VexKamCOMWrapper
    tests/interop/run_all
    # the whole way through the server, with our camera and with the third party's
    source scripts/demo.sh
    mkdir -p out
    demo_softcam
    demo_third_party
}

# The DLL for 32-bit hosts: that it compiles and links, what processor it is for and what it exports. Nothing of it is run.
suite_dll32() {
    build windows32 VexKamCOMWrapper
    tests/exports/check_dll.py i386 build/windows32/bin/VexKamCOMWrapper.dll
}

# The scripts of tests/scripts with the 32-bit DLL in 32-bit cscript.
suite_scripts32() {
    source scripts/wine32.sh
    fetch_wine32 || return "$not_run"
    build native softcam
    build windows32 VexKamCOMWrapper
    source scripts/demo.sh
    wine32_start
    server_dll=$root/build/windows32/bin/VexKamCOMWrapper.dll
    register_server
    start_camera build/softcam.log listening "$build_native/tools/softcam/softcam" --address 127.0.0.2 --serial SCRIPTS
    local script failed=0 passed=0 folder
    folder=$(windows_path "$root/build")
    for script in tests/scripts/*.vbs; do count_script "$script" "$folder" 127.0.0.2; done
    stop_camera
    echo "scripts32: $passed passed, $failed failed"
    [ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
}

# What ./run package makes, installed, repaired and removed in a Wine prefix of its own.
suite_package() {
    source scripts/package.sh
    build native softcam
    build windows packaged
    rm -rf build/package
    package_commit "$root/build/package/dist"
    tests/package/package_test.py build/package/dist build/package/scratch "$build_native/tools/softcam/softcam"
}

# Every fuzz target over its kept corpus and a short while beyond it; `./run fuzz` runs them for long.
suite_fuzz() {
    source scripts/fuzz.sh
    fuzz_all 10
}

run_tests() {
    local suites=("$@") suite passed=0 failed=() missed=() times=() started=$SECONDS
    [ ${#suites[@]} -gt 0 ] || suites=("${suites_all[@]}")
    for suite in "${suites[@]}"; do
        declare -F "suite_$suite" >/dev/null || fail "there is no test suite '$suite': ${suites_all[*]}"
    done
    if [ -z "${VEX_PRIVATE_NETWORK:-}" ]; then
        ensure_packages test
        for suite in "${suites[@]}"; do
            [ ! -e "scripts/packages-$suite" ] || ensure_packages "$suite"
            [ "$suite" != scripts ] || ensure_packages examples
        done
        fetch_sources
        enter_private_network test "$@"
    fi
    for suite in "${suites[@]}"; do
        local since=$SECONDS
        say "tests: $suite"
        # a subshell of its own, so that `set -e` ends the suite at its first failing step and nothing more; not as the
        # condition of an `if`, where bash would ignore `set -e`
        set +e
        (set -e; trap wine_stop EXIT; "suite_$suite")
        local code=$?
        set -e
        times+=("$suite $((SECONDS - since)) s")
        if [ "$code" -eq 0 ]; then
            passed=$((passed + 1))
            say "tests: $suite passed in $((SECONDS - since)) s"
        elif [ "$code" -eq "$not_run" ]; then
            missed+=("$suite")
            say "tests: $suite NOT RUN"
        else
            failed+=("$suite")
            say "tests: $suite FAILED after $((SECONDS - since)) s"
        fi
    done
    printf '   %s\n' "${times[@]}"
    say "suites in $((SECONDS - started)) s${failed[*]:+, failed: ${failed[*]}}${missed[*]:+, not run: ${missed[*]}}"
    echo "$passed passed, ${#failed[@]} failed"
    [ ${#failed[@]} -eq 0 ]
}
