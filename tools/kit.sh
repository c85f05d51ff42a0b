# shellcheck shell=bash
# The check kit as somebody with a Windows machine uses it: unpacked from its zip file, run by cmd, on a machine of its
# own that has to be afterwards as it was before.

word kit "runs the check kit's verify.cmd under Wine" \
    "${build_packages[@]}" "${wine_packages[@]}" "${package_packages[@]}"

run_kit() {
    local kit=$build/kit version status=0
    version=$(<"$root/VERSION")
    options_package --output "$build/package"
    run_package
    install_folder=$kit
    WINEPREFIX=$kit/wine
    stop_wine
    rm -rf "$kit"
    # Blanks in the path, as in most people's folders.
    mkdir -p "$kit/The check kit"
    (cd "$kit/The check kit" &&
        unzip -q "$build/package/VexaFPCredentialProvider-$version-check.zip")
    start_windows
    set_windows_version win10
    # Every Windows has these keys; a Wine prefix gets them with the first provider, and the first policy.
    installed 60 reg add "${installed_list_key%\\*}" /f >/dev/null
    installed 60 reg add 'HKLM\SOFTWARE\Policies\Microsoft\Windows\System' /f >/dev/null
    machine_state >"$kit/before"
    say "verify.cmd"
    (cd "$kit/The check kit" && timeout 1500 wine cmd /c ".\\verify.cmd" /y 2>&1) | tr -d '\r' || status=$?
    say "Its report (${kit#"$root"/}/verify.txt)"
    tr -d '\r' <"$kit/The check kit/verify.txt" | tee "$kit/verify.txt"
    check "the machine is as it was" same_state
    ((status == 0)) || die "verify.cmd ended with status $status."
    say "The check kit passes"
}
