# The scripts beside it source this file. It installs Debian packages only and fetches nothing else.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

run_packages=(cmake ninja-build g++ ffmpeg nlohmann-json3-dev libfmt-dev libicu-dev libcli11-dev
              qt6-base-dev qt6-svg-dev qt6-translations-l10n
              libsqlite3-dev libqrencode-dev libhwy-dev pkg-config)
test_packages=("${run_packages[@]}" libgtest-dev libgmock-dev bindfs sshfs openssh-sftp-server
               dbus python3-dbusmock python3-gi chromium chromium-driver
               xvfb xdotool openbox bash-completion e2fsprogs)

as_root() {
    if [[ $(id -u) -eq 0 ]]; then "$@"; else sudo "$@"; fi
}

# Installs those of the packages that are missing; requests no rights when none is.
install_packages() {
    local missing=() package
    for package in "$@"; do
        [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) == installed ]] || missing+=("$package")
    done
    [[ ${#missing[@]} -gt 0 ]] || return 0
    echo "Installing: ${missing[*]}"
    as_root apt-get update -qq
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# build PRESET [CMAKE-OPTION...]: configures where needed and builds what changed. Prints nothing unless it fails.
build() {
    local preset=$1 log
    shift
    log=$(mktemp)
    echo "Building ($preset) ..."
    if ! (cd "$root" && cmake --preset "$preset" "$@" && cmake --build --preset "$preset") >"$log" 2>&1; then
        cat "$log"
        rm -f "$log"
        return 1
    fi
    tail -n 1 "$log"
    rm -f "$log"
}
