# shellcheck shell=bash
# Installs Debian packages. Sourced by the scripts that need some.

# What the build needs.
# shellcheck disable=SC2034
build_packages=(g++ cmake make libboost-filesystem-dev libboost-program-options-dev
    libboost-system-dev libssl-dev nlohmann-json3-dev zlib1g-dev)

# What its tests need, the checks of how it is written, and the tests of its pages.
# shellcheck disable=SC2034
test_packages=(libgtest-dev busybox strace gcovr)
# shellcheck disable=SC2034
style_packages=(clang-format clang-tidy libgtest-dev shellcheck perl python3)
# shellcheck disable=SC2034
browser_packages=(chromium chromium-driver python3 python3-selenium)

# Ends the script with a message.
fail() {
    printf '%s: %s\n' "${0##*/}" "$1" >&2
    exit 1
}

# Runs a command with root's rights.
as_root() {
    if [[ $EUID -eq 0 ]]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo -- "$@"
    else
        fail "this needs root's rights: run it as root, or install sudo"
    fi
}

is_installed() {
    [[ $(dpkg-query --show --showformat='${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

# Runs apt-get, showing what it writes only if it fails.
quiet_apt_get() {
    local output
    if ! output=$(as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get -q -o DPkg::Lock::Timeout=300 "$@" 2>&1); then
        printf '%s\n' "$output" >&2
        return 1
    fi
}

# Installs those of the packages that are missing.
install_packages() {
    local package missing=()
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    if [[ ${#missing[@]} -eq 0 ]]; then
        return
    fi
    command -v apt-get >/dev/null || fail "there is no apt-get to install ${missing[*]}"
    as_root true || fail "cannot get root's rights to install ${missing[*]}"
    printf 'Installing %s\n' "${missing[*]}"
    quiet_apt_get update || printf 'Going on with the package lists as they are\n' >&2
    quiet_apt_get install --yes --no-install-recommends "${missing[@]}" ||
        fail "cannot install ${missing[*]}"
}

# Debian 13 has no package of Webalizer. Installs it where there is one; elsewhere one that is
# installed otherwise does. Returns whether there is a Webalizer.
install_webalizer() {
    local path
    for path in "${STOCK_WEBALIZER-}" /usr/bin/webalizer /usr/local/bin/webalizer \
        /opt/webalizer/bin/webalizer; do
        if [[ -x $path ]]; then
            return
        fi
    done
    if [[ -z $(apt-cache search --names-only '^webalizer$') ]]; then
        printf '%s: Debian has no package of Webalizer here, and none is installed: its domains are left out\n' \
            "${0##*/}"
        return 1
    fi
    install_packages webalizer
}
