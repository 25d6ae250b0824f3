# shellcheck shell=bash
# What the commands of this repository share; sourced by ./test, ./demo and the scripts, after
# `set -euo pipefail`. Works from any current directory.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
export QZ_JOBS=${QZ_JOBS:-$(nproc)}

# The tracked and the new files whose names match one of the patterns, NUL-separated. A tree without its
# history (an unpacked archive) is searched instead.
source_files() {
    if git_in_tree rev-parse --verify --quiet HEAD >/dev/null 2>&1; then
        git_in_tree ls-files -z --cached --others --exclude-standard -- "$@" | existing_only
    else
        local names=() pattern
        for pattern in "$@"; do
            names+=(-o -path "$root/$pattern")
        done
        find "$root" -path "$root/build" -prune -o -type f \( "${names[@]:1}" \) -printf '%P\0'
    fi
}

# The owner of a mounted checkout is often not the user of the container.
git_in_tree() {
    git -c safe.directory="$root" -C "$root" "$@"
}

existing_only() {
    local file
    while IFS= read -r -d '' file; do
        if [[ -f $root/$file ]]; then
            printf '%s\0' "$file"
        fi
    done
}

# Compilers and tests keep everything below build/. ccache's usual directory is shared between checkouts; where
# there is none to write to, build/ takes it.
prepare_environment() {
    mkdir -p "$root/build/tmp"
    export TMPDIR=$root/build/tmp
    if [[ -z ${CCACHE_DIR:-} ]]; then
        local cache=
        if [[ -n ${XDG_CACHE_HOME:-} ]]; then
            cache=$XDG_CACHE_HOME/ccache
        elif [[ -n ${HOME:-} ]]; then
            cache=$HOME/.cache/ccache
        fi
        if [[ -z $cache ]] || ! mkdir -p "$cache" 2>/dev/null || [[ ! -w $cache ]]; then
            cache=$root/build/ccache
        fi
        export CCACHE_DIR=$cache
    fi
}
