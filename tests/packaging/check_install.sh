#!/usr/bin/env bash
# Installs the build into a temporary prefix, then: the installed qm300 runs
# without --module (also after the prefix is moved), and a CMake consumer
# and a pkg-config consumer build against the install and run.
#   check_install.sh BUILD_DIR
set -euo pipefail
build=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" >/dev/null
for f in bin/qm300 include/ippiQM300.h include/ippiQM300_functions.h share/doc/ippiqm300/README.md \
         share/doc/ippiqm300/LICENSE; do
  [ -f "$work/prefix/$f" ] || { echo "not installed: $f" >&2; exit 1; }
done
(cd "$work" && prefix/bin/qm300 info | grep -q "implementation set") ||
  { echo "installed qm300 info failed" >&2; exit 1; }
# pip install ./python, offline, into a virtual environment at the prefix: the
# binding finds the installed module on its own and matches the installed tool.
"${QM_PYTHON3:-python3}" -m venv --system-site-packages "$work/prefix"
cp -r "$root/python" "$work/python"
"$work/prefix/bin/python3" -m pip install -q --no-index --no-build-isolation "$work/python"
(cd "$work" && env -u IPPIQM300_MODULE -u PYTHONPATH prefix/bin/python3 - <<'PY'
import subprocess, numpy as np, ippiqm300 as qm
assert "/prefix/lib" in qm.default().path, qm.default().path
page = np.random.default_rng(7).integers(0, 256, (40, 58, 3), dtype=np.uint8)
open("page.ppm", "wb").write(b"P6\n58 40\n255\n" + page.tobytes())
subprocess.run(["prefix/bin/qm300", "denoise", "-m", "2", "-l", "5", "page.ppm", "out.ppm"], check=True)
tool = np.frombuffer(open("out.ppm", "rb").read()[-page.size:], np.uint8).reshape(page.shape)
assert np.array_equal(qm.denoise(page, mode=2, level=5), tool)
PY
) || { echo "the pip-installed binding failed" >&2; exit 1; }

mv "$work/prefix" "$work/moved"
(cd "$work" && moved/bin/qm300 info >/dev/null) || { echo "moved qm300 info failed" >&2; exit 1; }

cmake -S "$here/consumer" -B "$work/cmake-consumer" -G Ninja -DCMAKE_PREFIX_PATH="$work/moved" >/dev/null
cmake --build "$work/cmake-consumer" >/dev/null
"$work/cmake-consumer/consumer"

mv "$work/moved" "$work/prefix"  # the .pc file names the prefix it was installed to
pc=$(find "$work/prefix" -name ippiQM300.pc)
export PKG_CONFIG_PATH=$(dirname "$pc")
module=$(pkg-config --variable=module ippiQM300)
[ -f "$module" ] || { echo "pkg-config module path $module is missing" >&2; exit 1; }
# shellcheck disable=SC2046
cc -std=c99 -Wall -Werror $(pkg-config --cflags ippiQM300) -DQM_MODULE="\"$module\"" \
   "$here/consumer/consumer.c" $(pkg-config --libs ippiQM300) -o "$work/pc-consumer"
"$work/pc-consumer"
