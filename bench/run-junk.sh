#!/bin/sh
# Junk scan and secure deletion benchmarks against fd, find, dd and shred.
# usage: bench/run-junk.sh [BUILD_DIR]   (default: the build folder of setup.sh)
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$here/build}
tree=${VELLORAN_BENCH_TREE:-/var/tmp/velloran-bench-tree}
command -v fdfind >/dev/null || apt-get install -y fd-find
if [ ! -d "$tree" ]; then
    python3 "$here/../shared/bench/make-tree.py" "$tree" --files 300000
fi
make -C "$build" -j2 junk_scan erase_methods >/dev/null
echo "== scan: $tree"
"$build/bench/junk_scan" "$tree" "${RUNS:-7}"
echo "== secure deletion: ${VELLORAN_BENCH_MB:-256} MB in ${VELLORAN_BENCH_DIR:-/var/tmp}"
"$build/bench/erase_methods" "${VELLORAN_BENCH_DIR:-/var/tmp}" "${VELLORAN_BENCH_MB:-256}"
