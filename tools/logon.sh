# shellcheck shell=bash
# A fingerprint logon from the finger to the packed logon, and its variants. Everything runs for real: the registered
# DLL in the logon screen's process, and the two services under the service manager.

word logon "a fingerprint logon from the finger to the packed logon; leaves build/logon.png and build/logon.log" \
    "${build_packages[@]}" "${wine_packages[@]}"

help_logon() {
    cat <<'END'
  --unlock           unlock a session instead of logging on
  --wrong-password   the first finger's record holds a wrong password, a second finger succeeds
  --service-down     the fingerprint service is stopped beforehand and has to be restarted
  --lockout          the identifications that config.ini allows are used up
  --pre-boot         the user was authenticated before boot and needs no finger
  --no-device, --disabled-device, --switched-off, --no-pre-boot
                     no tile is offered: what LogonUI is told, and why
  --language LCID    prompts of that system language, such as 0x0411; the pictures are then build/logon-LCID*.png
  --language list    the ids that have prompts of their own

--unlock and --language go with each other and with one of the rest.

Wine does not shape Arabic: its letters stand apart, and from left to right. The prompt is 12 pixels high on every
screen; five long ones are drawn smaller, to fit their window of 400 pixels.
END
}

computer=FRONTDESK
user=Anna
password='Correct-Horse-7'
transcript=$build/logon-transcript.txt
log=$build/logon.log
complaints=$build/logon-errors.txt

# How long the screen welcomes the user before it goes. Windows takes its time here as well; the provider's workers are
# back in the service by then.
welcome_ms=2500
# How long it says that there is no tile.
refusal_ms=2500

# The provider's own table: a language id and its language in each line.
languages() {
    sed -En 's/^ *\{(0x[0-9A-F]+), &(\w+)\},$/\1 \2/p' provider/Messages.cpp
}

list_languages() {
    languages | awk '{ ids[$2] = ids[$2] " " $1 } END { for (name in ids) printf "%-20s%s\n", name, ids[name] }' | sort
    echo "Any other id: English"
}

# In role order, as provider/Messages.h has it.
choose_prompts() {
    local name prompts
    name=$(languages | sed -n "s/^${language:-0x0409} //p")
    mapfile -t prompts < <(sed -n "/^constexpr MessageSet ${name:-English} = {$/,/^};/s/^    L\"\(.*\)\",\$/\1/p" \
        provider/Messages.cpp)
    ((${#prompts[@]} == 6)) || die "provider/Messages.cpp has no six prompts for ${name:-English}."
    manual_logon_prompt=${prompts[0]}
    scan_prompt=${prompts[1]}
    wrong_password_prompt=${prompts[2]}
    scan_again_prompt=${prompts[3]}
}

# in_windows SECONDS PROGRAM...: runs one of our programs, or one of Wine's, from the build folder.
in_windows() {
    local limit=$1
    shift
    (cd "$build" && exec timeout --foreground "$limit" wine "$@" 2>>"$complaints") | tr -d '\r'
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

# Where the pure white text of the prompt stands, as WIDTHxHEIGHT+X+Y in a band at the prompt window's place; nothing
# else there is as bright. Empty if there is none.
prompt_place() {
    convert "$1" -crop 400x30+880+98 +repage -fill black +opaque white -format '%[fx:maxima] %@' info: 2>/dev/null |
        sed -n 's/^1 //p'
}

picture_file() {
    printf 'build/logon%s%s.png' "${language:+-$language}" "${1:+-$1}"
}

# take_picture FILE
take_picture() {
    # The window reaches the screen a moment after it was painted.
    sleep 0.15
    # A quick compression: one prompt stays for a second only.
    import -silent -window root -quality 61 "$1" || fail_logon "The screenshot $1 could not be taken."
}

# picture_of_prompt [NAME]: a screenshot on which the prompt is to be seen, to its end. Its beginning is cut where it is
# wider than the window, whose text ends 10 pixels from the right edge or before.
picture_of_prompt() {
    local file attempt place='' width left
    file=$(picture_file "${1-}")
    for attempt in 1 2 3 4 5; do
        raise_prompt_window
        take_picture "$file"
        place=$(prompt_place "$file")
        [[ ! $place ]] || break
    done
    [[ $place ]] ||
        fail_logon "The prompt is not to be seen on the screenshot $file, nor on $((attempt - 1)) before it."
    IFS=x+ read -r width _ left _ <<<"$place"
    ((left + width <= 395)) || fail_logon "The end of the prompt is cut on the screenshot $file."
    ((left > 3)) || fail_logon "The beginning of the prompt is cut on the screenshot $file."
    echo "Screenshot: $file"
}

# picture_of_refusal: what the screen says instead of a tile; it is small, so that its brightness decides.
picture_of_refusal() {
    local file
    wait_for 60 refusal_shown_or_gone || fail_logon "There was neither a tile nor a refusal within a minute."
    file=$(picture_file no-tile)
    take_picture "$file"
    [[ ! $(prompt_place "$file") ]] || fail_logon "A prompt is to be seen on the screenshot $file."
    [[ $(identify -format '%[fx:maxima>0.6]' "${file}[640x500+320+100]") == 1 ]] ||
        fail_logon "The screenshot $file does not say that there is no tile."
    echo "Screenshot: $file"
}

refusal_shown_or_gone() {
    grep -q '^.* tile  *no tile is offered' "$transcript" 2>/dev/null || screen_is_gone
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
    return 1
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
    start_service vcsFPService || fail_logon "The service vcsFPService does not start."
    start_service VexaFPService || fail_logon "The service VexaFPService does not start."
    service_expected=1
}

screen_up() {
    say "Logon screen: $scenario${language:+, language $language}"
    (cd "$build" && exec timeout --foreground 150 wine ./LogonScreen.exe --scenario "$scenario" --computer "$computer" \
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
    screen_is_gone || take_picture "$(picture_file welcome)"
    await_verdict
    local timing
    timing=$(measured_time) || die "The transcript has no time from the service's answer to CredentialsChanged."
    say "Logged on as $computer\\$user; $timing"
}

logon_plain() {
    screen_up --expect "$computer\\$user" --hold "$welcome_ms"
    await_prompt "$scan_prompt"
    picture_of_prompt
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
    local file
    file=$(picture_file refused)
    wait_for 60 logon_refused_or_gone || fail_logon "LSA did not refuse the logon within a minute."
    finger_taken
    await_calls IdentifyEnroll 2
    ! screen_is_gone || fail_logon "The logon screen ended with the refused logon."
    echo "LSA refused the logon."
    take_picture "$file"
    [[ ! $(prompt_place "$file") ]] || fail_logon "The prompt is still to be seen on the screenshot $file."
    ! prompt_shown "$wrong_password_prompt" || fail_logon "The prompt \"$wrong_password_prompt\" came."
    echo "Screenshot without a prompt: $file"
}

# In a session that is active the password is checked before LSA gets to see it.
await_wrong_password_prompts() {
    await_prompt "$wrong_password_prompt"
    picture_of_prompt wrong-password
    # It shows for a second only.
    ! prompt_shown "$scan_again_prompt" || echo "The screenshot came too late for that prompt."
    finger_taken
    await_prompt "$scan_again_prompt"
    picture_of_prompt scan-again
}

logon_wrong_password() {
    screen_up --expect "$computer\\$user" --hold "$welcome_ms"
    await_prompt "$scan_prompt"
    picture_of_prompt
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
    picture_of_prompt
    place_finger 'of-last-year' "with a wrong password"
    finger_taken
    await_calls IdentifyEnroll 2
    place_finger 'of-the-year-before' "with a wrong password"
    finger_taken
    await_prompt "$manual_logon_prompt"
    # At logon LSA refuses the second finger as well, which hides the prompt at once.
    [[ $scenario == logon ]] || picture_of_prompt lockout
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

ask_doctor() {
    if [[ $variant == disabled-device ]]; then
        # Wine reports no device's problems; the doctor's test has one reported.
        in_windows 60 ./doctor_tests.exe --minimal --test-case="a disabled sensor is told"
    else
        # Its exit status is the reason's number.
        if in_windows 60 ./Doctor.exe --ask-library; then return 1; fi
    fi
}

# expect_refusal HRESULT LOG-LINE...: LogonUI is told that there is no tile, and the log says why. So does the doctor.
expect_refusal() {
    local status=0 line
    picture_of_refusal
    wait "$screen_up_pid" || status=$?
    show_evidence
    ((status == 3)) || die "The logon screen ended with status $status; 3 says that no tile is offered."
    grep -qF "$1" "$transcript" || die "LogonUI was not told $1."
    for line in "${@:2}"; do
        grep -qF " : $line" "$log" || die "The log lacks the line \"$line\"."
    done
    say "No tile: LogonUI is told $1. The doctor's answer:"
    ask_doctor >"$build/doctor.out" || die "The doctor sees no reason for that."
    # The checks, an empty line, the conclusion.
    sed '1,/^$/d' "$build/doctor.out"
}

logon_no_device() {
    change_registry delete "$fit_sensor_key"
    screen_up --hold "$refusal_ms"
    expect_refusal E_OUTOFMEMORY ' GetDeviceVersion retry 1 times' ' GetDeviceVersion retry 2 times' \
        ' GetDeviceVersion retry 3 times'
}

logon_disabled_device() {
    screen_up --device-problem 22 --hold "$refusal_ms"
    expect_refusal E_NOTIMPL ' after  createCredetialSeviceEvent'
}

logon_switched_off() {
    change_registry add "$fit_switch_key" /v Enable /t REG_DWORD /d 0 /reg:32
    screen_up --hold "$refusal_ms"
    expect_refusal E_OUTOFMEMORY ' CSample_CreateInstance 000'
}

# Neither the library nor, from the second attempt on, the service allows the tile.
logon_no_pre_boot() {
    change_registry add "$fit_pre_boot_key" /v Enabled /t REG_DWORD /d 0
    tell pba 0 >/dev/null || fail_logon "The service could not be scripted."
    screen_up --hold "$refusal_ms"
    expect_refusal E_OUTOFMEMORY 'CSample_CreateInstance CheckPBA fail 1 times' \
        'CSample_CreateInstance CheckPBA fail 2 times' 'CSample_CreateInstance CheckPBA fail 3 times'
}

choose_variant() {
    [[ $variant == plain || $variant == "$1" ]] || die "--$variant and --$1 don't go together."
    variant=$1
}

choose_language() {
    case $1 in
    list)
        list_languages
        exit
        ;;
    esac
    [[ $1 =~ ^(0[xX][0-9a-fA-F]{1,8}|[0-9]{1,9})$ ]] ||
        die "--language takes a language id such as 0x0411, or \"list\"."
    [[ $1 == 0[xX]* ]] && language=$(printf '0x%04X' "$1") || language=$(printf '0x%04X' "$((10#$1))")
}

options_logon() {
    scenario=logon variant=plain language=
    while (($#)); do
        case $1 in
        --unlock) scenario=unlock ;;
        --wrong-password | --service-down | --lockout | --pre-boot | --no-device | --disabled-device | \
            --switched-off | --no-pre-boot) choose_variant "${1#--}" ;;
        --language)
            choose_language "${2-}"
            shift
            ;;
        *) die "\"logon\" has no option \"$1\"; see ./run logon --help." ;;
        esac
        shift
    done
    choose_prompts
}

# What an earlier run left must not pass for this one's.
remove_evidence() {
    local name
    rm -f "$transcript" "$log" "$complaints"
    for name in '' welcome refused wrong-password scan-again lockout no-tile; do
        rm -f "$(picture_file "$name")"
    done
}

run_logon() {
    local targets=(VexaFPCredentialProvider LogonScreen FingerprintService vcsWavePbaSimulator)
    case $variant in
    disabled-device) targets+=(doctor_tests) ;;
    no-* | switched-off) targets+=(Doctor) ;;
    esac
    remove_evidence
    build_targets "${targets[@]}"
    start_windows
    prepare_machine
    "logon_${variant//-/_}"
}
