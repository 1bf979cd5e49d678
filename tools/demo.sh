#!/bin/sh
# A short session with appletctl on the simulated board: the board's identity,
# a region of interest, the x-offset range narrowing after a width change, a
# rejected value, a configuration saved and loaded back, a broken file caught
# by check and by load, frames grabbed to image files, and the start of the
# GenApi document. Exit status 0
# when everything went as expected.
#
#   tools/demo.sh BUILD_DIR        (for example tools/demo.sh build/x64)

set -u

case ${1:-} in
    -h|--help)
        echo "usage: tools/demo.sh [BUILD_DIR]   a short appletctl session on the simulated board (default build/x64)"
        exit 0 ;;
    -*)
        echo "demo: unknown option '$1' (see tools/demo.sh --help)" >&2
        exit 2 ;;
esac
build=${1:-build/x64}
tool="$build/bin/appletctl"
if [ ! -x "$tool" ]; then
    echo "demo: $tool not found; build first (make build)" >&2
    exit 1
fi

tool="$(cd "$(dirname "$tool")" && pwd)/appletctl"

# The files of the session go to a temporary directory.
work=$(mktemp -d "${TMPDIR:-/tmp}/appletctl-demo.XXXXXX") || exit 1
trap 'rm -rf "$work"' EXIT
trap 'exit 1' INT TERM
cd "$work" || exit 1

failures=0
step() {
    printf '\n== %s\n' "$1"
}
# run EXPECTED ARGS...: shows and runs one appletctl invocation, keeps its
# output (standard output and error) in out.txt and checks its exit status.
run() {
    expected=$1
    shift
    printf '$ appletctl %s\n' "$*"
    "$tool" "$@" > out.txt 2>&1
    status=$?
    if [ "$status" -ne "$expected" ]; then
        echo "demo: expected exit status $expected, got $status" >&2
        failures=$((failures + 1))
    fi
}
# expect TEXT: the last invocation's output must contain TEXT.
expect() {
    if ! grep -qF -- "$1" out.txt; then
        echo "demo: expected \"$1\" in the output" >&2
        failures=$((failures + 1))
    fi
}
# rows NAME...: the header and the named rows of a parameter table.
rows() {
    pattern='^NAME '
    for n in "$@"; do pattern="$pattern|^$n "; done
    grep -E "$pattern" out.txt
}

step "Board identity (the applet's Info query)"
run 0 info
cat out.txt
expect "applet          Orvindel"

echo
echo "Each run of appletctl opens the board afresh (with the default values) and"
echo "closes it at the end; settings outlive a run only in a configuration file."

step "A region of interest on port 0: 2048 x 512 pixels at x-offset 1024"
run 0 set FG_WIDTH=2048 set FG_HEIGHT=512 set FG_XOFFSET=1024 list
grep '^FG_' out.txt | grep '@0 = '
rows FG_WIDTH FG_HEIGHT FG_XOFFSET FG_YOFFSET
expect "FG_XOFFSET@0 = 1024"

step "The x-offset range follows the width (maximum 16384 - width)"
expect "0..14336 step 16"
run 0 set FG_WIDTH=4096 list
rows FG_WIDTH FG_XOFFSET
expect "0..12288 step 16"

step "A rejected value: widths are multiples of 16"
run 1 set FG_WIDTH=1000
cat out.txt
expect "-7080 width or x-offset not a multiple of 16"

step "Enumerations by constant name, units shown in UTF-8"
run 0 set FG_FORMAT=FG_GRAY16 list
head -n 1 out.txt
rows FG_FORMAT FG_LINEPERIODE FG_LINEEXPOSURE
expect "µs"

step "A configuration saved by one run and loaded back by the next"
run 0 set FG_WIDTH=512@1 set FG_FORMAT=FG_GRAY12@1 save demo.mcf
cat out.txt
run 0 get FG_WIDTH@1 load demo.mcf get FG_WIDTH@1 get FG_FORMAT@1
cat out.txt
expect "FG_WIDTH@1 = 512"
expect "FG_FORMAT@1 = FG_GRAY12 (22)"

step "Commands read from standard input"
printf 'describe FG_XOFFSET\nget FG_LUT_TYPE@1\n' > script.txt
printf '$ printf '"'"'describe FG_XOFFSET\\nget FG_LUT_TYPE@1\\n'"'"' | appletctl -\n'
"$tool" - < script.txt > out.txt 2>&1 || failures=$((failures + 1))
cat out.txt
expect "description   X-offset of the acquisition ROI."

step "A broken configuration file: check names file, line and key of each problem"
sed -e 's/^FG_WIDTH=512;/FG_WIDTH=99999;/' -e 's/^FG_FORMAT=22;/FG_FORMAT=4;/' demo.mcf > broken.mcf
run 1 check demo.mcf check broken.mcf
cat out.txt
expect "demo.mcf: no problems (configuration file)"
expect "broken.mcf:81: FG_WIDTH=99999 in [Port B]: outside the range 32..16384 step 16"
expect "FG_FORMAT=4 in [Port B]: not an entry of the enumeration"

echo
echo "The board's own load would drop both values without a word; load checks the"
echo "file first and reports every value the board did not take:"
run 1 load broken.mcf get FG_WIDTH@1
grep -v ': warning: ' out.txt
expect "FG_WIDTH=99999 in [Port B], line 81: refused (-6000"

step "Frames from the simulated board: the camera simulator's diagonal pattern"
# sizes FILE...: each file with its size in bytes.
sizes() {
    for f in "$@"; do
        printf '%10d  %s\n' "$(wc -c < "$f")" "$f"
    done
}
run 0 set FG_CAMERASIMULATOR_ENABLE=1 set FG_WIDTH=512 set FG_HEIGHT=64 grab -n 3 -o frame-%04d.pgm
grep -v '@0 = ' out.txt
expect "port 0: 3 frames of 512 x 64 pixels, 8 bits -> frame-0001.pgm .. frame-0003.pgm"
sizes frame-*.pgm
echo
echo "12-bit frames as 16-bit PNG (values scaled to 16 bits), and a strip of"
echo "eight frames stacked into one tall image, as a line-scan user looks at it:"
run 0 set FG_CAMERASIMULATOR_ENABLE=1 set FG_PIXELFORMAT=Mono12 set FG_FORMAT=FG_GRAY12 set FG_WIDTH=512 \
    set FG_HEIGHT=64 grab -n 2 -o frame12-%04d.png grab --strip -n 8 -o strip.pgm
grep -v '@0 = ' out.txt
expect "as one strip of 512 lines -> strip.pgm"
sizes frame12-*.png strip.pgm

echo
echo "A port waiting for an image trigger that never comes: a time-out, status 1:"
run 1 set FG_IMGTRIGGERMODE=ASYNC_TRIGGER set FG_IMGTRIGGERINSRC=-1 grab --timeout 1 -o never.pgm
grep -v '@0 = ' out.txt
expect "time-out: picture 1 did not come within 1 s"

step "The start of the GenApi document of port 0"
run 0 xml -o port0.xml
cat out.txt
head -n 12 port0.xml
if ! grep -q "<RegisterDescription" port0.xml; then
    echo "demo: no GenApi document" >&2
    failures=$((failures + 1))
fi

echo
if [ "$failures" -ne 0 ]; then
    echo "demo: $failures step(s) did not go as expected" >&2
    exit 1
fi
echo "demo: every step went as expected"
