# shellcheck shell=bash
# The installer package under Windows Installer as Wine has it, in a prefix of its own: install, use, repair, upgrade,
# refuse, remove.

install_folder=$build/install
company_key='HKLM\SOFTWARE\VEXA'
product_key=$company_key'\FingerPrint'
installed_class_key="HKLM\\SOFTWARE\\Classes\\CLSID\\$provider_class"
installed_list_key="HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Providers\\$provider_class"
uninstall_key='HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall'

word install "tries the installer package under Wine: install, use, repair, upgrade, remove" \
    "${build_packages[@]}" "${wine_packages[@]}" "${package_packages[@]}"

# installed SECONDS PROGRAM...: like a command at the prefix's prompt.
installed() {
    local limit=$1
    shift
    timeout "$limit" wine "$@" 2>/dev/null | tr -d '\r'
}

check() {
    local what=$1
    shift
    "$@" || die "This does not hold: $what"
    echo "ok: $what"
}

refute() {
    ! "$@"
}

# msi STATUS WHAT OPTION...: a status of Windows Installer; of it Wine's launcher passes the low byte on.
msi() {
    local expected=$1 what=$2 status=0
    shift 2
    timeout 120 wine msiexec "$@" /qn /l*v "$install_log" >/dev/null 2>&1 || status=$?
    ((status == (expected & 255))) || die "$what: msiexec ended with $status instead of $expected & 255; see $install_log"
    echo "ok: $what (status $expected)"
}

has_key() {
    installed 30 reg query "$1" "${@:2}" >/dev/null
}

# value KEY NAME OPTION...: what is set, in reg's words.
value() {
    installed 30 reg query "$1" /v "$2" "${@:3}" | awk -v name="$2" '$1 == name { print $3 }'
}

value_is() {
    [[ $(value "${@:2}") == "$1" ]]
}

# Registry and files, one line each, without what Wine changes by itself: times, devices that it finds at each start,
# the shell's and the crypto library's notes and keys. Windows Installer's own empty keys stay behind in Wine.
machine_state() {
    timeout 60 wineserver -w || true
    local hive
    for hive in system user userdef; do
        awk -v hive="$hive" '
            /^\[/ { key = $0; sub(/\] [0-9]+$/, "]", key)
                    own = key ~ /Enum\\\\|Control\\\\(Class|DeviceClasses|Video)|DeviceMap|Internet Settings|\\RNG\]|Explorer\\|Wine\\\\(Debug|Crypto)/
                    installer = key ~ /\\Installer(\\|\])/
                    if (!own && !installer) print hive, key
                    next }
            /^#/ || /^$/ { next }
            !own { print hive, key, $0 }' "$WINEPREFIX/$hive.reg"
    done | LC_ALL=C sort
    (cd "$WINEPREFIX/drive_c" && find . -path ./windows/temp -prune -o -path './users/*/Temp' -prune -o -print |
        grep -v '^./windows/Installer$' | LC_ALL=C sort)
}

same_state() {
    machine_state | diff "$install_folder/before" - >"$install_folder/difference" && return 0
    cat "$install_folder/difference" >&2
    return 1
}

# What a fit machine has besides the package: a sensor, the vendor's library, another credential provider.
prepare_install_machine() {
    installed 60 regedit /S "$(winepath -w "$root/tools/fit-machine.reg" 2>/dev/null)"
    installed 60 reg delete "$company_key" /f /reg:32 >/dev/null
    installed 60 reg add "${installed_list_key%\\*}\\{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}" /d Another /f >/dev/null
    cp "$build/PreBootLibrary/vcsWavePba.dll" "$WINEPREFIX/drive_c/windows/system32"
}

set_windows_version() {
    installed 60 winecfg -v "$1"
}

build_packages() {
    local run
    for run in first second; do
        "$root/run" package --output "$install_folder/$run" >"$install_folder/package.log" ||
            die "./run package failed; see $install_folder/package.log"
    done
    (cd "$install_folder/first" && sha256sum --quiet -c SHA256SUMS) || die "SHA256SUMS does not fit the files."
    check "two runs give the same bytes" diff -r "$install_folder/first" "$install_folder/second"
    version=$(<"$root/VERSION")
    package=$install_folder/first/VexaFPCredentialProvider-$version.msi
}

# The same files as the next version; the DLL says so too, so that one can see which is installed.
build_newer_package() {
    local files=$install_folder/from-package at dll
    stage=$install_folder/newer
    rm -rf "$files" "$stage"
    mkdir -p "$stage"
    msiextract -C "$files" "$package" >/dev/null || die "The package's files can't be taken out of it."
    dll=$(find "$files" -name VexaFPCredentialProvider.dll)
    newer=${version%.*}.$((${version##*.} + 1))
    at=$(LC_ALL=C grep -obUaP '\xbd\x04\xef\xfe\x00\x00\x01\x00' "$dll" | head -n 1 | cut -d: -f1)
    # shellcheck disable=SC2059  # the format is the byte
    printf "\\x$(printf '%x' "${newer##*.}")" | dd of="$dll" bs=1 seek=$((at + 14)) conv=notrunc status=none
    SOURCE_DATE_EPOCH=$(git -C "$root" log -1 --format=%ct)
    newer_package=$install_folder/VexaFPCredentialProvider-$newer.msi
    rm -f "$newer_package"
    make_msi "$(dirname "$dll")" "$newer" "$newer_package"
}

installed_version() {
    version_of_dll "$program_files/VexaFPCredentialProvider.dll"
}

products() {
    installed 30 reg query "$uninstall_key" | grep -c '{'
}

# A property that is no good, a Windows that is too old, a place that is taken: a refusal, and nothing was done.
try_refusals() {
    local setting
    say "Refused"
    set_windows_version win81
    msi 1603 "Windows before version 10" /i "$package"
    set_windows_version win10
    machine_state >"$install_folder/before"
    for setting in ENABLE=2 ENABLE=yes LOCKCOUNT=0 LOCKCOUNT=32768 LOCKCOUNT=many LOCKCOUNT=-1; do
        msi 1603 "$setting" /i "$package" "$setting"
    done
    mkdir -p "$program_files/VexaFPCredentialProvider.dll/taken"
    msi 1603 "A folder that can't be written as it should" /i "$package"
    rm -r "$WINEPREFIX/drive_c/Program Files/VEXA"
    check "nothing was left by what was refused" same_state
}

try_installation() {
    local answer
    say "Install"
    msi 0 "Installation as a fleet does it" /i "$package" LOCKCOUNT=7
    check "DLL, doctor, rescue and notices are there" \
        test "$(find "$program_files" -type f -printf '%f\n' | LC_ALL=C sort | tr '\n' ' ')" == \
        'Doctor.exe NOTICES.txt VexaFPCredentialProvider.dll rescue.cmd '
    check "the DLL is the package's" cmp "$build/VexaFPCredentialProvider.dll" "$program_files/VexaFPCredentialProvider.dll"
    check "the class names the DLL" grep -qF 'C:\Program Files\VEXA\FingerPrint\VexaFPCredentialProvider.dll' \
        <(installed 30 reg query "$installed_class_key\\InprocServer32" /ve)
    check "its threading model" value_is Apartment "$installed_class_key\\InprocServer32" ThreadingModel
    check "the list of credential providers has it" has_key "$installed_list_key"
    check "there is no filter" refute has_key \
        "${installed_list_key/Credential Providers/Credential Provider Filters}"
    check "Enable is on, in the 32-bit view" value_is 0x1 "$product_key" Enable /reg:32
    check "and not in the 64-bit view" refute has_key "$company_key" /reg:64
    check "the limit is in config.ini" grep -q 'LockCount=7' "$settings_file"
    check "and applies" grep -q 'LockEnable=1' "$settings_file"
    answer=$(installed 60 "$program_files/Doctor.exe") || true
    check "the doctor names the installed DLL" \
        grep -qiF 'C:\Program Files\VEXA\FingerPrint\VexaFPCredentialProvider.dll' <<<"$answer"
}

service_answers() {
    installed 20 "$build/FingerprintService.exe" tell report >/dev/null
}

stop_install_service() {
    kill "$service_pid" 2>/dev/null || true
}

# A finger through the registered DLL: LogonScreen asks COM for it.
try_logon() {
    local status=0
    timeout 300 wine "$build/FingerprintService.exe" --console >/dev/null 2>&1 &
    service_pid=$!
    at_exit stop_install_service
    wait_for 60 service_answers || die "The simulated fingerprint service does not answer."
    installed 30 "$build/FingerprintService.exe" tell place FRONTDESK Anna secret >/dev/null
    installed 120 "$build/LogonScreen.exe" --computer FRONTDESK --account 'FRONTDESK\Anna:secret' \
        --expect 'FRONTDESK\Anna' --service vcsFPService:running --service VexaFPService:running \
        >"$install_folder/logon.txt" || status=$?
    check "a finger logs on" test "$status" == 0
    check "through the installed DLL" grep -qiF 'LoadLibraryExW("C:\Program Files\VEXA\FingerPrint' \
        "$install_folder/logon.txt"
}

try_repair() {
    say "Repair"
    installed 30 reg delete "$installed_list_key" /f >/dev/null
    rm "$program_files/Doctor.exe"
    # "msiexec /f CODE" is the shorter form, which Wine does not know for a product code.
    msi 0 "Repair" /i "$package" REINSTALL=ALL REINSTALLMODE=omus
    check "the list entry is back" has_key "$installed_list_key"
    check "the doctor is back" test -s "$program_files/Doctor.exe"
}

run_rescue() {
    (cd "$program_files" && installed 60 cmd /c rescue.cmd "$@" >"$install_folder/rescue.txt")
}

try_rescue() {
    local status=0
    say "Rescue"
    check "rescue.cmd ends well" run_rescue
    check "the list entry is gone" refute has_key "$installed_list_key"
    check "the class is gone" refute has_key "$installed_class_key"
    check "a second run does no harm" run_rescue
    check "and says so" grep -q 'The COM class is not there' "$install_folder/rescue.txt"
    run_rescue 'C:\No such Windows' || status=$?
    check "another system that is not there is refused" test "$status" == 2
    msi 0 "Repair" /i "$package" REINSTALL=ALL REINSTALLMODE=omus
    check "the repair puts the class back" has_key "$installed_class_key\\InprocServer32"
    check "and the list entry" has_key "$installed_list_key"
}

# What the settings program, the provider and an administrator may have set in the meantime.
set_by_others() {
    installed 30 reg add "$product_key" /v Enable /t REG_DWORD /d 0 /f /reg:32 >/dev/null
    installed 30 reg add "$product_key" /v Theme /d dark /f /reg:32 >/dev/null
    installed 30 reg add "$installed_list_key" /v Disabled /t REG_DWORD /d 1 /f >/dev/null
    printf '[Public]\r\nLockEnable=1\r\nLockCount=9\r\n[Anna]\r\nHand=left\r\n' >"$settings_file"
}

# The next start of Windows, when what could not be replaced while it was in use is.
restart_windows() {
    stop_wine
    installed 60 cmd /c rem
}

try_upgrade() {
    local holder status=0
    say "Upgrade from $version to $newer while a process holds the DLL"
    timeout 100 wine "$build/LogonScreen.exe" --expect none --until 'prompt:Please scan a finger' --hold 25000 \
        --service vcsFPService:running --service VexaFPService:running \
        --transcript "$(winepath -w "$install_folder/holder.txt" 2>/dev/null)" >/dev/null 2>&1 &
    holder=$!
    wait_for 40 grep -q 'prompt "' "$install_folder/holder.txt" || die "The process that is to hold the DLL did not start."
    set_by_others
    msi 3010 "Upgrade, to be completed by a restart" /i "$newer_package"
    check "the process still holds the old DLL" kill -0 "$holder"
    check "which is still in place" test "$(installed_version)" == "$version.0"
    wait "$holder" || status=$?
    check "the process ended well" test "$status" == 0
    stop_install_service
    restart_windows
    check "after the restart the new DLL is in place" test "$(installed_version)" == "$newer.0"
    check "and nothing lies beside it" test -z "$(find "$program_files" -name '*.tmp')"
    check "one version is installed" test "$(products)" == 1
    check "it is the new one" grep -q "$newer" <(installed 30 reg query "$uninstall_key" /s)
    check "Enable is as it was set" value_is 0x0 "$product_key" Enable /reg:32
    check "a value of somebody else is there" value_is dark "$product_key" Theme /reg:32
    check "so is the provider's Disabled" value_is 0x1 "$installed_list_key" Disabled
    check "the limit is as it was set" grep -q 'LockCount=9' "$settings_file"
    check "and applies" grep -q 'LockEnable=1' "$settings_file"
    check "another section is as it was" grep -q 'Hand=left' "$settings_file"
    msi 1603 "An older version over a newer one" /i "$package"
    check "the newer one is still there" test "$(installed_version)" == "$newer.0"
}

try_removal() {
    local code
    say "Remove"
    code=$(installed 30 reg query "$uninstall_key" | grep -o '{.*}')
    msi 0 "Removal" /x "$code"
    check "what others have set stays" value_is dark "$product_key" Theme /reg:32
    check "also in config.ini" grep -q 'Hand=left' "$settings_file"
    check "the limit is taken back" refute grep -q 'Lock' "$settings_file"
    installed 30 reg delete "$company_key" /f /reg:32 >/dev/null
    installed 30 reg delete "$installed_list_key" /f >/dev/null
    installed 30 reg delete 'HKLM\Software\Fingerprint Simulator' /f >/dev/null
    rm -r "$WINEPREFIX/drive_c/users/Public/VEXA"
    check "everything else is as before the installation" same_state
    msi 0 "Installation with nothing asked for" /i "$package"
    msi 0 "Removal" /x "$package"
    check "everything is as before" same_state
}

# bad_package TEXT OPTION...: fails with the text, and leaves nothing.
bad_package() {
    local text=$1 output=$install_folder/bad
    shift
    rm -rf "$output"
    if VEXA_SIGN_PASSWORD=${test_password-wrong} "$root/run" package --output "$output" "$@" \
        >"$install_folder/refused.log" 2>&1; then
        die "./run package $* succeeded."
    fi
    check "refused with \"$text\"" grep -qF "$text" "$install_folder/refused.log"
    check "nothing is left of it" test -z "$(compgen -G "$output*" || compgen -G "$install_folder/file?*" || true)"
}

make_test_certificate() {
    local key=$install_folder/test.key certificate=$install_folder/test.pem
    openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj '/CN=Signing test' -addext extendedKeyUsage=codeSigning \
        -keyout "$key" -out "$certificate" 2>/dev/null
    openssl pkcs12 -export -in "$certificate" -inkey "$key" -passout pass:of-the-test -out "$install_folder/test.pfx"
}

try_signing() {
    local signed=$install_folder/signed
    say "Sign"
    make_test_certificate
    bad_package 'There is no readable file' --sign "$install_folder/none.pfx"
    bad_package 'does not open' --sign "$install_folder/test.pfx"
    bad_package 'can'\''t be used' --sign "$install_folder/test.pem"
    : >"$install_folder/file"
    bad_package 'can'\''t be made' --output "$install_folder/file/folder"
    bad_package 'is not a folder' --output "$install_folder/file"
    test_password=of-the-test bad_package 'does not hold' --sign "$install_folder/test.pfx"
    VEXA_SIGN_PASSWORD=of-the-test "$root/run" package --output "$signed" --sign "$install_folder/test.pfx" \
        --ca "$install_folder/test.pem" >"$install_folder/package.log" || die "Signing failed; see $install_folder/package.log"
    check "four programs and the package are signed and verified" \
        test "$(grep -c '^Signed and verified' "$install_folder/package.log")" == 5
    msi 0 "Installation of the signed package" /i "$signed/VexaFPCredentialProvider-$version.msi"
    check "the installed DLL's signature holds" grep -q '^Signature verification: ok' \
        <(osslsigncode verify -CAfile "$install_folder/test.pem" -in "$program_files/VexaFPCredentialProvider.dll" 2>&1)
    msi 0 "Removal" /x "$signed/VexaFPCredentialProvider-$version.msi"
}

run_install() {
    WINEPREFIX=$install_folder/wine
    install_log=$install_folder/msi.log
    program_files=$WINEPREFIX/drive_c/Program\ Files/VEXA/FingerPrint
    settings_file=$WINEPREFIX/drive_c/users/Public/VEXA/FingerPrint/config.ini
    # A prefix that an interrupted run left half changed would spoil the comparison.
    stop_wine
    rm -rf "$install_folder"
    mkdir -p "$install_folder"
    say "Building the packages"
    build_packages
    build_newer_package
    start_windows
    prepare_install_machine
    try_refusals
    try_installation
    try_logon
    try_repair
    try_rescue
    try_upgrade
    try_removal
    try_signing
    say "The package installs, works and goes"
}
