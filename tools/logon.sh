# shellcheck shell=bash
# A fingerprint logon from the finger to the packed logon, and its variants. Everything runs for real: the registered
# DLL in the logon screen's process, and the two services under the service manager.

computer=FRONTDESK
user=Anna
password='Correct-Horse-7'
transcript=$build/logon-transcript.txt
log=$build/logon.log
complaints=$build/logon-errors.txt

# How long the screen welcomes the user before it goes. Windows takes its time here as well; the provider's workers are
# back in the service by then.
welcome_ms=2500

# The prompt that asks for a finger, by system language.
declare -A scan_prompts=(
    [0x0401]='فضلًا امسح أحد الأصابع.'
    [0x0404]='請刷入指紋'
    [0x0407]='Bitte scannen Sie einen Finger'
    [0x0409]='Please scan a finger'
    [0x040A]='Escanee un dedo'
    [0x040C]='Veuillez numériser une empreinte digitale'
    [0x0410]="Eseguite la scansione di un'impronta digitale"
    [0x0411]='指紋をスキャンしてください'
    [0x0412]='지문을 스캔하십시오'
    [0x0416]='Efectue a leitura de um dedo'
    [0x0419]='Выполните сканирование отпечатка пальца'
    [0x0804]='请刷入指纹'
)
wrong_password_prompt='Wrong password'
scan_again_prompt='Please swipe your finger over the scanner again.'
manual_logon_prompt='Please manually enter your account information to log in'

# in_windows SECONDS PROGRAM...: runs one of our programs, or one of Wine's, from the build folder.
in_windows() {
    local limit=$1
    shift
    (cd "$build" && exec timeout "$limit" wine "$@" 2>>"$complaints") | tr -d '\r'
}

tell() {
    in_windows 60 ./FingerprintService.exe tell "$@"
}

# Shows both, so that whoever reads the output has the whole story.
show_evidence() {
    say "Transcript"
    cat "$transcript" 2>/dev/null || echo "(none)"
    collect_log
    say "The provider's own log (${log#"$root"/})"
    cat "$log" 2>/dev/null || echo "(none)"
}

# The provider's log files are UTF-16 and named after the time of day.
collect_log() {
    local file
    rm -f "$log"
    for file in "$log_folder"/*.txt; do
        [[ -e $file ]] || continue
        iconv -f UTF-16LE -t UTF-8 "$file" | sed -e 's/^\xef\xbb\xbf//' -e 's/\r$//' >>"$log"
    done
}

fail_logon() {
    show_evidence
    if ((service_expected)); then
        say "Calls that the fingerprint service received"
        tell report || true
    fi
    # Every start of Wine remarks that the 32-bit half is not installed; it is not needed.
    if grep -v 'wine32\|multiarch needs' "$complaints" >"$complaints.own" 2>/dev/null; then
        say "Errors"
        cat "$complaints.own"
    fi
    die "$@"
}

# Wine leaves it to the window manager to keep topmost windows on top, and there is none: whatever got the focus last
# may cover the prompt window.
raise_prompt_window() {
    xdotool search --onlyvisible --name '^Window$' windowraise '%@' >/dev/null 2>&1 || true
}

# The prompt is pure white text in a line of its own at the top right; nothing else there comes near that.
prompt_in_picture() {
    [[ $(identify -format '%[fx:minima.g<maxima.g&&maxima.g==1]' "$1[400x30+880+98]") == 1 ]]
}

take_picture() {
    # The window reaches the screen a moment after it was painted.
    sleep 0.15
    # A quick compression: one prompt stays for a second only.
    import -silent -window root -quality 61 "$1"
}

# picture_of_prompt NAME: a screenshot on which the prompt is to be seen.
picture_of_prompt() {
    local file=$build/$1 attempt
    for attempt in 1 2 3 4 5; do
        raise_prompt_window
        take_picture "$file" || fail_logon "The screenshot build/$1 could not be taken."
        if prompt_in_picture "$file"; then
            echo "Screenshot: build/$1"
            return 0
        fi
    done
    fail_logon "The prompt is not to be seen on the screenshot build/$1, nor on $((attempt - 1)) before it."
}

is_running() {
    [[ $(in_windows 30 sc query "$1") == *RUNNING* ]]
}

# Under load Wine now and then fails to start a child process; the next attempt does it.
start_service() {
    local attempt
    for attempt in 1 2 3; do
        in_windows 60 net start "$1" >/dev/null || true
        is_running "$1" && return 0
        echo "Attempt $attempt to start $1 failed."
    done
    fail_logon "The service $1 does not start."
}

# The folder is what switches the provider's log on; config.ini is only there when a limit is to apply.
prepare_machine() {
    local settings=$WINEPREFIX/drive_c/users/Public/VEXA/FingerPrint
    log_folder=$WINEPREFIX/drive_c/CPLog
    service_expected=0
    mkdir -p "$log_folder" "$settings"
    rm -f "$log_folder"/*.txt "$settings/config.ini" "$transcript" "$log" "$complaints"
    if [[ $variant == lockout ]]; then
        printf '[Public]\r\nLockEnable=1\r\nLockCount=2\r\n' >"$settings/config.ini"
    fi
    say "Registering the provider, starting the services"
    in_windows 60 ./LogonScreen.exe --register --dll VexaFPCredentialProvider.dll ||
        fail_logon "The provider could not be registered."
    make_machine_fit
    in_windows 60 ./FingerprintService.exe --install || fail_logon "The services could not be installed."
    start_service vcsFPService
    start_service VexaFPService
    service_expected=1
}

screen_up() {
    say "Logon screen: $scenario${language:+, language $language}"
    (cd "$build" && exec timeout 150 wine ./LogonScreen.exe --scenario "$scenario" --computer "$computer" \
        --account "$computer\\$user:$password" ${language:+--language "$language"} --time-limit 120 \
        --transcript logon-transcript.txt "$@" >"$build/logon-screen.out" 2>&1) &
    screen_up_pid=$!
}

screen_is_gone() {
    ! kill -0 "$screen_up_pid" 2>/dev/null
}

prompt_shown() {
    grep -qF "prompt \"$1\"" "$transcript" 2>/dev/null
}

prompt_shown_or_gone() {
    prompt_shown "$1" || screen_is_gone
}

await_prompt() {
    wait_for 60 prompt_shown_or_gone "$1" || fail_logon "The prompt \"$1\" did not come within a minute."
    prompt_shown "$1" || fail_logon "The logon screen ended before the prompt \"$1\" came."
    echo "Prompt: $1"
}

# await_calls PROCEDURE COUNT: the service has received so many calls.
await_calls() {
    tell wait "$1" "$2" 20000 >/dev/null || fail_logon "The service did not receive $2 calls of $1."
}

# place_finger PASSWORD WHAT: does not wait for the one who tells, whose end can take longer than what it sets going.
place_finger() {
    echo "Finger: $computer\\$user, $2"
    tell place "$computer" "$user" "$1" >/dev/null &
    placing=$!
}

finger_taken() {
    wait "$placing" || fail_logon "The service did not take the finger."
}

# await_verdict: the logon screen decides whether the logon is the one that the finger calls for.
await_verdict() {
    local status=0
    wait "$screen_up_pid" || status=$?
    ((status == 0)) || fail_logon "The logon screen ended with status $status: $(tail -n 1 "$transcript")"
    show_evidence
}

measured_time() {
    grep -o "service's answer to CredentialsChanged: .*" "$transcript"
}

logon_reported_or_gone() {
    measured_time >/dev/null || screen_is_gone
}

# The logon that the good finger calls for, and how long it took.
expect_logon() {
    wait_for 60 logon_reported_or_gone || fail_logon "The finger led to no logon within a minute."
    screen_is_gone || take_picture "$build/logon-welcome.png"
    await_verdict
    local timing
    timing=$(measured_time) || die "The transcript has no time from the service's answer to CredentialsChanged."
    say "Logged on as $computer\\$user; $timing"
}

logon_plain() {
    screen_up --expect "$computer\\$user" --hold "$welcome_ms"
    if [[ $scan_prompt ]]; then
        await_prompt "$scan_prompt"
    else
        await_calls IdentifyEnroll 1
        echo "The prompt's text is not checked: no text is known here for language $language."
    fi
    picture_of_prompt "$picture"
    place_finger "$password" "with the right password"
    finger_taken
    expect_logon
}

logon_refused_or_gone() {
    grep -q 'ReportResult(STATUS_LOGON_FAILURE' "$transcript" 2>/dev/null || screen_is_gone
}

# Before anybody has logged on the check of the password lets it pass: LSA refuses it, and what is reported of that
# hides the prompt, although the next finger is asked for.
await_refusal() {
    local file=$build/logon-refused.png
    wait_for 60 logon_refused_or_gone || fail_logon "LSA did not refuse the logon within a minute."
    finger_taken
    await_calls IdentifyEnroll 2
    ! screen_is_gone || fail_logon "The logon screen ended with the refused logon."
    echo "LSA refused the logon."
    take_picture "$file" || fail_logon "The screenshot $file could not be taken."
    ! prompt_in_picture "$file" || fail_logon "The prompt is still to be seen on the screenshot $file."
    ! prompt_shown "$wrong_password_prompt" || fail_logon "The prompt \"$wrong_password_prompt\" came."
    echo "Screenshot without a prompt: build/logon-refused.png"
}

# In a session that is active the password is checked before LSA gets to see it.
await_wrong_password_prompts() {
    await_prompt "$wrong_password_prompt"
    picture_of_prompt logon-wrong-password.png
    # It shows for a second only.
    ! prompt_shown "$scan_again_prompt" || echo "The screenshot came too late for that prompt."
    finger_taken
    await_prompt "$scan_again_prompt"
    picture_of_prompt logon-scan-again.png
}

logon_wrong_password() {
    screen_up --expect "$computer\\$user" --hold "$welcome_ms"
    await_prompt "$scan_prompt"
    picture_of_prompt "$picture"
    place_finger 'of-last-year' "with a wrong password"
    if [[ $scenario == unlock ]]; then
        await_wrong_password_prompts
    else
        await_refusal
    fi
    place_finger "$password" "with the right password"
    finger_taken
    expect_logon
}

logon_service_down() {
    in_windows 60 net stop VexaFPService >/dev/null || true
    service_expected=0
    ! is_running VexaFPService || fail_logon "VexaFPService could not be stopped."
    echo "VexaFPService is stopped."
    logon_plain
    is_running VexaFPService || fail_logon "VexaFPService is not running after the logon."
    grep -q 'vcsFPService stopped 1 0' "$log" || fail_logon "The watchdog did not notice the stopped service."
    echo "The watchdog restarted VexaFPService."
}

logon_lockout() {
    local identifications
    # The screen stays up after the last prompt, so that another identification would have its chance.
    screen_up --expect none --until "prompt:$manual_logon_prompt" --hold 8000
    await_prompt "$scan_prompt"
    picture_of_prompt "$picture"
    place_finger 'of-last-year' "with a wrong password"
    finger_taken
    await_calls IdentifyEnroll 2
    place_finger 'of-the-year-before' "with a wrong password"
    finger_taken
    await_prompt "$manual_logon_prompt"
    # At logon LSA refuses the second finger as well, which hides the prompt at once.
    [[ $scenario == logon ]] || picture_of_prompt logon-lockout.png
    place_finger "$password" "with the right password, too late"
    finger_taken
    sleep 2
    ! screen_is_gone || fail_logon "The logon screen was gone before the last finger could have been asked for."
    identifications=$(tell report | grep -c ' IdentifyEnroll(' || true)
    tell report
    await_verdict
    ((identifications == 2)) || die "The service was asked to identify $identifications times; 2 are allowed."
    say "No logon, and no identification after the two that are allowed"
}

# The user was authenticated before boot: no finger is asked for.
logon_pre_boot() {
    local identifications
    change_registry add "$fit_pre_boot_key" /v User /d "$user"
    change_registry add "$fit_pre_boot_key" /v Password /d "$password"
    change_registry add "$fit_pre_boot_key" /v Domain /d "$computer"
    screen_up --expect "$computer\\$user" --hold "$welcome_ms"
    await_verdict
    identifications=$(tell report | grep -c ' IdentifyEnroll(' || true)
    ((identifications == 0)) || die "The service was asked for a finger although none is needed."
    grep -q 'hEvent != INVALID_HANDLE_VALUE' "$log" || die "The log does not tell of the pre-boot user."
    say "Logged on as $computer\\$user, without a finger"
}

# expect_refusal HRESULT LOG-LINE...: LogonUI is told that there is no tile, and the log says why.
expect_refusal() {
    local status=0 line
    wait "$screen_up_pid" || status=$?
    show_evidence
    ((status == 3)) || die "The logon screen ended with status $status; 3 says that no tile is offered."
    grep -qF "$1" "$transcript" || die "LogonUI was not told $1."
    for line in "${@:2}"; do
        grep -qF " : $line" "$log" || die "The log lacks the line \"$line\"."
    done
    say "No tile: LogonUI is told $1"
}

logon_no_device() {
    change_registry delete "$fit_sensor_key"
    screen_up
    expect_refusal E_OUTOFMEMORY ' GetDeviceVersion retry 1 times' ' GetDeviceVersion retry 2 times' \
        ' GetDeviceVersion retry 3 times'
}

logon_disabled_device() {
    screen_up --device-problem 22
    expect_refusal E_NOTIMPL ' after  createCredetialSeviceEvent'
}

logon_switched_off() {
    change_registry add "$fit_switch_key" /v Enable /t REG_DWORD /d 0 /reg:32
    screen_up
    expect_refusal E_OUTOFMEMORY ' CSample_CreateInstance 000'
}

# Neither the library nor, from the second attempt on, the service allows the tile.
logon_no_pre_boot() {
    change_registry add "$fit_pre_boot_key" /v Enabled /t REG_DWORD /d 0
    tell pba 0 >/dev/null || fail_logon "The service could not be scripted."
    screen_up
    expect_refusal E_OUTOFMEMORY 'CSample_CreateInstance CheckPBA fail 1 times' \
        'CSample_CreateInstance CheckPBA fail 2 times' 'CSample_CreateInstance CheckPBA fail 3 times'
}

choose_variant() {
    [[ $variant == plain ]] || die "--$variant and --$1 don't go together."
    variant=$1
}

parse_logon_options() {
    scenario=logon variant=plain language='' picture=logon.png scan_prompt=${scan_prompts[0x0409]}
    while (($#)); do
        case $1 in
        --unlock) scenario=unlock ;;
        --wrong-password | --service-down | --lockout | --pre-boot | --no-device | --disabled-device | \
            --switched-off | --no-pre-boot) choose_variant "${1#--}" ;;
        --language)
            [[ ${2-} =~ ^(0[xX][0-9a-fA-F]+|[0-9]+)$ ]] || die "--language takes a language id, such as 0x0411."
            language=$(printf '0x%04X' "$2")
            picture=logon-$language.png
            scan_prompt=${scan_prompts[$language]-}
            shift
            ;;
        *) die "\"logon\" has no option \"$1\"." ;;
        esac
        shift
    done
    if [[ $language && $variant =~ ^(wrong-password|lockout)$ ]]; then
        die "--$variant follows the prompts in English; it does not go with --language."
    fi
}

run_logon() {
    parse_logon_options "$@"
    build_all
    start_windows
    prepare_machine
    "logon_${variant//-/_}"
}
