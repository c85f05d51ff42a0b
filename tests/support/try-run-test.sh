#!/usr/bin/env bash
# What run-test.sh makes of programs that pass, fail, crash and never start.
set -euo pipefail

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
started='echo "[doctest] started"'
passed='echo "[doctest] test cases: 2 | 2 passed | 0 failed | 0 skipped"'

# expect RESULT RUNS PROGRAM: what the runner says, and how often it ran the program.
expect() {
    local result=passed runs
    : >"$folder/runs"
    echo "echo >>'$folder/runs'; runs=\$(wc -l <'$folder/runs'); $3" >"$folder/program"
    "$(dirname "$0")/run-test.sh" bash "$folder/program" >"$folder/output" || result=failed
    runs=$(wc -l <"$folder/runs")
    if [[ "$result $runs" != "$1 $2" ]]; then
        printf 'expected: %s after %d runs; it %s after %d:\n%s\n' "$1" "$2" "$result" "$runs" "$3"
        cat "$folder/output"
        exit 1
    fi
}

expect passed 1 "$started; $passed"
expect passed 2 "if ((runs == 1)); then exit 5; fi; $started; $passed"
expect failed 3 "exit 0"
expect failed 1 "$started; exit 0"
expect failed 1 "$started; $passed; exit 5"
expect failed 1 "$started; echo '[doctest] test cases: 2 | 1 passed | 1 failed | 0 skipped'"
expect failed 1 "$started; echo '[doctest] test cases: 0 | 0 passed | 0 failed | 9 skipped'"
