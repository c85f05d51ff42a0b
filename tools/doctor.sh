# shellcheck shell=bash
# Why is there no tile? The doctor's answer on the fit machine and on unfit ones, against the one that is known to be
# right.

word doctor "why is there no tile? Doctor.exe's answers on a fit machine and on unfit ones" \
    "${build_packages[@]}" "${wine_packages[@]}"

class='{0CE326A8-C767-433F-82B9-601B2A27321E}'
class_key="HKLM\\SOFTWARE\\Classes\\CLSID\\$class"
list_key="HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Providers\\$class"
doctor_misses=0

registry() {
    in_windows 60 reg "$@" >/dev/null
}

# Keys that are not there need no removal.
remove_key() {
    registry delete "$@" /f 2>/dev/null || true
}

# Both services run wherever a case is not about them: else they would seem to be part of its answer.
make_fit() {
    local service
    in_windows 60 ./LogonScreen.exe --register --dll VexaFPCredentialProvider.dll >/dev/null
    remove_key "$fit_switch_key" /v Enable /reg:64
    make_machine_fit
    for service in vcsFPService VexaFPService; do
        is_running "$service" || start_service "$service" || die "The service $service does not start."
    done
}

# Wine ends services a second after the last ordinary program: this one waits for input that does not come.
keep_services() {
    coproc { cd "$build" && exec wine cmd >/dev/null 2>&1; }
}

# judge STATUS EXPECTED
judge() {
    if (($1 == $2)); then
        echo "Exit status $1, as expected."
    else
        doctor_misses=$((doctor_misses + 1))
        echo "Exit status $1; $2 is right."
    fi
}

# diagnose STATUS WHAT OPTION...: on the machine as it stands.
diagnose() {
    local expected=$1 status=0
    say "$2"
    shift 2
    in_windows 60 ./Doctor.exe "$@" || status=$?
    judge "$status" "$expected"
}

diagnose_registration() {
    remove_key "$list_key"
    diagnose 12 "Not listed"
    remove_key "$class_key"
    diagnose 10 "Not registered"
    make_fit
}

diagnose_gate() {
    local library=$WINEPREFIX/drive_c/windows/system32/vcsWavePba.dll
    remove_key "$fit_sensor_key"
    diagnose 20 "No sensor"
    make_fit
    rm "$library"
    diagnose 22 "No pre-boot library"
    cp "$build/PreBootLibrary/vcsWavePba-without-enabled.dll" "$library"
    diagnose 26 "A pre-boot library without one of its functions"
    make_fit
    registry add "$fit_switch_key" /v Enable /t REG_DWORD /d 0 /f /reg:32
    diagnose 23 "Switched off"
    registry add "$fit_switch_key" /v Enable /t REG_DWORD /d 1 /f /reg:64
    diagnose 24 "Switched on in the view that nobody reads"
    make_fit
}

diagnose_service() {
    tell pba 0 >/dev/null
    registry add "$fit_pre_boot_key" /v Enabled /t REG_DWORD /d 0 /f
    diagnose 28 "The library and the service say no" --ask-library
    in_windows 60 net stop VexaFPService >/dev/null || true
    diagnose 27 "The library says no, the service is down" --ask-library
    diagnose 30 "The same without asking the library"
    remove_key "$fit_pre_boot_key"
    in_windows 60 net stop vcsFPService >/dev/null || true
    diagnose 0 "A tile, but no logon: both services are down, the library says yes" --ask-library
    make_fit
}

# Wine reports no device's problems: this is the doctor's text from a test, which has that function of Windows replaced.
diagnose_disabled_sensor() {
    local status=0
    say "A disabled sensor"
    in_windows 60 ./doctor_tests.exe --minimal --test-case="a disabled sensor is told" || status=$?
    judge "$status" 0
}

diagnose_usage() {
    diagnose 2 "An option that there is not" --jason
    tail -n 1 "$complaints"
    diagnose 0 "What there is" '/?'
}

run_doctor() {
    build_all
    start_windows
    variant=plain
    prepare_machine
    keep_services
    make_fit
    diagnose 0 "A fit machine"
    diagnose 0 "The same for programs" --json
    diagnose_registration
    diagnose_gate
    diagnose_service
    diagnose_usage
    diagnose_disabled_sensor
    ((doctor_misses == 0)) || die "$doctor_misses answers differ from the right ones."
    say "Every answer is the right one"
}
