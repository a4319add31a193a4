# Programs in Pascal for 64-bit Windows, by Free Pascal. Debian has its library for Linux only, but its sources for all
# systems: what of it is needed is compiled once. Sourced by scripts/test.sh.

pascal_units=$root/build/pascal/units

# pascal ARGUMENT...: the compiler without the system's settings; says nothing when all is well
pascal() {
    local log=$root/build/pascal/log
    ppcx64 -n -Twin64 -O2 -v0e "-FU$pascal_units" "-Fu$pascal_units" "$@" >"$log" 2>&1 || { tail -20 "$log"; return 1; }
}

# The runtime library: the units that every program needs, then those that it may use.
pascal_library() {
    local rtl=$1/rtl paths=() folder
    for folder in inc x86_64 win win64 win/wininc objpas objpas/sysutils objpas/classes charmaps; do paths+=("-Fi$rtl/$folder"); done
    for folder in win64 win inc objpas x86_64; do paths+=("-Fu$rtl/$folder"); done
    pascal -Us -Sg "${paths[@]}" "$rtl/win64/system.pp"
    pascal "${paths[@]}" "$rtl/win64/sysinit.pp"
    pascal "${paths[@]}" "$rtl/win64/buildrtl.pp"
    touch "$pascal_units/.ready"
}

# compile_pascal SOURCE PROGRAM: PROGRAM without .exe
compile_pascal() {
    local sources paths=() folder
    sources=$(ls -d /usr/share/fpcsrc/* | tail -1)
    mkdir -p "$pascal_units"
    [ -e "$pascal_units/.ready" ] || pascal_library "$sources"
    for folder in winunits-base/src rtl-objpas/src/inc rtl-objpas/src/win rtl-objpas/src/x86_64 rtl-objpas/src/common \
        fcl-registry/src fcl-base/src fcl-xml/src; do
        paths+=("-Fu$sources/packages/$folder" "-Fi$sources/packages/$folder")
    done
    pascal -Mdelphi "${paths[@]}" "-Fi$sources/rtl/objpas/sysutils" "-o$2.exe" "$1"
}
