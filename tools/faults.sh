# shellcheck shell=bash
# The fault campaign: every call of every import of the DLL fails once, and more; see docs/testing.md.

run_faults() {
    build_all
    start_windows
    say "Faults"
    (cd "$build" && wine ./FaultCampaign.exe "$@" 2>/dev/null) | sed -u 's/\r$//'
}
