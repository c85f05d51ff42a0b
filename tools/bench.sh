# shellcheck shell=bash
# How fast the shipped DLL is here, beside the floor: tools/bench, run on a machine prepared for it.

word bench "how fast the DLL is, each figure beside what its calls of Windows cost alone; build/bench.json" \
    "${build_packages[@]}" "${wine_packages[@]}"

help_bench() {
    cat <<'END'
A table of figures, each beside its floor; docs/performance.md explains them. Takes about two minutes, the build apart;
nothing else should run meanwhile.
  --samples N   samples of most figures (100)
  --smoke       few samples: only whether all figures come out, and none is absurd
END
}

options_bench() {
    bench_samples=100 bench_idle=30
    while (($#)); do
        case $1 in
        --smoke) bench_samples=8 bench_idle=10 ;;
        --samples)
            [[ ${2-} =~ ^[1-9][0-9]{0,4}$ ]] || die "--samples takes a number of samples."
            bench_samples=$2
            shift
            ;;
        *) die "\"bench\" has no option \"$1\"; see ./run bench --help." ;;
        esac
        shift
    done
}

# What an interrupted ./run bench has left behind would switch the log on, or lock the finger out.
bench_prepare() {
    rm -rf "$WINEPREFIX/drive_c/CPLog" "$WINEPREFIX/drive_c/FPLog"
    rm -f "$WINEPREFIX/drive_c/users/Public/VEXA/FingerPrint/config.ini" "$build/bench.json"
    in_windows 60 ./FingerprintService.exe --install || die "The services could not be installed."
    start_service vcsFPService || die "The service vcsFPService does not start."
    start_service VexaFPService || die "The service VexaFPService does not start."
}

run_bench() {
    local status=0
    build_targets Bench
    start_windows
    bench_prepare
    say "Measuring, about $((bench_idle + bench_samples)) seconds"
    # The kernel under Wine knows this shell, and what it becomes, by one number.
    # shellcheck disable=SC2016  # it is the inner shell's
    (cd "$build" && exec timeout $((120 + bench_idle + 5 * bench_samples)) bash -c 'exec wine ./Bench.exe "$@" $$' \
        bench "$bench_samples" "$bench_idle" 2>"$build/bench-errors.txt") || status=$?
    ((status == 0)) || die "Bench ended with $status. It said: $(cat "$build/bench-errors.txt")"
    [[ -s $build/bench.json ]] || die "Bench has left no build/bench.json. It said: $(cat "$build/bench-errors.txt")"
    say "The same in build/bench.json"
}
