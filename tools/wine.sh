# shellcheck shell=bash
# The Windows that everything runs on: a virtual screen and a Wine prefix of this build folder's own.

export WINEPREFIX=$build/wine
export WINEARCH=win64
export WINEDEBUG=-all
# No Mono or Gecko downloads, no desktop entries.
export WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe='
export FONTCONFIG_FILE=$root/tools/fonts.conf

screen_pid=

start_screen() {
    local display_file=$build/display
    : >"$display_file"
    Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$display_file" >/dev/null 2>"$build/xvfb.log" &
    screen_pid=$!
    at_exit stop_screen
    wait_for 20 test -s "$display_file" || die "Xvfb did not start. It said: $(cat "$build/xvfb.log")"
    DISPLAY=:$(tr -d '[:space:]' <"$display_file")
    export DISPLAY
}

stop_screen() {
    kill "$screen_pid" 2>/dev/null || return 0
    wait "$screen_pid" 2>/dev/null || true
}

stop_wine() {
    limit 20 wineserver -k 2>/dev/null || true
    limit 20 wineserver -w 2>/dev/null || true
}

# What a finished prefix was made of; a Wine of another version or other settings get a new one.
prefix_ingredients() {
    dpkg-query -W -f '${Version}\n' libwine
    cat tools/prefix.reg
}

# Wine fills a prefix with copies of its own libraries, 690 MB. Links to them do as well, and leave 15 MB.
link_libraries() {
    local libraries=/usr/lib/x86_64-linux-gnu/wine/x86_64-windows file
    find "$WINEPREFIX/drive_c" -type f -print0 | while read -r -d '' file; do
        ! cmp -s "$file" "$libraries/${file##*/}" || ln -sf "$libraries/${file##*/}" "$file"
    done
    # An update of the prefix would write into Wine's own files.
    echo disable >"$WINEPREFIX/.update-timestamp"
}

make_prefix() {
    say "Making a Wine prefix, about 15 seconds"
    rm -rf "$WINEPREFIX"
    mkdir -p "$WINEPREFIX"
    limit 180 wineboot -i >/dev/null 2>&1 || die "Wine could not create its prefix in $WINEPREFIX."
    limit 60 wine regedit /S "$(winepath -w "$root/tools/prefix.reg" 2>/dev/null)" 2>/dev/null ||
        die "Wine did not take the settings of tools/prefix.reg."
    # The registry is written when Wine ends.
    stop_wine
    link_libraries
}

# Whatever ended an attempt too early, only a finished prefix has its mark.
start_wine() {
    local mark=$WINEPREFIX/finished
    at_exit stop_wine
    stop_wine
    if [[ -e $mark ]] && cmp -s "$mark" <(prefix_ingredients); then
        return
    fi
    make_prefix
    prefix_ingredients >"$mark"
}

start_windows() {
    mkdir -p "$build"
    start_screen
    start_wine
}
