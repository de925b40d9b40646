# Sourced by the other scripts and by tests/suites/: changes to the project's folder, and defines what they share.
set -eu
only=
case $0 in
*suites/*) called="scripts/test $(basename "$0")" above=../.. ;;
*) called=scripts/$(basename "$0") above=.. ;;
esac
CDPATH= cd -- "$(dirname -- "$0")/$above"

# Prints the usage of the script, and ends it.
usage() {
    echo "usage: $called${1:+ $1}" >&2
    exit 2
}

# Installs the named Debian packages that are missing. A package is there if a command has its name, or if the file
# after the colon exists.
require() {
    missing=
    for need in "$@"; do
        case $need in
        *:*) [ -e "${need#*:}" ] || missing="$missing ${need%%:*}" ;;
        *) command -v "$need" >/dev/null || missing="$missing $need" ;;
        esac
    done
    [ -n "$missing" ] || return 0

    as_root=
    if [ "$(id -u)" != 0 ]; then
        as_root=sudo
        if ! command -v sudo >/dev/null || { ! sudo -n true 2>/dev/null && [ ! -t 0 ]; }; then
            echo "Something is missing here. As root, run: apt-get update && apt-get install -y$missing"
            exit 1
        fi
    fi
    echo "Installing$missing"
    # Word splitting of the list is meant.
    $as_root apt-get -o Acquire::Retries=3 update -qq
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get -o Acquire::Retries=3 install -y -qq --no-install-recommends $missing >/dev/null
}

# Builds in a folder below build/, with CMake options: all targets, or the one in $only. Leaves the folder in $folder.
build_in() {
    folder=build/$1
    shift
    if [ "$(cat "$folder/options" 2>/dev/null)" != "$*" ] || [ ! -e "$folder/Makefile" ]; then
        cmake --fresh -S . -B "$folder" -G "Unix Makefiles" "$@" >/dev/null
        echo "$*" >"$folder/options"
    fi
    cmake --build "$folder" -j "$(nproc)" ${only:+--target "$only"} -- --no-print-directory -s >/dev/null
}
