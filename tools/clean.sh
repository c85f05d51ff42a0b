# shellcheck shell=bash
# Back to the checkout as it came.

word clean "removes build/, the Wine prefix included; installed packages stay"

run_clean() {
    ! command -v wineserver >/dev/null || stop_wine
    rm -rf "$build"
    say "There is no build/ any more"
}
