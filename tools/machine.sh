# shellcheck shell=bash
# What makes the simulated machine fit for a fingerprint tile, and what takes that away.

fit_sensor_key='HKLM\System\CurrentControlSet\Enum\USB\VID_138A&PID_0010'
fit_switch_key='HKLM\Software\VEXA\FingerPrint'
fit_pre_boot_key='HKLM\Software\Fingerprint Simulator\PreBoot'

change_registry() {
    in_windows 60 reg "$@" /f >/dev/null || fail_logon "The registry could not be prepared: reg $*"
}

# A machine on which a fingerprint tile is offered: sensor, switch, pre-boot library.
make_machine_fit() {
    mkdir -p "$WINEPREFIX/drive_c/windows/system32"
    cp "$build/PreBootLibrary/vcsWavePba.dll" "$WINEPREFIX/drive_c/windows/system32/vcsWavePba.dll"
    in_windows 60 regedit /S "$(winepath -w "$root/tools/fit-machine.reg")" ||
        fail_logon "The machine could not be made fit for the tile."
}
