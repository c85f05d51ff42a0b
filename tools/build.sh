# shellcheck shell=bash
# Building.

word build "all of it, in build/: VexaFPCredentialProvider.dll with its .pdb, the simulators, Doctor.exe, the tests" \
    "${build_packages[@]}"

# What CMake wrote holds full paths. In a copied checkout they lead back to where it was copied from.
drop_foreign_build() {
    local home
    home=$(sed -n 's/^CMAKE_HOME_DIRECTORY:INTERNAL=//p' "$build/CMakeCache.txt" 2>/dev/null) || return 0
    [[ ! $home -ef $root ]] || return 0
    say "build/ was made for $home: starting afresh"
    rm -rf "$build"
}

# build_targets TARGET...: without any, everything.
build_targets() {
    local steps
    drop_foreign_build
    # Ninja runs CMake again by itself when a CMake file changed.
    if [[ ! -e $build/build.ninja ]]; then
        say "Configuring"
        cmake --preset release
    fi
    steps=$(ninja -C "$build" -n "$@" | grep -c '^\[' || true)
    ((steps)) || return 0
    # A step takes about a second of one core.
    say "Building: $steps steps$( ((steps < 20)) || echo ", about $((steps / $(nproc))) seconds if nothing else runs")"
    cmake --build --preset release --parallel "$(nproc)" ${1+--target "$@"}
}

build_all() {
    local product
    build_targets
    for product in VexaFPCredentialProvider.dll VexaFPCredentialProvider.pdb; do
        [[ -s $build/$product ]] || die "The build left no $product in $build."
    done
}

run_build() {
    build_all
}
