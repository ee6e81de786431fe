#!/usr/bin/env bash
# Builds and runs all tests: optimised, and under the sanitizers. Those of the Python package run once, in
# the optimised build, by /usr/bin/python3: another Python on the PATH has none of Debian's packages.
#
# Usage: scripts/test.sh [PRESET...]   (of CMakePresets.json; default: release asan tsan)
#        scripts/test.sh long          those, the linter on all files, and the tests that take long
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

long=
if [ "${1-}" = long ]; then
    long=yes
    shift
fi
presets=("$@")
[ $# -gt 0 ] || presets=(release asan tsan)

scripts/bootstrap.sh build python package test tsan format lint ${long:+long}

echo "== format"
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run -Werror

launcher=()
if command -v ccache >/dev/null; then
    launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
for preset in "${presets[@]}"; do
    echo "== $preset"
    cmake --preset "$preset" "${launcher[@]}"
    if [ "$preset" = "${presets[0]}" ]; then
        scripts/lint.sh "build/$preset" ${long:+all}
    fi
    cmake --build --preset "$preset" --parallel "$(nproc)"
    ctest --preset "$preset"
    if [ "$preset" = release ]; then
        sed -n '/slowest 10 durations/,/ passed/p' "build/$preset/Testing/Temporary/LastTest.log"
    fi
done
if [ -n "$long" ]; then
    for preset in release-long asan-long; do
        echo "== $preset"
        ctest --preset "$preset"
    done
fi
echo "All tests passed: ${presets[*]}${long:+, and the long ones}"
