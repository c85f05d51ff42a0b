# shellcheck shell=bash
# What every other file here uses: words, messages and bounded waits.

say() {
    printf '\n== %s\n' "$*"
}

die() {
    printf '\nrun: %s\n' "$*" >&2
    exit 1
}

words=()
declare -A word_summaries word_packages

# word NAME SUMMARY PACKAGE...: a word of the front door. run_NAME does it. A word with options has two more functions:
# options_NAME takes them and refuses what it doesn't know, before anything is done; help_NAME lists them.
word() {
    words+=("$1")
    word_summaries[$1]=$2
    word_packages[$1]=${*:3}
}

has_options() {
    declare -F "options_$1" >/dev/null
}

usage() {
    local name
    printf 'Usage: ./run WORD [OPTION...]\n\n'
    for name in "${words[@]}"; do
        printf '  %-9s%s\n' "$name" "${word_summaries[$name]}"
    done
    printf '  %-9s%s\n' help 'this list, or with a word its options, as does WORD --help'
}

word_usage() {
    printf 'Usage: ./run %s%s\n\n%s\n' "$1" "$(has_options "$1" && echo ' [OPTION...]')" "${word_summaries[$1]}"
    ! has_options "$1" || printf '\n%s\n' "$("help_$1")"
}

run_word() {
    local name=${1-} option
    shift || true
    case $name in
    help | -h | --help) name=${1-} && set -- --help ;;
    esac
    if [[ ! $name ]]; then
        usage
        return
    fi
    printf '%s\n' "${words[@]}" | grep -qxF -- "$name" ||
        die "There is no word \"$name\". The words are: ${words[*]} help"
    for option in "$@"; do
        if [[ $option == -h || $option == --help ]]; then
            word_usage "$name"
            return
        fi
    done
    if has_options "$name"; then
        "options_$name" "$@"
    elif (($#)); then
        die "\"$name\" has no options, so \"$1\" is not one of them."
    fi
    check_checkout
    lock_checkout
    # shellcheck disable=SC2086  # a list of names
    need_packages ${word_packages[$name]}
    # What runs on after a killed shell must not hold the lock.
    "run_$name" {checkout_lock}<&-
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

# limit SECONDS COMMAND...: ends the command after that time. Unlike timeout by itself it lets Ctrl-C through.
limit() {
    timeout --foreground "$@"
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
