# shellcheck shell=bash
# What a word needs before its first step: a checkout that can be worked in, for itself alone, and Debian packages.

build_packages=(
    clang-19 lld-19 llvm-19
    g++-mingw-w64-x86-64-win32 mingw-w64-x86-64-dev mingw-w64-tools
    cmake ninja-build doctest-dev nlohmann-json3-dev python3-pefile
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

# Windows programs are started here by paths of at most 259 characters; the longest below the checkout has about 60.
longest_root=190

# What would fail later, and less clearly.
check_checkout() {
    ((${#root} <= longest_root)) ||
        die "The path of this checkout has ${#root} characters, of which Wine takes $longest_root at most."
    [[ $root != *[\;\"\\]* ]] || die "The path of this checkout has a character that CMake or Wine cannot take: $root"
    if [[ -e $build ]]; then
        [[ -O $build ]] ||
            die "build/ belongs to $(stat -c %U "$build"), and Wine works for nobody else: be that user, or remove it."
    else
        [[ -w $root ]] || die "This checkout can't be written to: $root"
    fi
}

# A word that another one runs is under that one's lock.
lock_checkout() {
    exec {checkout_lock}<"$root"
    [[ ${VEXA_LOCKED_CHECKOUT-} != "$root" ]] || return 0
    export VEXA_LOCKED_CHECKOUT=$root
    flock --nonblock "$checkout_lock" || die "Another ./run is at work in this checkout; wait until it has ended."
}

is_installed() {
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

# need_packages PACKAGE...: what is missing is installed, what is there is left alone.
need_packages() {
    local package missing=() as_root=()
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    ((${#missing[@]})) || return 0
    command -v apt-get >/dev/null || die "This is no Debian: there is no apt-get to install packages with."
    if ((EUID)); then
        command -v sudo >/dev/null ||
            die "Packages are missing, and there is neither root nor sudo to install them with: ${missing[*]}"
        as_root=(sudo)
    fi
    say "Installing packages, a minute or so if it is many: ${missing[*]}"
    {
        "${as_root[@]}" apt-get update -qq
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
            -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=300 "${missing[@]}" >/dev/null
    } || die "The packages could not be installed."
}
