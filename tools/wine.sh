# shellcheck shell=bash
# The Windows that everything runs on: a virtual screen and a Wine prefix of this build folder's own.

export WINEPREFIX=$build/wine
export WINEARCH=win64
export WINEDEBUG=-all
# No Mono or Gecko downloads, no desktop entries.
export WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe='
# Wine's GDI+ smooths text even where one bit per pixel is asked for. On the colour-keyed prompt window that mixes with
# the key colour; with full hinting the strokes lie on whole pixels and hardly anything is left to smooth.
export FREETYPE_PROPERTIES=truetype:interpreter-version=35

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
    timeout 20 wineserver -k 2>/dev/null || true
    timeout 20 wineserver -w 2>/dev/null || true
}

# Creates the prefix once; its settings are applied again whenever they changed.
start_wine() {
    local applied=$WINEPREFIX/settings-applied.reg
    at_exit stop_wine
    stop_wine
    if [[ ! -e $WINEPREFIX/system.reg ]]; then
        say "Creating the Wine prefix"
        mkdir -p "$WINEPREFIX"
        timeout 120 wineboot -i >/dev/null 2>&1 || die "Wine could not create its prefix in $WINEPREFIX."
        timeout 60 wineserver -w
    fi
    if ! cmp -s "$root/tools/prefix.reg" "$applied"; then
        timeout 60 wine regedit /S "$(winepath -w "$root/tools/prefix.reg")" 2>/dev/null ||
            die "Wine did not take the settings of tools/prefix.reg."
        cp "$root/tools/prefix.reg" "$applied"
    fi
}

start_windows() {
    need_packages "${wine_packages[@]}"
    mkdir -p "$build"
    start_screen
    start_wine
}
