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

run_test() {
    build_all
    start_windows
    say "Testing under Wine"
    ctest --preset release --no-tests=error "${ctest_options[@]}"
}
