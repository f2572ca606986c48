# Sourced by `run` and `check`: installs the Debian packages that are missing, and nothing else.

# What building takes.
build_packages=(cmake ninja-build g++ libboost-dev libcli11-dev libdw-dev libedit-dev libgtest-dev libiberty-dev
    libre2-dev libtomlplusplus-dev nlohmann-json3-dev)

# install_missing PACKAGE...
install_missing() {
    command -v dpkg-query >/dev/null || return 0 # not a Debian: the build itself says what it lacks
    local missing=() package root=()
    for package in "$@"; do
        if [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then
            missing+=("$package")
        fi
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    if [ "$(id -u)" -ne 0 ]; then
        root=(sudo -n)
    fi
    echo "Installing ${missing[*]}" >&2
    if ! { "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq update &&
        "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq -y --no-install-recommends install \
            "${missing[@]}"; } >&2 </dev/null; then
        echo "Could not install them. As root: apt-get install ${missing[*]}" >&2
        return 1
    fi
}
