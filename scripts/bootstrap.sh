#!/usr/bin/env bash
# Installs what is missing of the tools that the other scripts need, by apt-get, as root or with
# sudo. If nothing is missing it does nothing and does not touch the network.
#
# Usage: scripts/bootstrap.sh GROUP...
#        (build python test tsan format lint long bench windows docs package)
set -euo pipefail

compiles() { # compiles COMPILER SOURCE OPTION...
    local compiler=$1 source=$2
    shift 2
    printf '%s\n' "$source" | "$compiler" -x c++ - -o /dev/null "$@" >/dev/null 2>&1
}

# By the interpreter that Debian's packages belong to: another Python on the PATH has none of them.
imports() { # imports MODULE
    /usr/bin/python3 -c "import $1"
}

has_cmake_3_25() {
    command -v cmake >/dev/null || return 1
    printf '%s\n' 3.25 "$(cmake --version | sed -n 's/^cmake version //p')" | sort -VC
}

# GROUP|PACKAGES|COMMAND that succeeds if the packages are not needed
tools() {
    cat <<'END'
build|g++|compiles c++ 'int main() {}' -fopenmp
build|make|command -v make
build|cmake|has_cmake_3_25
build|libcli11-dev|compiles c++ '#include <CLI/CLI.hpp>' -std=c++17 -E
build|nlohmann-json3-dev|compiles c++ '#include <nlohmann/json.hpp>' -E
build|libnetcdf-dev|compiles c++ '#include <netcdf.h>' -E
build|libhwy-dev|compiles c++ '#include <hwy/highway.h>' -std=c++17 -E
build|go-md2man|command -v go-md2man
build|python3|command -v python3
build|libmd-dev|compiles c++ '#include <sha2.h>' -E
python|python3-numpy|imports numpy
python|python3-xarray|imports xarray
python|python3-netcdf4|imports netCDF4
python|python3-matplotlib|imports matplotlib
python|python3-jinja2|imports jinja2
package|dpkg-dev|command -v dpkg-shlibdeps
test|python3|command -v python3
test|netcdf-bin|command -v ncdump
test|python3-pytest|imports pytest
test|python3-hypothesis|imports hypothesis
test|python3-meshio|imports meshio
test|python3-scipy|imports scipy
test|python3-distributed|imports distributed
test|parallel|command -v parallel
test|openssl|command -v openssl
test|python3-venv|imports ensurepip
test|python3-setuptools|imports setuptools
test|python3-wheel|imports wheel
test|flake8|imports flake8
test|mypy|imports mypy
test|pydocstyle|imports pydocstyle
test|libgtest-dev libgmock-dev|compiles c++ '#include <gmock/gmock.h>' -E
tsan|clang libomp-dev libclang-rt-dev|compiles clang++ 'int main() {}' -fopenmp -fsanitize=thread
format|clang-format|command -v clang-format
lint|clang-tidy|command -v clang-tidy
long|dieharder|command -v dieharder
long|python3-vtk9|imports vtkmodules
long|python3-nibabel|imports nibabel
long|gmsh|command -v gmsh
long|tetgen|command -v tetgen
long|python3-netgen|imports netgen.csg
long|octave octave-netcdf|octave-cli --norc --eval 'pkg load netcdf'
docs|doxygen|command -v doxygen
windows|g++-mingw-w64-x86-64-posix|command -v x86_64-w64-mingw32-g++-posix
bench|python3|command -v python3
bench|python3-matplotlib|imports matplotlib
bench|valgrind|command -v valgrind
END
}

missing_packages() { # missing_packages GROUP...
    local group packages test wanted
    tools | while IFS='|' read -r group packages test; do
        for wanted in "$@"; do
            [ "$group" = "$wanted" ] || continue
            eval "$test" >/dev/null 2>&1 </dev/null || printf '%s\n' $packages
        done
    done | sort -u
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        env DEBIAN_FRONTEND=noninteractive "$@"
    else
        sudo env DEBIAN_FRONTEND=noninteractive "$@"
    fi
}

install_packages() {
    as_root apt-get update -qq </dev/null &&
        as_root apt-get install -y -qq --no-install-recommends "$@" </dev/null >/dev/null
}

packages=$(missing_packages "$@" | tr '\n' ' ')
[ -n "${packages// /}" ] || exit 0

fail() {
    printf '%s\nWith these Debian 12 packages everything is there: %s\n' "$1" "$packages" >&2
    exit 1
}
command -v apt-get >/dev/null || fail "Some tools are missing, and there is no apt-get here."
if [ "$(id -u)" -ne 0 ] && ! command -v sudo >/dev/null; then
    fail "Some tools are missing, and installing them needs root or sudo."
fi
echo "Installing $packages..."
# Mirrors hiccup: one more try.
# shellcheck disable=SC2086
install_packages $packages || install_packages $packages || fail "apt-get could not install them."
packages=$(missing_packages "$@" | tr '\n' ' ')
[ -z "${packages// /}" ] || fail "Some tools are still missing or too old (CMake must be 3.25)."
