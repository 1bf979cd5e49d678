#!/bin/sh
# Runs every libFuzzer target for a bounded time and reports, per target, the
# executions run and the findings (crash, leak, timeout or out-of-memory
# inputs). Exit status 0 when no target found anything.
#
#   fuzz/run.sh BUILD_DIR SECONDS        (for example fuzz/run.sh build/fuzz 60)
#
# Each target starts from a fresh copy of its seed corpus (fuzz/corpus/NAME)
# in BUILD_DIR/fuzz/work/NAME, where its log, the corpus it grew and any
# finding (artifacts/) stay for inspection. A finding is reproduced with
#   BUILD_DIR/fuzz/fuzz_NAME ARTIFACT

set -u

usage() {
    echo "usage: fuzz/run.sh BUILD_DIR [SECONDS]   run every fuzz target of BUILD_DIR (built by make build-fuzz) for SECONDS each (default 60)"
}
case ${1:-} in
    -h|--help) usage; exit 0 ;;
    '') usage >&2; exit 2 ;;
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

# Input size limits per target: configuration files are a few kilobytes.
max_len() {
    case $1 in
        config_file) echo 16384 ;;
        lut_file) echo 8192 ;;
        *) echo 4096 ;;
    esac
}

status=0
total_execs=0
total_findings=0
summary=""
for name in config_file lut_file xml_filter typed_access; do
    exe="$build/fuzz/fuzz_$name"
    if [ ! -x "$exe" ]; then
        echo "fuzz: $exe not built" >&2
        status=1
        continue
    fi
    work="$build/fuzz/work/$name"
    rm -rf "$work"
    mkdir -p "$work/corpus" "$work/artifacts" "$work/run"
    cp "$here/corpus/$name/"* "$work/corpus/" 2>/dev/null

    # The target runs in a directory of its own: file names it meets in
    # hostile input stay relative to it.
    (
        cd "$work/run" &&
        ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:symbolize=1 \
        UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
        TMPDIR="$work/run" \
        "$exe" -max_total_time="$seconds" -print_final_stats=1 -timeout=30 -rss_limit_mb=2048 \
            -max_len="$(max_len $name)" -artifact_prefix="$work/artifacts/" "$work/corpus"
    ) > "$work/log.txt" 2>&1
    rc=$?

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
    fi
done

printf '%s' "$summary" > "$build/fuzz/summary.txt"
echo "fuzz: $total_execs executions, $total_findings findings"
exit $status
