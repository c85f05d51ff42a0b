# shellcheck shell=bash
# How fast the shipped DLL is here, beside the floor: tools/bench, run on a machine prepared for it.

bench_usage() {
    cat <<'END'
Usage: ./run bench [OPTION...]

How fast the shipped DLL is here, each figure beside its floor: a table, and build/bench.json. docs/performance.md
explains the figures. Takes about two minutes, the build apart; nothing else should run meanwhile.

  --samples N   samples of most figures (100)
  --smoke       few samples: only whether all figures come out, and none is absurd
END
}

# bench_windows SECONDS PROGRAM...: runs a Windows program in the build folder.
bench_windows() {
    (cd "$build" && exec timeout "$1" wine "${@:2}" 2>/dev/null) | tr -d '\r'
}

# Under load Wine now and then fails to start a child process; the next attempt does it.
bench_start_service() {
    local attempt
    for attempt in 1 2 3; do
        bench_windows 60 net start "$1" >/dev/null || true
        [[ $(bench_windows 30 sc query "$1") != *RUNNING* ]] || return 0
        echo "Attempt $attempt to start $1 failed."
    done
    die "The service $1 does not start."
}

# What an interrupted ./run bench has left behind would switch the log on, or lock the finger out.
bench_prepare() {
    rm -rf "$WINEPREFIX/drive_c/CPLog" "$WINEPREFIX/drive_c/FPLog"
    rm -f "$WINEPREFIX/drive_c/users/Public/VEXA/FingerPrint/config.ini" "$build/bench.json"
    bench_windows 60 ./FingerprintService.exe --install || die "The services could not be installed."
    bench_start_service vcsFPService
    bench_start_service VexaFPService
}

run_bench() {
    local samples=100 idle=30 status=0
    while (($#)); do
        case $1 in
        --help | -h)
            bench_usage
            return
            ;;
        --smoke)
            samples=8
            idle=10
            ;;
        --samples)
            [[ ${2-} =~ ^[1-9][0-9]{0,4}$ ]] || die "--samples takes a number of samples."
            samples=$2
            shift
            ;;
        *) die "\"bench\" has no option \"$1\"." ;;
        esac
        shift
    done
    need_packages "${build_packages[@]}"
    say "Building what is measured"
    [[ -e $build/build.ninja ]] || cmake --preset release
    cmake --build --preset release --parallel "$(nproc)" --target Bench
    start_windows
    bench_prepare
    say "Measuring, about $((idle + samples)) seconds"
    # The kernel under Wine knows this shell, and what it becomes, by one number.
    # shellcheck disable=SC2016  # it is the inner shell's
    (cd "$build" && exec timeout $((120 + idle + 5 * samples)) bash -c 'exec wine ./Bench.exe "$@" $$' \
        bench "$samples" "$idle" 2>"$build/bench-errors.txt") || status=$?
    ((status == 0)) || die "Bench ended with $status. It said: $(cat "$build/bench-errors.txt")"
    [[ -s $build/bench.json ]] || die "Bench has left no build/bench.json. It said: $(cat "$build/bench-errors.txt")"
    say "The same in build/bench.json"
}
