# ./run package: the installer and the ZIP file for users, under dist/. Sourced by ./run.

# package_commit FOLDER: packages what the checkout in the current folder has built into FOLDER
package_commit() {
    local output=$1 version
    version=$(sed -n 's/^project(VexKamCOMWrapper VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
    PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 packaging/package.py "$version" "$(git rev-parse HEAD)" "$(git log -1 --format=%ct)" \
        "$build_windows" "$deps" "$output"
}

package() {
    case "${1:-}" in
        '') ;;
        --check) check_package; return ;;
        *) fail "package does not know '$1'" ;;
    esac
    ensure_packages package
    [ -z "$(git status --porcelain)" ] || say "what is not committed is packaged, too"
    build windows packaged
    say "packaging"
    rm -rf dist
    package_commit "$root/dist"
    (cd dist && sha256sum -c --quiet SHA256SUMS && ls -sh --block-size=K -- *)
}

# Builds the commit twice and compares every byte of what comes out. The folders' paths differ in length, and so do the time
# zone (whose date is always another one), the locale, the mode of new files and the order of Python's sets. The second build
# compiles everything itself: what the first takes from the compiler cache was made in other folders at other times.
check_package() {
    local first=$root/build/check/first second=$root/build/check/second/in-another-folder folder
    ensure_packages package
    [ -z "$(git status --porcelain)" ] || fail "commit first: what is compared is a commit"
    fetch_sources
    rm -rf build/check
    for folder in "$first" "$second"; do
        git clone -q "$root" "$folder"
        mkdir -p "$folder/build"
        cp -a "$deps" "$folder/build/deps"
    done
    (umask 022 && cd "$first" && TZ=Etc/GMT+12 LC_ALL=C.UTF-8 PYTHONHASHSEED=1 ./run package)
    (umask 077 && cd "$second" && TZ=Etc/GMT-14 LC_ALL=C PYTHONHASHSEED=2 CCACHE_DISABLE=1 ./run package)
    diff -r "$first/dist" "$second/dist" || fail "two builds of one commit differ"
    cat "$first/dist/SHA256SUMS"
    say "two builds of one commit in two folders gave the same bytes"
    rm -rf build/check
}
