#!/usr/bin/env bash
# The installed project as its users see it, outside the source and build
# trees and without LD_LIBRARY_PATH or TERVIK_APPLET_PATH.
#
#   check.sh install  BUILD_DIR CONSUMER_DIR PROGRAM LIBDIR
#       cmake --install into a staging prefix, which is then moved elsewhere
#       (relocatable); every run path of an installed binary is relative to
#       it; the consumer (CONSUMER_DIR: a CMake project using
#       find_package(Orvindel) that builds PROGRAM from its *.c or *.cpp
#       files, which are also compiled by hand with pkg-config's flags) is
#       built with find_package and with pkg-config and run; the installed
#       appletctl runs; its completion and manual page work when installed.
#   check.sh packages BUILD_DIR CONSUMER_DIR PROGRAM LIBDIR VERSION
#       the Debian packages from CPack: contents, dependencies, lintian
#       without errors; extracted into an empty root, the consumer built
#       against that root both ways and run, and appletctl from it.
set -euo pipefail

usage() {
    echo "usage: check.sh install BUILD_DIR CONSUMER_DIR PROGRAM LIBDIR"
    echo "       check.sh packages BUILD_DIR CONSUMER_DIR PROGRAM LIBDIR VERSION"
}
case ${1:-} in
    -h | --help) usage; exit 0 ;;
esac
[ $# -ge 5 ] || { usage >&2; exit 2; }
mode=$1 build=$(cd "$2" && pwd) consumer=$(cd "$3" && pwd) program=$4 libdir=$5

unset LD_LIBRARY_PATH TERVIK_APPLET_PATH PKG_CONFIG_PATH CMAKE_PREFIX_PATH
work=$(mktemp -d "${TMPDIR:-/tmp}/orvindel-install.XXXXXX")
trap 'rm -rf "$work"' EXIT
fails=0
fail() { echo "FAIL: $*" >&2; fails=$((fails + 1)); }
pass() { echo "ok: $*"; }

# The consumer's sources, copied away from the source tree.
cp -r "$consumer" "$work/src"

# run_built HOW BINARY: the consumer as built with HOW runs.
run_built() {
    local how=$1 binary=$2 out
    if out=$("$binary" 2>&1); then
        pass "$how build runs: $out"
    else
        fail "$how build of $program failed to run: $out"
    fi
}

# build_consumer PREFIX: builds and runs the consumer against the installation
# in PREFIX, once with find_package, once with pkg-config.
build_consumer() {
    local prefix=$1
    if cmake -S "$work/src" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$prefix" >"$work/cmake.log" 2>&1 &&
        cmake --build "$work/cmake-build" >>"$work/cmake.log" 2>&1; then
        run_built find_package "$work/cmake-build/$program"
    else
        fail "find_package build of $program against $prefix"; cat "$work/cmake.log" >&2
    fi
    rm -rf "$work/cmake-build"

    # The same sources compiled by hand (C, or C++ when there is any).
    local pc="$prefix/$libdir/pkgconfig" flags libs rpath compiler=cc sources=()
    shopt -s nullglob
    sources=("$work"/src/*.c "$work"/src/*.cpp)
    shopt -u nullglob
    for f in "${sources[@]}"; do [[ $f == *.cpp ]] && compiler=c++; done
    if flags=$(PKG_CONFIG_PATH=$pc pkg-config --cflags orvindel) &&
        libs=$(PKG_CONFIG_PATH=$pc pkg-config --libs orvindel) &&
        rpath=$(PKG_CONFIG_PATH=$pc pkg-config --variable=libdir orvindel); then
        # shellcheck disable=SC2086
        if $compiler $flags "${sources[@]}" -o "$work/$program-pc" $libs -Wl,-rpath,"$rpath" 2>"$work/cc.log"; then
            run_built pkg-config "$work/$program-pc"
        else
            fail "pkg-config build of $program against $prefix"; cat "$work/cc.log" >&2
        fi
    else
        fail "pkg-config finds no orvindel in $pc"
    fi
    rm -f "$work/$program-pc"
}

# check_tool PREFIX: the installed appletctl runs on the simulated board; its
# completion offers commands and parameter names, and man finds its page,
# where those are installed.
check_tool() {
    local prefix=$1 out
    out=$(cd "$work" && "$prefix/bin/appletctl" set FG_WIDTH=2048 get FG_WIDTH 2>&1) || true
    if [ "$out" = $'FG_WIDTH@0 = 2048\nFG_WIDTH@0 = 2048' ]; then
        pass "installed appletctl runs"
    else
        fail "installed appletctl: $out"
    fi
    local completion="$prefix/share/bash-completion/completions/appletctl"
    if [ -f "$completion" ]; then
        local words names
        words=$(complete_words "$prefix" "$completion" "" || true)
        names=$(complete_words "$prefix" "$completion" get FG_WI || true)
        if grep -qx get <<<"$words" && grep -qx set <<<"$words" && grep -qx FG_WIDTH <<<"$names"; then
            pass "completion lists commands and parameter names"
        else
            fail "completion: commands '$(tr '\n' ' ' <<<"$words")', after 'get FG_WI': '$(tr '\n' ' ' <<<"$names")'"
        fi
    else
        fail "no completion installed at $completion"
    fi
    if [ -f "$prefix/share/man/man1/appletctl.1.gz" ]; then
        if [ "$(MANPATH="$prefix/share/man" man -w appletctl 2>/dev/null)" = "$prefix/share/man/man1/appletctl.1.gz" ]; then
            pass "man finds the manual page"
        else
            fail "man does not find appletctl in $prefix/share/man"
        fi
    else
        fail "no manual page installed at $prefix/share/man/man1/appletctl.1.gz"
    fi
}

# complete_words PREFIX FILE WORD...: what the completion function registered
# for appletctl in FILE offers for the command line "appletctl WORD...".
complete_words() {
    local prefix=$1 file=$2
    shift 2
    PATH="$prefix/bin:$PATH" bash -c '
        if [ -f /usr/share/bash-completion/bash_completion ]; then
            source /usr/share/bash-completion/bash_completion
        fi
        source "$1" || exit 1
        shift
        fn=$(complete -p appletctl 2>/dev/null | sed -n "s/.*-F \([^ ]*\).*/\1/p")
        [ -n "$fn" ] || exit 1
        COMP_WORDS=(appletctl "$@"); COMP_CWORD=$#
        COMP_LINE="appletctl $*"; COMP_POINT=${#COMP_LINE}
        "$fn" appletctl "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD-1]}"
        printf "%s\n" "${COMPREPLY[@]}"' complete_words "$file" "$@" 2>/dev/null | sed 's/ *$//'
}

# check_run_paths ROOT: every run path of an ELF file under ROOT is relative
# to the file's own place, and none names the build tree.
check_run_paths() {
    local root=$1 f paths bad=0
    while IFS= read -r -d '' f; do
        head -c 4 "$f" | grep -q $'\x7fELF' || continue
        paths=$(readelf -d "$f" | sed -n 's/.*(R\(UN\)\{0,1\}PATH).*\[\(.*\)\]/\2/p' | tr ':' '\n')
        while IFS= read -r p; do
            [ -z "$p" ] && continue
            case $p in
                '$ORIGIN' | '$ORIGIN/'*) ;;
                *) fail "${f#"$root"/}: run path $p"; bad=1 ;;
            esac
        done <<<"$paths"
    done < <(find "$root" -type f -print0)
    [ $bad -eq 0 ] && pass "run paths relative to the installation"
    # Text files (package configuration, pkg-config, scripts); the binaries'
    # debugging information may name the sources' build directory.
    local named
    named=$(grep -rlIF "$build" "$root" || true)
    if [ -n "$named" ]; then
        fail "the build tree ($build) is named in: $(tr '\n' ' ' <<<"$named")"
    else
        pass "no installed text file names the build tree"
    fi
}

case $mode in
install)
    [ $# -eq 5 ] || { usage >&2; exit 2; }
    cmake --install "$build" --prefix "$work/staged" >"$work/install.log" 2>&1 ||
        { cat "$work/install.log" >&2; fail "cmake --install"; exit 1; }
    # Moved after installing: nothing may depend on where it was installed.
    mv "$work/staged" "$work/prefix"
    check_run_paths "$work/prefix"
    build_consumer "$work/prefix"
    check_tool "$work/prefix"
    ;;
packages)
    [ $# -eq 6 ] || { usage >&2; exit 2; }
    version=$6
    (cd "$build" && cpack -G DEB -B "$work/debs") >"$work/cpack.log" 2>&1 ||
        { cat "$work/cpack.log" >&2; fail "cpack"; exit 1; }
    rel=$(sed -n 's/^set(CPACK_DEBIAN_PACKAGE_RELEASE "\(.*\)")$/\1/p' "$build/CPackConfig.cmake")
    full="$version-${rel:-1}"
    doc() { printf 'usr/share/doc/%s/copyright\nusr/share/doc/%s/changelog.Debian.gz\n' "$1" "$1"; }
    # Expected contents (every file, nothing else) and dependencies.
    declare -A required depends
    required[orvindel-runtime]="usr/$libdir/libtalrun5.so
usr/$libdir/libtervikhap.so
usr/$libdir/libtervikregio.so
usr/$libdir/tervik/applets/libOrvindel.so
$(doc orvindel-runtime)"
    required[orvindel-dev]="usr/include/orvindel/fg_types.h
usr/include/orvindel/fg_applet.h
usr/include/orvindel/fg_platform.h
usr/include/orvindel/sim_board.h
usr/include/orvindel/orvindel_params.h
usr/$libdir/cmake/Orvindel/OrvindelConfig.cmake
usr/$libdir/cmake/Orvindel/OrvindelConfigVersion.cmake
usr/$libdir/cmake/Orvindel/OrvindelTargets.cmake
usr/$libdir/cmake/Orvindel/OrvindelTargets-CONFIG.cmake
usr/$libdir/pkgconfig/orvindel.pc
$(doc orvindel-dev)"
    required[orvindel-tools]="usr/bin/appletctl
usr/share/man/man1/appletctl.1.gz
usr/share/bash-completion/completions/appletctl
$(doc orvindel-tools)"
    depends[orvindel-runtime]="libc6
libstdc++6"
    depends[orvindel-dev]="orvindel-runtime (= $full)"
    depends[orvindel-tools]="orvindel-runtime (= $full)
libc6
libpng16-16
libstdc++6"
    mkdir -p "$work/root"
    before=$fails
    for pkg in orvindel-runtime orvindel-dev orvindel-tools; do
        deb="$work/debs/${pkg}_${full}_$(dpkg --print-architecture).deb"
        if [ ! -f "$deb" ]; then
            fail "no package $(basename "$deb")"
            continue
        fi
        # (the exported targets' per-configuration file is named after the build type)
        files=$(dpkg-deb -c "$deb" | awk '$1 !~ /^d/ {print $6}' | sed 's|^\./||; s|/OrvindelTargets-[a-z]*\.cmake$|/OrvindelTargets-CONFIG.cmake|' | sort)
        missing=$(comm -13 <(echo "$files") <(sort <<<"${required[$pkg]}"))
        stray=$(comm -23 <(echo "$files") <(sort <<<"${required[$pkg]}"))
        [ -z "$missing" ] || fail "$pkg lacks: $(tr '\n' ' ' <<<"$missing")"
        [ -z "$stray" ] || fail "$pkg carries unexpected: $(tr '\n' ' ' <<<"$stray")"
        # Each expected dependency: a package name, with the version relation
        # when one is given.
        deps=$(dpkg-deb -f "$deb" Depends | tr ',' '\n' | sed 's/^ *//')
        while IFS= read -r want; do
            name=${want%% *}
            if [ "$want" = "$name" ]; then
                grep -q "^$name\( \|$\)" <<<"$deps" || fail "$pkg does not depend on $name: $deps"
            else
                grep -qxF "$want" <<<"$deps" || fail "$pkg does not depend on $want: $deps"
            fi
        done <<<"${depends[$pkg]}"
        dpkg-deb -x "$deb" "$work/root"
    done
    [ $fails -eq $before ] && pass "package files and dependencies"
    if lintian --fail-on error "$work"/debs/*.deb >"$work/lintian.log" 2>&1; then
        pass "lintian: no errors ($(grep -c '^W:' "$work/lintian.log" || true) warnings)"
    else
        cat "$work/lintian.log" >&2
        fail "lintian reports errors"
    fi
    check_run_paths "$work/root"
    build_consumer "$work/root/usr"
    check_tool "$work/root/usr"
    ;;
*) usage >&2; exit 2 ;;
esac

if [ $fails -ne 0 ]; then
    echo "$fails check(s) failed" >&2
    exit 1
fi
echo "all checks passed"
