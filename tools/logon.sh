# shellcheck shell=bash
# A fingerprint logon and its variants.

run_logon() {
    die "not yet"
}
