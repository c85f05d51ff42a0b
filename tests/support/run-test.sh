#!/usr/bin/env bash
# run-test.sh COMMAND...: runs a test program. It has passed when its exit code and its own summary both say so: under
# Wine a program that crashed may end with 0, and one may crash after its summary.
set -uo pipefail

limit=280 # seconds; CTest's own limit is a little longer, and would take the output along

output=$(mktemp)
trap 'rm -f "$output"' EXIT

# Under load Wine now and then ends a program before its first line; only such a program is started again. A test
# program writes a line of doctest's at once, so that one that has run is never taken for it. Not through a pipe:
# Wine's services, when this starts them, would keep it open.
for _ in 1 2 3; do
    timeout -k 5 "$limit" "$@" >"$output" 2>&1
    status=$?
    cat "$output"
    if grep -q '^\[doctest\]' "$output"; then
        break
    fi
    echo "run-test: ended with $status before it had started"
done

if ((status != 0)); then
    echo "run-test: exit code $status"
    exit 1
fi
if ! grep -Eq '^\[doctest\] test cases: +[1-9][0-9]* \| +[1-9][0-9]* passed \| +0 failed' "$output"; then
    echo "run-test: no summary of test cases that have all passed"
    exit 1
fi
