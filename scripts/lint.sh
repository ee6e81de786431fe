#!/usr/bin/env bash
# Runs clang-tidy with the commands of a build folder; what it finds is an error.
#
# Usage: scripts/lint.sh BUILD_FOLDER [all]   (default: what the branch changed, or on main the last
#                                             commit, and what is not committed)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# Where the branch left main; on main itself the commit before. A clone may know neither.
base() {
    local head main left
    head=$(git rev-parse HEAD)
    for main in origin/HEAD origin/main main; do
        left=$(git merge-base "$main" HEAD 2>/dev/null) || continue
        [ "$left" = "$head" ] || { echo "$left"; return; }
    done
    git rev-parse --quiet --verify HEAD~ || echo "$head"
}

changed_files() {
    git diff --name-only --diff-filter=d "$(base)" -- 'src/*.h' 'src/*.cpp'
    git ls-files --others --exclude-standard -- 'src/*.h' 'src/*.cpp'
}

# A header is looked at through its source; one without a source stands for itself.
sources() {
    local file
    while read -r file; do
        if [ -f "${file%.*}.cpp" ]; then
            echo "${file%.*}.cpp"
        else
            echo "$file"
        fi
    done | sort -u
}

if [ "${2-}" = all ]; then
    files=$(git ls-files 'src/*.cpp')
else
    files=$(changed_files | sources)
fi
[ -n "$files" ] || { echo "Nothing changed."; exit 0; }
# The commands may be those of another compiler.
foreign=(--extra-arg=-Wno-ignored-optimization-argument --extra-arg=-Wno-unknown-warning-option)
printf '%s\n' $files | xargs -P "$(nproc)" -n 1 clang-tidy --quiet -p "$1" "${foreign[@]}" \
    2> >(grep -vE '^[0-9]+ warnings? (generated|treated)' >&2)
