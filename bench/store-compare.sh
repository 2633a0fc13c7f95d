#!/usr/bin/env bash
# Reads 100,000 small files out of one package with the engine, with Python's zipfile and with unzip, and prints the time
# of each and the memory it took. Tools that are missing are left out.
#   bench/store-compare.sh
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release -DQK3D_BENCH=ON >/dev/null
cmake --build --preset release --target qk3d-bench
mkdir -p out
package=$PWD/out/store-bench.zip
QK3D_BENCH_PACKAGE=$package build/release/bin/qk3d-bench --benchmark_filter='^store/' --benchmark_out_format=json \
    --benchmark_out=out/bench-store.json >/dev/null 2>out/bench.log || { cat out/bench.log; exit 1; }
echo "The engine, with the heap that the open store and one file take at the most:"
awk -f bench/table.awk out/bench-store.json

command -v python3 >/dev/null || { echo "There is no python3 to time other tools with."; exit 0; }
echo
echo "Others on the same package, with the resident memory that the reading adds:"
python3 - "$package" <<'END'
import random, resource, shutil, subprocess, sys, time, zipfile

package = sys.argv[1]


def peak(who):
    return resource.getrusage(who).ru_maxrss * 1024


def show(name, seconds, count, memory):
    print(f"{name:32} {seconds * 1e9:14.0f}             {seconds * 1e9 / count:.4g} ns/file {memory / count:.4g} bytes/file")


before = peak(resource.RUSAGE_SELF)
start = time.perf_counter()
archive = zipfile.ZipFile(package)
opened = time.perf_counter() - start
names = archive.namelist()
random.Random(1).shuffle(names)
start = time.perf_counter()
for name in names:
    archive.read(name)
passed = time.perf_counter() - start
memory = peak(resource.RUSAGE_SELF) - before
show("zipfile, opening", opened, len(names), memory)
show("zipfile, reading", passed, len(names), memory)

if shutil.which("unzip"):
    # Opens once and reads in the order of the package.
    start = time.perf_counter()
    subprocess.run(["unzip", "-p", package], stdout=subprocess.DEVNULL, check=True)
    show("unzip -p, both", time.perf_counter() - start, len(names), peak(resource.RUSAGE_CHILDREN))
END
rm -f "$package"
