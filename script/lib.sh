# Sourced by the scripts beside it: where the tree is, how a script says what it does.

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
caller=$PWD # what a relative argument is relative to
cd "$top"

say() { printf '== %s\n' "$*"; }

fail() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# Shows a command, then runs it.
run() {
    printf '+ %s\n' "$*"
    "$@"
}

# The files of the tree matching the given find expression, NUL between them: what is tracked and what is about to be,
# on a machine with or without git.
tree_files() {
    find . \( -path ./.git -o -path ./build -o -path ./.cache \) -prune -o -type f \( "$@" \) -print0 | sort -z
}

cpp_files() { tree_files -name '*.cpp' -o -name '*.h'; }

public_headers() {
    sed -n '/^set(ORVEL_PUBLIC_HEADERS/,/)/p' cmake/Install.cmake | grep -oE '[a-z]+/[A-Za-z_]+\.h'
}

# build_tree PRESET [CMAKE-OPTION...]
build_tree() {
    run cmake --preset "$@"
    run cmake --build --preset "$1" --parallel "$(nproc)"
}
