#!/usr/bin/env bash
# Fails when a C or C++ source of the project differs from what clang-format
# makes of it with the project's .clang-format; lists the files. With --fix,
# formats them in place instead.
set -euo pipefail
cd "$(dirname "$0")/.."
fix=0
[ "${1:-}" = "--fix" ] && fix=1
command -v clang-format >/dev/null || { echo "check-format: clang-format is not installed" >&2; exit 1; }
if [ -d .git ] || git rev-parse --git-dir >/dev/null 2>&1; then
    mapfile -t files < <(git ls-files '*.c' '*.cpp' '*.h' | grep -v '^fuzz/corpus/')
else
    mapfile -t files < <(find applet appletwrappers-baselib grabber_basis templates platform tools examples \
                             include tests bench fuzz -name '*.c' -o -name '*.cpp' -o -name '*.h' | grep -v '/corpus/')
fi
if [ "$fix" = 1 ]; then
    clang-format -i "${files[@]}"
    exit 0
fi
bad=0
for f in "${files[@]}"; do
    if ! clang-format --dry-run --Werror "$f" >/dev/null 2>&1; then
        echo "not formatted: $f (scripts/check-format.sh --fix formats it)"
        bad=1
    fi
done
[ "$bad" = 0 ] && echo "check-format: ${#files[@]} files formatted"
exit "$bad"
