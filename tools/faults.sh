# shellcheck shell=bash
# The fault campaign: each call of each import of the DLL fails once, and more; see docs/testing.md. Cases that fail
# cost their process, and the next process goes on with the next case.

word faults "each call of each import of the DLL fails once; malformed records, releases at any moment, growth" \
    "${build_packages[@]}" "${wine_packages[@]}"

fault_cases=$build/fault-cases.txt
fault_failures=0

campaign() {
    (cd "$build" && exec wine ./FaultCampaign.exe "$@" 2>/dev/null) | sed -u 's/\r$//'
}

# list_cases SEED RECORDS RELEASES LIVES MATCHES [sample]
list_cases() {
    local seed=$1
    campaign list "${@:6}" >"$fault_cases"
    [[ -s $fault_cases ]] || die "The campaign found no calls to fail."
    {
        seq -f 'records %.0f' "$seed" $((seed + $2 - 1))
        seq -f 'release %.0f' "$seed" $((seed + $3 - 1))
        printf 'lives %d\nmatches %d\n' "$4" "$5"
    } >>"$fault_cases"
}

fault_failed() {
    fault_failures=$((fault_failures + 1))
    echo "FAILED: $1 (alone: ./run faults --case \"$2\")"
}

# run_cases: all that are listed.
run_cases() {
    local total done=0 idle=0 current word rest
    total=$(wc -l <"$fault_cases")
    while ((done < total && idle < 5)); do
        current=
        while read -r word rest; do
            case $word in
            case) current=$rest done=$((done + 1)) idle=0 ;;
            ok) current= ;;
            failed) fault_failed "$rest" "$current" && current= ;;
            *) echo "$word $rest" ;;
            esac
            ((done % 100)) || [[ $word != case ]] || echo "$done of $total cases"
        done < <(tail -n +$((done + 1)) "$fault_cases" | campaign run)
        [[ -z $current ]] || fault_failed "it ended without a word" "$current"
        # A process start fails now and then on a loaded machine.
        idle=$((idle + 1))
    done
    ((done == total)) || die "The campaign does not start."
    say "$total cases, $fault_failures failed"
    ((fault_failures == 0))
}

help_faults() {
    cat <<'END'
  --sample          a choice of cases for every day
  --seed NUMBER     other records and releases
  --case WORDS      one case alone, as a failing one is printed
END
}

options_faults() {
    fault_sample='' fault_seed=1 fault_case=''
    while (($#)); do
        case $1 in
        --sample) fault_sample=sample ;;
        --seed)
            [[ ${2-} =~ ^[0-9]+$ ]] || die "--seed takes a number."
            fault_seed=$2
            shift
            ;;
        --case)
            [[ ${2-} ]] || die "--case takes the words of a case."
            fault_case=$2
            shift
            ;;
        *) die "\"faults\" has no option \"$1\"; see ./run faults --help." ;;
        esac
        shift
    done
}

run_faults() {
    build_all
    start_windows
    # The first program of a prefix would let Wine's services inherit its output, and never seem to end.
    (cd "$build" && exec wine ./FingerprintService.exe --console >/dev/null 2>&1) &
    wait_for 30 in_windows 60 ./FingerprintService.exe tell state >/dev/null ||
        die "The fingerprint service does not start."
    say "Faults"
    if [[ $fault_case ]]; then
        echo "$fault_case" >"$fault_cases"
    elif [[ $fault_sample ]]; then
        list_cases "$fault_seed" 3 10 10 100 sample
    else
        list_cases "$fault_seed" 500 620 1000 10000
    fi
    run_cases
}
