#!/usr/bin/env bash
# Builds the program, runs an example and draws its result.
#
# Usage: scripts/demo.sh   (results in demo-output/)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

model=examples/limb.trl
out=demo-output
result=$out/limb

scripts/bootstrap.sh build plot
cmake --preset release -DTREL_BUILD_TESTS=OFF -DTREL_BUILD_BENCH=OFF -DTREL_WERROR=OFF
cmake --build --preset release --target trelrun --parallel "$(nproc)"

mkdir -p "$out"
rm -f "$result".*
echo
echo "Running $model: absorption 0.02/mm, scattering 10/mm, anisotropy 0.9, index 1.40"
build/release/trelrun "$model" -o "$result" --text --mua 0.02 --mus 10 --g 0.9 --n 1.40 | tee "$result.log"
for file in "$result.A.CW" "$result.T.CW"; do
    [ -s "$file" ] || { echo "The run left no $file" >&2; exit 1; }
done
scripts/plot-slice.py "$result.A.CW" "$result.png" --normal z --from -15 -15 --cell 0.5 \
    --title "Absorbed power in the plane z = 0 (per mm^3, of 1 launched)"

cat <<END

The picture:      $PWD/$result.png
Absorbed power:   $PWD/$result.A.CW
What left it:     $PWD/$result.T.CW
The model:        $PWD/$model
What is in the result files: docs/result-files.md
END
