# packages.sh: what a task needs of packages.txt, and how it gets there. Sourced by ./run, ./test and .ci/run, which set
# shellcheck shell=bash
# `root` to the top of the repository first.

# say TEXT...: what these scripts print about themselves; the same shape everywhere, on standard error.
say() { printf '== %s\n' "$*" >&2; }

# packages_of TASK: the packages of TASK and of the tasks before it, one a line.
packages_of() {
    awk -v task="$1" '
        BEGIN { level["build"] = 1; level["run"] = 2; level["test"] = 3; level["ci"] = 4 }
        /^[ \t]*(#|$)/ { next }
        level[$2] <= level[task] { print $1 }' "$root/packages.txt"
}

# missing_of TASK: those of them that are not installed.
missing_of() {
    local package
    packages_of "$1" | while read -r package; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || printf '%s\n' "$package"
    done
}

# need_packages TASK: returns 0 once everything TASK needs is installed. Installs what is missing where we may (as root,
# or through a sudo that asks for no password); otherwise names the command to type and returns 1.
need_packages() {
    local missing install='apt-get install -y --no-install-recommends' sudo=
    if ! command -v dpkg-query >/dev/null; then
        say "this is no Debian, so packages.txt was not checked; the build will tell what it lacks"
        return 0
    fi
    missing=$(missing_of "$1" | tr '\n' ' ')
    missing=${missing% }
    [ -n "$missing" ] || return 0

    if [ "$(id -u)" != 0 ]; then
        if ! { command -v sudo && sudo -n true; } >/dev/null 2>&1; then
            say "these packages are missing: $missing"
            say "type: sudo $install $missing"
            return 1
        fi
        sudo='sudo -n'
    fi
    say "installing $missing"
    # A package list that is too old names files the mirror no longer has, so a failure earns one refresh.
    # shellcheck disable=SC2086    # lists of words on purpose
    $sudo env DEBIAN_FRONTEND=noninteractive $install $missing >&2 ||
        { $sudo apt-get update >&2 && $sudo env DEBIAN_FRONTEND=noninteractive $install $missing >&2; }
    missing=$(missing_of "$1" | tr '\n' ' ')
    [ -z "$missing" ] || { say "still missing: $missing"; return 1; }
}
