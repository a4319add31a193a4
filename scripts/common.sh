# Shared steps: packages, third-party sources, builds, the Wine prefix. Sourced by ./run, which stands in the root.

root=$PWD
build_native=$root/build/native
build_windows=$root/build/windows
deps=$root/build/deps
wine_loader=/usr/lib/wine/wine64
wine_server=/usr/lib/wine/wineserver64
# without Wine's debugger, which would end a program that crashes as one that succeeded
export WINEPREFIX=$root/build/wine WINEDEBUG=${WINEDEBUG:--all} WINEDLLOVERRIDES="mscoree,mshtml,winedbg.exe="

say() { printf '\033[1m== %s\033[0m\n' "$*"; }
fail() { printf './run: %s\n' "$*" >&2; exit 1; }

# One ./run at a time works in a checkout; another waits.
mkdir -p build
exec {lock_fd}>build/.lock
flock -n "$lock_fd" || { say "another ./run works in this folder; waiting for it"; flock "$lock_fd"; }

# ---- the network ----

# enter_private_network COMMAND...: goes on with `./run COMMAND...` in a network namespace that has nothing but loopback,
# so that neither the demo nor a test ever talks to a camera on the user's network. That takes root; without it the
# command just goes on.
enter_private_network() {
    [ "$(id -u)" -eq 0 ] && [ -z "${VEX_PRIVATE_NETWORK:-}" ] && unshare --net true 2>/dev/null || return 0
    wine_stop
    exec {lock_fd}>&-
    export VEX_PRIVATE_NETWORK=1
    exec unshare --net -- bash -c 'ip link set lo up && exec ./run "$@"' run "$@"
}

# ---- packages ----

missing_packages() {
    local package
    for package in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)" = installed ] || printf '%s ' "$package"
    done
}

listed() { sed 's/#.*//' "$@"; }

ensure_packages() {
    local files=(scripts/packages) missing run_as=()
    [ -z "${1:-}" ] || files+=("scripts/packages-$1")
    # shellcheck disable=SC2046
    missing=$(missing_packages $(listed "${files[@]}"))
    [ -n "$missing" ] || return 0
    if [ "$(id -u)" -ne 0 ]; then
        sudo -n true 2>/dev/null || fail "these Debian packages are missing; install them first: apt-get install $missing"
        run_as=(sudo)
    fi
    say "installing: $missing"
    export DEBIAN_FRONTEND=noninteractive
    "${run_as[@]}" apt-get update -q >build/apt.log 2>&1 || { tail -5 build/apt.log; fail "apt-get update failed"; }
    # shellcheck disable=SC2086
    "${run_as[@]}" apt-get install -y --no-install-recommends $missing 2>&1 | tee -a build/apt.log |
        progress 'Unpacking|Setting up' "packages" 2
    # shellcheck disable=SC2046
    missing=$(missing_packages $(listed "${files[@]}"))
    [ -z "$missing" ] || { tail -5 build/apt.log; fail "could not install: $missing"; }
}

# progress PATTERN WHAT [PARTS]: counts matching lines of the input on one line of the terminal, or one line per hundred
# where the output is no terminal.
progress() {
    local parts=${3:-1}
    awk -v pattern="$1" -v what="$2" -v parts="$parts" -v tty="$([ -t 1 ] && echo 1 || echo 0)" '
        $0 ~ pattern { n++; done = int(n / parts)
            if (tty) printf "\r   %d %s", done, what; else if (n % (100 * parts) == 0) printf "   %d %s\n", done, what
            fflush() }
        END { if (tty && n) printf "\n"; else if (n) printf "   %d %s\n", int(n / parts), what }'
}

# ---- sources for cross builds ----

# unpack_source PACKAGE FOLDER: the newest version that can be fetched; a mirror may list one that it does not have yet.
# Uses fetch_sources' apt.
unpack_source() {
    local version
    for version in $("${apt[@]/apt-get/apt-cache}" showsrc "$1" 2>>"$deps/log" | sed -n 's/^Version: //p' | sort -ruV); do
        rm -rf "${deps:?}/$1"-*/
        if (cd "$deps" && "${apt[@]}" source "$1=$version" >>log 2>&1); then
            mv "$deps/$1"-*/ "$deps/$2"
            return 0
        fi
    done
    tail -5 "$deps/log"
    fail "the source of $1 cannot be fetched"
}

# Cross builds compile pugixml, Highway, libpng and libtiff themselves. The source list is a copy of the system's own, so
# that the system's configuration stays untouched.
fetch_sources() {
    [ -e "$deps/.ready-3" ] || {
        say "fetching the sources of pugixml, Highway, libpng and libtiff"
        rm -rf "$deps"
        mkdir -p "$deps/apt/lists/partial" "$deps/include" "$deps/pugixml" "$deps/highway"
        local list
        for list in /etc/apt/sources.list.d/*.sources; do
            [ ! -e "$list" ] || sed 's/^Types:.*/Types: deb-src/' "$list" >"$deps/apt/$(basename "$list")"
        done
        if [ -s /etc/apt/sources.list ]; then
            sed -n 's/^deb /deb-src /p' /etc/apt/sources.list >"$deps/apt/system.list"
        fi
        local apt=(apt-get -q -o "Dir::Etc::sourceparts=$deps/apt" -o Dir::Etc::sourcelist=/dev/null
            -o "Dir::State::lists=$deps/apt/lists" -o APT::Sandbox::User=root)
        "${apt[@]}" update >"$deps/log" 2>&1 || { tail -5 "$deps/log"; fail "the source list cannot be read"; }
        (cd "$deps" && "${apt[@]}" source --download-only pugixml highway >>log 2>&1) || { tail -5 "$deps/log"; fail "sources cannot be fetched"; }
        # with Debian's patches, most of which are for security
        unpack_source libpng1.6 png
        unpack_source tiff tiff
        tar -xf "$deps"/pugixml_*.orig.tar.* -C "$deps/pugixml" --strip-components=1
        tar -xf "$deps"/highway_*.orig.tar.* -C "$deps/highway" --strip-components=1
        ln -sfn /usr/include/CLI "$deps/include/CLI"
        ln -sfn /usr/include/nlohmann "$deps/include/nlohmann"
        touch "$deps/.ready-3"
    }
}

# ---- builds ----

# Compiler results are kept across builds and checkouts; precompiled headers can be cached only with these settings.
export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1
export CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime

# configure FOLDER CMAKE-ARGUMENT...
configure() {
    local folder=$1 launcher=()
    shift
    ! command -v ccache >/dev/null || launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    [ -e "$folder/build.ninja" ] ||
        cmake -S "$root" -B "$folder" -G Ninja "${launcher[@]}" "$@" >"$folder.log" 2>&1 ||
        { tail -30 "$folder.log"; fail "cmake could not configure $folder"; }
}

# compile FOLDER [TARGET...]: everything, or only the targets
compile() {
    local folder=$1
    shift
    cmake --build "$folder" ${1:+--target "$@"} >"$folder.log" 2>&1 &
    local job=$! shown=''
    while kill -0 "$job" 2>/dev/null; do
        sleep 0.5
        local step
        step=$(grep -oE '^\[[0-9]+/[0-9]+\]' "$folder.log" | tail -1 || true)
        if [ "$step" != "$shown" ] && [ -t 1 ]; then printf '\r   %s ' "$step"; fi
        shown=$step
    done
    [ -z "$shown" ] || printf '\r   %s\n' "$shown"
    wait "$job" || { grep -vE '^\[[0-9]+/[0-9]+\]' "$folder.log" | tail -60; fail "the build in $folder failed"; }
}

# configure_build native|windows|windows32|neon|address|thread
configure_build() {
    local folder=$root/build/$1
    fetch_sources
    case "$1" in
        native) configure "$folder" -DCMAKE_BUILD_TYPE=Release ;;
        windows) configure "$folder" -DCMAKE_BUILD_TYPE=Release -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64.cmake ;;
        windows32) configure "$folder" -DCMAKE_BUILD_TYPE=Release -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-i686.cmake ;;
        neon) configure "$folder" -DCMAKE_BUILD_TYPE=Release -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux.cmake \
            -DVEX_IMAGES_ONLY=ON ;;
        address) configure "$folder" -DCMAKE_BUILD_TYPE=Sanitize -DVEX_SANITIZE=address \
            -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ ;;
        thread) configure "$folder" -DCMAKE_BUILD_TYPE=Sanitize -DVEX_SANITIZE=thread ;;
        *) fail "there is no build '$1'" ;;
    esac
}

# build native|windows|windows32|neon|address|thread [TARGET...]
build() {
    local name=$1
    shift
    say "building: $name${1:+ ($*)}"
    configure_build "$name"
    compile "$root/build/$name" "$@"
}

build_targets() {
    ensure_packages
    local target
    for target in "$@"; do
        if [ "$target" = all ]; then build native; build windows; else build "$target"; fi
    done
}

# ---- Wine ----

wine_started=''

# Wine without a display: what needs none must not depend on one.
in_wine() { env -u DISPLAY "$wine_loader" "$@"; }

# Starts one Wine server that stays until ./run ends: without it every program pays seconds for starting its own.
wine_start() {
    [ -z "$wine_started" ] || return 0
    mkdir -p "$WINEPREFIX"
    "$wine_server" -p {lock_fd}>&-
    wine_started=1
    trap wine_stop EXIT
    if [ ! -e "$WINEPREFIX/.ready" ]; then
        say "making a Wine prefix"
        in_wine wineboot -i >build/wine.log 2>&1 || { tail -5 build/wine.log; fail "Wine could not make its prefix"; }
        touch "$WINEPREFIX/.ready"
    fi
    # windows without a display: message boxes of a test can be answered, and nobody sees them. Wine's desktop takes the
    # setting when it starts
    if [ ! -e "$WINEPREFIX/.no-display" ]; then
        in_wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >>build/wine.log 2>&1 ||
            { tail -5 build/wine.log; fail "Wine could not change its prefix"; }
        "$wine_server" -k
        "$wine_server" -p {lock_fd}>&-
        touch "$WINEPREFIX/.no-display"
    fi
}

wine_stop() {
    [ -n "$wine_started" ] || return 0
    "$wine_server" -k 2>/dev/null || true
    wine_started=''
}

windows_path() { printf 'Z:%s' "${1//\//\\}"; }

server_dll=$build_windows/bin/VexKamCOMWrapper.dll

register_server() {
    # registering writes the same values each time; once per built DLL is enough
    [ ! "$WINEPREFIX/.registered" -nt "$server_dll" ] || return 0
    say "registering VexKamCOMWrapper.dll"
    timeout 60 "$wine_loader" regsvr32 /s "$(windows_path "$server_dll")" || fail "regsvr32 failed with $?"
    touch "$WINEPREFIX/.registered"
}

# run_in_wine LIMIT WHAT LAST-LINE PROGRAM [ARG...]: runs a program and shows what it says as it says it. It must end with 0
# and say its last line. The output goes through a file: a pipe would stay open as long as Wine's background processes.
run_in_wine() {
    local limit=$1 what=$2 last=$3 code=0 output=$root/build/script.out host
    shift 3
    : >"$output"
    timeout "$limit" env -u DISPLAY "$wine_loader" "$@" >"$output" 2>&1 </dev/null &
    host=$!
    tail -f -n +1 --pid="$host" -s 0.2 "$output" | tr -d '\r' || true
    wait "$host" || code=$?
    [ "$code" -eq 0 ] || { printf '%s ended with code %s\n' "$what" "$code" >&2; return 1; }
    [ "$(tail -1 "$output" | tr -d '\r')" = "$last" ] || { printf '%s stopped before its end\n' "$what" >&2; return 1; }
}

# run_script LIMIT SCRIPT LAST-LINE [ARG...]: under Wine cscript ends with 0 even when a script has a syntax error, so a
# script must end with its own code and say its last line.
run_script() { run_in_wine "$1" "$2" "$3" cscript //nologo "$(windows_path "$root/$2")" "${@:4}"; }
