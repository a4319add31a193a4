# Wine for 32-bit programs beside Debian's wine64, in a folder of its own under build/deps. Sourced by scripts/test.sh. The
# packages are those for i386, read by an apt configuration of this folder: the system's own never hears of i386.

wine32=$deps/wine32
wine32_root=$wine32/root
wine32_loader=$wine32_root/usr/lib/wine/wine

# wine32_apt COMMAND...: apt-get for i386, with lists and archives of its own
wine32_apt() {
    apt-get -q -o APT::Architecture=i386 -o APT::Architectures::=i386 -o Dir::State="$wine32/state" \
        -o Dir::State::status="$wine32/state/status" -o Dir::Cache="$wine32/cache" -o Dir::Etc::sourceparts="$wine32/sources" \
        -o Dir::Etc::sourcelist=/dev/null -o APT::Sandbox::User=root "$@"
}

# Unpacks 32-bit Wine of wine64's version; where it cannot be had it says why and returns 1.
fetch_wine32() {
    local version list uri
    [ ! -e "$wine32/.ready-2" ] || return 0
    version=$(dpkg-query -W -f='${Version}' wine64)
    # the archive that this system's own packages come from, without its security updates
    uri=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Codename: bookworm' 2>/dev/null | sort -u | head -1)
    [ -n "$uri" ] || { echo "32-bit Wine cannot be had here: this system reads no Debian archive"; return 1; }
    rm -rf "$wine32"
    mkdir -p "$wine32/state/lists/partial" "$wine32/cache/archives/partial" "$wine32/sources" "$wine32_root"
    touch "$wine32/state/status"
    cat >"$wine32/sources/main.sources" <<TEXT
Types: deb
URIs: $uri
Suites: bookworm
Components: main
Architectures: i386
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
TEXT
    wine32_apt update >"$wine32/log" 2>&1 || { echo "32-bit Wine cannot be had here: $(tail -1 "$wine32/log")"; return 1; }
    # FreeType and what it needs: without fonts Wine's own drawing crashes
    (cd "$wine32/cache" && wine32_apt download "wine32=$version" "libwine=$version" libfreetype6 libpng16-16 zlib1g \
        libbrotli1 >>"$wine32/log" 2>&1) ||
        { echo "32-bit Wine cannot be had here: $(tail -1 "$wine32/log")"; return 1; }
    for list in "$wine32"/cache/*.deb; do dpkg-deb -x "$list" "$wine32_root"; done
    # Debian's package copies it there when it is installed
    cp /usr/i686-w64-mingw32/lib/zlib1.dll "$wine32_root/usr/lib/i386-linux-gnu/wine/i386-windows/"
    ln -sfn "$wine_loader" "$wine32_root/usr/lib/wine/wine64"
    ln -sfn "$wine_server" "$wine32_root/usr/lib/wine/wineserver"
    rm -rf "$wine32/cache"
    touch "$wine32/.ready-2"
}

# A prefix of its own that runs both kinds of programs; the loader from now on is the one for 32 bits.
wine32_start() {
    export WINEPREFIX=$root/build/wine32 WINELOADER=$wine32_loader WINEDLLPATH=$wine32_root/usr/lib/i386-linux-gnu/wine
    export LD_LIBRARY_PATH=$wine32_root/usr/lib/i386-linux-gnu:$wine32_root/lib/i386-linux-gnu
    wine_start
    wine_loader=$wine32_loader
}
