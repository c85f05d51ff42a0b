# shellcheck shell=bash
# What every other file here uses: messages and bounded waits.

say() {
    printf '\n== %s\n' "$*"
}

die() {
    printf '\nrun: %s\n' "$*" >&2
    exit 1
}

# wait_for SECONDS COMMAND...: tries the command every 50 ms until it succeeds or the time is over.
wait_for() {
    local end=$((SECONDS + $1))
    shift
    until "$@"; do
        ((SECONDS < end)) || return 1
        sleep 0.05
    done
}

# What to do on the way out, last registered first, whatever ends the script.
exit_actions=()

at_exit() {
    exit_actions=("$1" "${exit_actions[@]}")
}

run_exit_actions() {
    local status=$? action
    trap '' INT TERM
    for action in "${exit_actions[@]}"; do
        "$action" || true
    done
    exit "$status"
}
trap run_exit_actions EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
