#!/usr/bin/env bash
# Builds the program, runs an example, and draws its model and its result and writes a report by the
# Python package.
#
# Usage: scripts/demo.sh   (results in demo-output/)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

model=examples/limb.trl
out=demo-output
result=$out/limb

scripts/bootstrap.sh build python
cmake --preset release -DTREL_BUILD_TESTS=OFF -DTREL_BUILD_BENCH=OFF -DTREL_WERROR=OFF
cmake --build --preset release --target trelrun --parallel "$(nproc)"

mkdir -p "$out"
rm -f "$result".* "$result"-*
echo
echo "Running $model: absorption 0.02/mm, scattering 10/mm, anisotropy 0.9, index 1.40"
build/release/trelrun "$model" -o "$result" --mua 0.02 --mus 10 --g 0.9 --n 1.40 | tee "$result.log"
[ -s "$result.nc" ] || { echo "The run left no $result.nc" >&2; exit 1; }
# By /usr/bin/python3, whose packages Debian's are, whatever other Python is on the PATH.
python/trel-tools plot "$model" --normal z -o "$result-model.png"
python/trel-tools plot "$result.nc" --what slice --normal z -o "$result-slice.png"
python/trel-tools plot "$result.nc" --what ledger -o "$result-ledger.png"
python/trel-tools report "$result.nc" -o "$result.html"

cat <<END

The model:        $PWD/$result-model.png, of $PWD/$model
Absorbed power:   $PWD/$result-slice.png
Where it went:    $PWD/$result-ledger.png
The result:       $PWD/$result.nc
All on one page:  $PWD/$result.html
How to draw others: docs/python.md. What is in the result: docs/result-files.md
END
