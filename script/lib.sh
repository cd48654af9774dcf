# Sourced by the scripts beside it: where the tree is, how a script says what it does and how it is used.

# A script's usage stands in its head, from the second line to the first that is no comment.
if [ "${1:-}" = --help ] || [ "${1:-}" = -h ]; then
    sed -n '2,$ { /^#/!q; /^# shellcheck/d; s/^# \{0,1\}//; p; }' "$0"
    exit
fi

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
caller=$PWD # what a relative argument is relative to
cd "$top"

say() { printf '== %s\n' "$*"; }

fail() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

misused() { fail "$*; script/$(basename "$0") --help tells how it is used"; }

# Shows a command, then runs it.
run() {
    printf '+%s\n' "$(printf ' %q' "$@")"
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

# Writes a file that servers read, which run as another user when root calls; the directory around it is closed to others.
write_for_servers() { (umask 022 && cat >"$1"); }

# Puts user and password where drivers and programs look for them by themselves, in files of the given directory.
use_account() { # directory, user, password
    (
        umask 077
        printf '*:*:*:%s:%s\n' "$2" "$3" >"$1/pgpass"
        printf '[client]\nuser=%s\npassword=%s\n' "$2" "$3" >"$1/.my.cnf"
    )
    export PGUSER="$2" PGPASSFILE="$1/pgpass" HOME="$1"
}
