#!/bin/sh
# Runs every libFuzzer target for a bounded time and reports, per target, the
# executions run and the findings (crash, leak, timeout or out-of-memory
# inputs). Exit status 0 when no target found anything.
#
#   fuzz/run.sh [--merge] BUILD_DIR SECONDS   (for example fuzz/run.sh build/fuzz 60)
#   fuzz/run.sh --coverage BUILD_DIR          (BUILD_DIR from make build-fuzz-coverage)
#
# Each target starts from a fresh copy of its seed corpus (fuzz/corpus/NAME)
# in BUILD_DIR/fuzz/work/NAME, where its log, the corpus it grew and any
# finding (artifacts/) stay for inspection; a target with a dictionary
# (BUILD_DIR/fuzz/NAME.dict) uses it. A finding is reproduced with
#   BUILD_DIR/fuzz/fuzz_NAME ARTIFACT
# FUZZ_TARGETS (for example "config_file lut_file") runs only those targets.
# With --merge, the corpus grown is minimised into fuzz/corpus/NAME after the
# run (libFuzzer -merge=1): the inputs named by their SHA-1 are replaced by
# the new minimal set, hand-named seeds stay as they are.
# With --coverage, nothing is fuzzed: each target of a tree built for
# source-based coverage runs every input of fuzz/corpus/NAME once, and the
# line coverage of the code the target exists for is reported (per file and
# in total; the annotated sources are left in BUILD_DIR/fuzz/coverage/).

set -u

usage() {
    echo "usage: fuzz/run.sh [--merge] BUILD_DIR [SECONDS]   run every fuzz target of BUILD_DIR (built by make build-fuzz) for SECONDS each (default 60); --merge: minimise the corpus grown into fuzz/corpus/"
    echo "       fuzz/run.sh --coverage BUILD_DIR             line coverage of each target's code from its corpus (BUILD_DIR built by make build-fuzz-coverage)"
}
merge=0
coverage=0
case ${1:-} in
    -h|--help) usage; exit 0 ;;
    --merge) merge=1; shift ;;
    --coverage) coverage=1; shift ;;
esac
case ${1:-} in
    '') usage >&2; exit 2 ;;
    -*) echo "fuzz: unknown option '$1'" >&2; usage >&2; exit 2 ;;
esac
build=$1
seconds=${2:-60}
case $seconds in
    ''|*[!0-9]*|0) echo "fuzz: SECONDS must be a positive whole number, not '$seconds'" >&2; exit 2 ;;
esac
if [ ! -d "$build" ]; then
    echo "fuzz: build directory '$build' does not exist; build the targets first (make build-fuzz)" >&2
    exit 2
fi
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$build" && pwd) || exit 1
root=$(cd "$here/.." && pwd)
targets=${FUZZ_TARGETS:-config_file lut_file xml_filter typed_access}

# Input size limits per target: configuration files are a few kilobytes.
max_len() {
    case $1 in
        config_file) echo 16384 ;;
        lut_file) echo 8192 ;;
        *) echo 4096 ;;
    esac
}

# Inputs that merging wrote are named by the SHA-1 of their content.
is_hash_name() {
    case $1 in *[!0-9a-f]*) return 1 ;; esac
    [ ${#1} -eq 40 ]
}

# Minimises the committed corpus and the one grown into a new set and puts it
# in place of the committed inputs named by their SHA-1.
merge_corpus() {
    name=$1 exe=$2 work=$3
    seeds="$here/corpus/$name"
    rm -rf "$work/merged" && mkdir -p "$work/merged" || return 1
    if ! (cd "$work/run" && TMPDIR="$work/run" ASAN_OPTIONS=detect_leaks=0 \
            "$exe" -merge=1 -max_len="$(max_len "$name")" "$work/merged" "$seeds" "$work/corpus") \
            > "$work/merge.txt" 2>&1; then
        echo "fuzz: merging the corpus of $name failed, see $work/merge.txt" >&2
        return 1
    fi
    named=$(for f in "$seeds"/*; do
        is_hash_name "${f##*/}" || sha1sum "$f" | cut -c1-40
    done)
    for f in "$seeds"/*; do
        if is_hash_name "${f##*/}"; then rm -f "$f"; fi
    done
    for f in "$work/merged"/*; do
        [ -f "$f" ] || continue
        echo "$named" | grep -qx "${f##*/}" || cp "$f" "$seeds/"
    done
    echo "  corpus of $name merged: $(ls "$seeds" | wc -l | tr -d ' ') inputs, $(du -sk "$seeds" | cut -f1) KiB in $seeds"
}

# The code a target exists to exercise, for its coverage figure: source
# files, and where only some functions of a file are meant, a pattern of
# their names.
target_sources() {
    case $1 in
        config_file) echo grabber_basis/Fg_ConfigFileParser.cpp grabber_basis/Fg_TextFile.cpp \
            appletwrappers-baselib/FgQorWrapperConfig.cpp applet/config.cpp ;;
        lut_file) echo appletwrappers-baselib/Fg_LutFileParser.cpp grabber_basis/Fg_TextFile.cpp ;;
        xml_filter) echo appletwrappers-baselib/ParameterInfoBuilderXML.cpp ;;
        # Everything a parameter access can reach: the exports, the host
        # binding, the applet's files but the configuration files and Info.
        typed_access) echo appletwrappers-baselib/grabber_basis_qor_wrapper.cpp \
            appletwrappers-baselib/FgQorWrapper.cpp \
            "$(cd "$root" && ls applet/*.cpp | grep -v -e '/config\.cpp$' -e '/info\.cpp$')" ;;
    esac
}
target_functions() {
    case $1 in
        xml_filter) echo 'xml(String|Name)Filter' ;;
    esac
}

# Replays a target's corpus in a coverage build and reports its line coverage.
report_coverage() {
    name=$1 exe=$2
    out="$build/fuzz/coverage"
    work="$out/run-$name"
    rm -rf "$work" "$out/$name".* && mkdir -p "$work" || return 1
    if ! (cd "$work" && LLVM_PROFILE_FILE="$out/$name-%m-%p.profraw" TMPDIR="$work" \
            "$exe" -max_len="$(max_len "$name")" "$here/corpus/$name"/*) > "$out/$name.log" 2>&1; then
        echo "fuzz: replaying the corpus of $name failed, see $out/$name.log" >&2
        return 1
    fi
    llvm-profdata merge -sparse "$out/$name"-*.profraw -o "$out/$name.profdata" || return 1
    rm -f "$out/$name"-*.profraw
    files=$(for f in $(target_sources "$name"); do echo "$root/$f"; done)
    # The applet library holds the code the board targets reach.
    set -- "$exe" -object "$build/lib/libOrvindel.so" -instr-profile="$out/$name.profdata"
    functions=$(target_functions "$name")
    if [ -n "$functions" ]; then
        llvm-cov report -show-functions "$@" $files > "$out/$name.txt" || return 1
        total=$(awk -v re="$functions" '$1 ~ re { lines += $5; missed += $6 }
            END { if (lines) printf "%.1f%% of %d lines (%d missed)", 100 * (lines - missed) / lines, lines, missed }' \
            "$out/$name.txt")
    else
        # Rows: file, regions (3 columns), functions (3), lines, missed lines, cover, ...
        llvm-cov report "$@" $files > "$out/$name.txt" || return 1
        total=$(awk '/^TOTAL/ { printf "%.1f%% of %d lines (%d missed)", 100 * ($8 - $9) / $8, $8, $9 }' \
            "$out/$name.txt")
    fi
    llvm-cov show -format=text -show-line-counts "$@" $files > "$out/$name.show.txt" 2>/dev/null
    printf 'fuzz_%-14s line coverage %s, %s corpus inputs\n' "$name" "$total" "$(ls "$here/corpus/$name" | wc -l | tr -d ' ')"
    if [ -z "$functions" ]; then
        awk 'NF >= 10 && $1 != "Filename" && $1 != "TOTAL" { printf "    %-44s %7s of %4d lines\n", $1, $10, $8 }' \
            "$out/$name.txt"
    fi
}

# The program of a fuzz target, or a message when it is not built.
built() {
    local exe="$build/fuzz/fuzz_$1"
    [ -x "$exe" ] || { echo "fuzz: $exe not built" >&2; return 1; }
    echo "$exe"
}

if [ "$coverage" -eq 1 ]; then
    status=0
    for name in $targets; do
        exe=$(built "$name") || { status=1; continue; }
        report_coverage "$name" "$exe" || status=1
    done
    echo "fuzz: reports and annotated sources in $build/fuzz/coverage/"
    exit $status
fi

status=0
total_execs=0
total_findings=0
summary=""
for name in $targets; do
    exe=$(built "$name") || { status=1; continue; }
    work="$build/fuzz/work/$name"
    rm -rf "$work"
    mkdir -p "$work/corpus" "$work/artifacts" "$work/run"
    cp "$here/corpus/$name/"* "$work/corpus/" 2>/dev/null

    dict=""
    [ -f "$build/fuzz/$name.dict" ] && dict="-dict=$build/fuzz/$name.dict"

    # The target runs in a directory of its own: file names it meets in
    # hostile input stay relative to it. The files it writes itself go to a
    # memory file system where there is one (/dev/shm): every save syncs its
    # file, which on a disk would cost more than the input's other work.
    scratch=$(mktemp -d /dev/shm/orv-fuzz-XXXXXX 2>/dev/null) || scratch="$work/run"
    (
        cd "$work/run" &&
        ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:symbolize=1 \
        UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
        TMPDIR="$scratch" \
        "$exe" -max_total_time="$seconds" -print_final_stats=1 -timeout=30 -rss_limit_mb=2048 \
            -max_len="$(max_len $name)" -artifact_prefix="$work/artifacts/" $dict "$work/corpus"
    ) > "$work/log.txt" 2>&1
    rc=$?
    [ "$scratch" = "$work/run" ] || rm -rf "$scratch"

    execs=$(sed -n 's/^stat::number_of_executed_units: *\([0-9]*\).*/\1/p' "$work/log.txt" | tail -n 1)
    [ -n "$execs" ] || execs=0
    findings=$(find "$work/artifacts" -type f \( -name 'crash-*' -o -name 'leak-*' -o -name 'timeout-*' \
        -o -name 'oom-*' \) | wc -l | tr -d ' ')
    if [ "$rc" -ne 0 ] && [ "$findings" -eq 0 ]; then
        # The fuzzer stopped with an error but wrote no input: count it too.
        findings=1
    fi
    corpus=$(ls "$work/corpus" | wc -l | tr -d ' ')
    line=$(printf 'fuzz_%-14s %10s executions in %ss, corpus %s inputs, %s findings' \
        "$name" "$execs" "$seconds" "$corpus" "$findings")
    echo "$line"
    summary="$summary$line
"
    total_execs=$((total_execs + execs))
    total_findings=$((total_findings + findings))
    if [ "$findings" -ne 0 ]; then
        status=1
        echo "  see $work/log.txt and $work/artifacts/" >&2
        tail -n 30 "$work/log.txt" >&2
    elif [ "$merge" -eq 1 ]; then
        merge_corpus "$name" "$exe" "$work" || status=1
    fi
done

printf '%s' "$summary" > "$build/fuzz/summary.txt"
echo "fuzz: $total_execs executions, $total_findings findings"
exit $status
