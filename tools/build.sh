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

# What the tests change in the prefix: the registry with sensor, switch and registration, the pre-boot library, the
# provider's settings and logs.
tested_state=(
    system.reg user.reg userdef.reg
    drive_c/windows/system32/vcsWavePba.dll drive_c/users/Public/VEXA drive_c/CPLog drive_c/FPLog
)

# The machine is afterwards what it was, whatever becomes of the tests: a tile offered before is offered again.
keep_machine() {
    local name present=()
    stop_wine
    for name in "${tested_state[@]}"; do
        [[ ! -e $WINEPREFIX/$name ]] || present+=("$name")
    done
    tar -C "$WINEPREFIX" -cf "$build/kept-machine.tar" "${present[@]}"
    at_exit put_machine_back
}

put_machine_back() {
    stop_wine
    (cd "$WINEPREFIX" && rm -rf "${tested_state[@]}")
    tar -C "$WINEPREFIX" -xf "$build/kept-machine.tar"
}

run_tests() {
    build_all
    start_windows
    keep_machine
    say "Testing under Wine"
    ctest --preset release --no-tests=error "$@"
}
