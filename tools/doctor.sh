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

make_fit() {
    in_windows 60 ./LogonScreen.exe --register --dll VexaFPCredentialProvider.dll >/dev/null
    remove_key "$fit_switch_key" /v Enable /reg:64
    make_machine_fit
    is_running VexaFPService || start_service VexaFPService
}

# diagnose STATUS WHAT OPTION...: on the machine as it stands.
diagnose() {
    diagnose_with Doctor.exe "$@"
}

diagnose_with() {
    local program=$1 expected=$2 what=$3 status=0
    shift 3
    say "$what"
    in_windows 60 "./$program" "$@" || status=$?
    if ((status == expected)); then
        echo "Exit status $status, as expected."
    else
        doctor_misses=$((doctor_misses + 1))
        echo "Exit status $status; $expected is right."
    fi
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
    # Wine reports no device's problems: this is the doctor with one function of Windows replaced.
    diagnose_with DoctorWithDisabledSensor.exe 21 "A disabled sensor"
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
    diagnose 0 "The service is down, the library says yes" --ask-library
    make_fit
}

run_doctor() {
    build_all
    start_windows
    variant=plain
    prepare_machine
    make_fit
    diagnose 0 "A fit machine"
    diagnose 0 "The same for programs" --json
    diagnose_registration
    diagnose_gate
    diagnose_service
    ((doctor_misses == 0)) || die "$doctor_misses answers differ from the right ones."
    say "Every answer is the right one"
}
