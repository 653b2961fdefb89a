#!/usr/bin/env bash
# The scale proof of tiled memory, beside the disk's own sequential speed
# measured with dd in the same run. Needs about 5 GB free in DIR.
#   scripts/bench-tiled-scale.sh [DIR] [options of kest_scale_tiled...]
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-${TMPDIR:-/tmp}}
[ $# -gt 0 ] && shift
cmake --preset release >/dev/null
cmake --build --preset release --target kest_scale_tiled >/dev/null

probe=$(mktemp "$dir/kest-dd-probe.XXXXXX")
trap 'rm -f "$probe"' EXIT
df -h "$dir" | tail -1
# 286 blocks of 16 MiB: 4.8 GB, the size of the bitmap.
echo "== dd write, through the page cache"
dd if=/dev/zero of="$probe" bs=16M count=286 2>&1 | tail -1
echo "== dd write, flushed to the disk (conv=fdatasync)"
dd if=/dev/zero of="$probe" bs=16M count=286 conv=fdatasync 2>&1 | tail -1
echo "== dd read, through the page cache"
dd if="$probe" of=/dev/null bs=16M 2>&1 | tail -1
echo "== dd read, from the disk (iflag=direct)"
dd if="$probe" of=/dev/null bs=16M iflag=direct 2>&1 | tail -1
rm -f "$probe"
echo "== tiled bitmap"
build/release/bin/kest_scale_tiled --dir "$dir" "$@"
