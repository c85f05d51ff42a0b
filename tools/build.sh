# shellcheck shell=bash
# Building and testing.

build_all() {
    need_packages "${build_packages[@]}"
    say "Building"
    # Ninja runs CMake again by itself when a CMake file changed.
    if [[ ! -e $build/build.ninja ]]; then
        cmake --preset release
    fi
    cmake --build --preset release --parallel "$(nproc)"
    local product
    for product in VexaFPCredentialProvider.dll VexaFPCredentialProvider.pdb; do
        [[ -s $build/$product ]] || die "The build left no $product in $build."
    done
}

run_tests() {
    build_all
    start_windows
    say "Testing under Wine"
    ctest --preset release --no-tests=error "$@"
}
