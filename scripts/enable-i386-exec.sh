#!/bin/sh
# Makes 32-bit x86 programs runnable for the 32-bit test tree. Most x86-64
# kernels run them natively; some virtual machines do not (no 32-bit
# compatibility mode). There, the 32-bit programs run under Debian's
# qemu-user-static, registered with the kernel's binfmt_misc so that every
# 32-bit program (tests, the programs they start, build-time generators) is
# run through it. Needs root only when something must be set up.
set -eu
probe_dir=$(mktemp -d)
trap 'rm -rf "$probe_dir"' EXIT
printf 'int main(void){return 0;}\n' > "$probe_dir/p.c"
if ! gcc -m32 "$probe_dir/p.c" -o "$probe_dir/p" 2>/dev/null; then
  echo "error: cannot build a 32-bit program (is g++-multilib installed?)" >&2
  exit 1
fi
"$probe_dir/p" 2>/dev/null && exit 0
echo "32-bit programs do not run natively here: registering qemu-i386 with binfmt_misc"
if [ "$(id -u)" -ne 0 ]; then
  echo "error: 32-bit programs cannot run and setting up their emulation needs root" >&2
  exit 1
fi
if ! dpkg -s qemu-user-static >/dev/null 2>&1; then
  DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends qemu-user-static
fi
[ -e /proc/sys/fs/binfmt_misc/register ] || mount -t binfmt_misc binfmt_misc /proc/sys/fs/binfmt_misc
if [ ! -e /proc/sys/fs/binfmt_misc/qemu-i386 ]; then
  printf '%s' ':qemu-i386:M::\x7fELF\x01\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\x03\x00:\xff\xff\xff\xff\xff\xfe\xfe\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff:/usr/bin/qemu-i386-static:F' \
    > /proc/sys/fs/binfmt_misc/register
fi
"$probe_dir/p" || { echo "error: 32-bit programs still do not run" >&2; exit 1; }
