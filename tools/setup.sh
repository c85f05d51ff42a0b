# shellcheck shell=bash
# Debian packages: what is missing is installed, what is there is left alone.

build_packages=(
    clang-19 lld-19 llvm-19
    g++-mingw-w64-x86-64-win32 mingw-w64-x86-64-dev mingw-w64-tools
    cmake ninja-build doctest-dev
)
wine_packages=(
    wine wine64 xvfb xauth xdotool imagemagick
    # Loaded by Wine when they are there; its package only recommends them.
    libgnutls30 libxcomposite1 libxcursor1 libxfixes3 libxi6 libxinerama1 libxrandr2 libxrender1
    # Latin and Cyrillic prompts; Arabic; Chinese, Japanese and Korean.
    fonts-liberation fonts-dejavu-core fonts-wqy-microhei
)
# The package's own tools; openssl looks at a key before anything is built with it.
package_packages=(wixl msitools osslsigncode openssl zip unzip jq git)
lint_packages=(clang-format-19 clang-tidy-19 shellcheck git)

is_installed() {
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

as_root() {
    if ((EUID == 0)); then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        die "Packages are missing and there is neither root nor sudo to install them with: ${missing[*]}"
    fi
}

need_packages() {
    local package missing=()
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    ((${#missing[@]})) || return 0
    say "Installing ${missing[*]}"
    as_root apt-get update -qq
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
        -o Dpkg::Use-Pty=0 "${missing[@]}" >/dev/null
}
