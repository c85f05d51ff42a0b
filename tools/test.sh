# shellcheck shell=bash
# The tests.

word test "everything is built, then every test runs under Wine" "${build_packages[@]}" "${wine_packages[@]}"

# What CTest does not know it passes over, and runs everything.
help_test() {
    cat <<'END'
Options are CTest's own:
  -R, -E, -L, -LE REGEX     only, or all but, the tests with such a name or label
  -I START,END              only the tests of these numbers
  -N                        list them only
  -V, -VV, -Q               more output, or none
  --repeat MODE:N           such as until-fail:20
  --timeout SECONDS
  --rerun-failed, --stop-on-failure, --schedule-random
END
}

options_test() {
    ctest_options=()
    while (($#)); do
        case $1 in
        -N | -V | -VV | -Q | --rerun-failed | --stop-on-failure | --schedule-random) ;;
        -R | -E | -L | -LE | -I | --repeat | --timeout)
            (($# > 1)) || die "$1 takes a value."
            ctest_options+=("$1")
            shift
            ;;
        *) die "\"test\" has no option \"$1\"; see ./run test --help." ;;
        esac
        ctest_options+=("$1")
        shift
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

run_test() {
    build_all
    start_windows
    keep_machine
    say "Testing under Wine"
    ctest --preset release --no-tests=error "${ctest_options[@]}"
}
