#!/usr/bin/env bash
# Builds and runs all tests: optimised, and under the sanitizers.
#
# Usage: scripts/test.sh [PRESET...]   (of CMakePresets.json; default: release asan tsan)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

presets=("$@")
[ $# -gt 0 ] || presets=(release asan tsan)

scripts/bootstrap.sh build test tsan format

echo "== format"
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run -Werror

launcher=()
if command -v ccache >/dev/null; then
    launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
for preset in "${presets[@]}"; do
    echo "== $preset"
    cmake --preset "$preset" "${launcher[@]}"
    cmake --build --preset "$preset" --parallel "$(nproc)"
    ctest --preset "$preset"
done
echo "All tests passed: ${presets[*]}"
