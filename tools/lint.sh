# shellcheck shell=bash
# Format and static checks over our own files. A file that passed clang-tidy is not checked again until it, one of its
# headers or the settings change.

word lint "clang-format, clang-tidy and shellcheck" "${lint_packages[@]}" "${build_packages[@]}"

lint_format() {
    say "clang-format"
    git ls-files -z -- '*.c' '*.cpp' '*.h' | xargs -0 clang-format-19 --dry-run -Werror
}

lint_scripts() {
    say "shellcheck"
    # By way of what run sources it checks everything under tools/.
    shellcheck --external-sources --check-sourced run .ci/run tests/support/*.sh
}

# One line per object file of the build: the files of ours that went into it, the source first.
own_inputs() {
    ninja -C "$build" -t deps | awk -v root="$root/" '
        /^[^ ].*: #deps/ { if (line) print line; line = ""; next }
        /^    /          { file = $1
                           if (file !~ /^\//) file = root "build/" file
                           if (index(file, root) == 1) line = line (line ? " " : "") file }
        END              { if (line) print line }'
}

# Name of the file in build/lint that says that this source passed in this state.
pass_mark() {
    local inputs=("$@")
    {
        cat .clang-tidy tools/lint.sh "${inputs[@]}"
        grep -A2 -F -- "${inputs[0]}" "$build/compile_commands.json" || true
        clang-tidy-19 --version
    } | sha256sum | cut -d' ' -f1
}

# tidy_file SOURCE MARK
tidy_file() {
    local options=(--quiet -p "$build")
    case ${1#"$root"/} in
    # The analyzer takes as long as everything else together: for what ships.
    simulator/* | tests/*) options+=('--checks=-clang-analyzer-*') ;;
    esac
    clang-tidy-19 "${options[@]}" "$1" 2> >(grep -v 'warnings\? generated\|^Suppressed\|^Use -header' >&2) && touch "$2"
}

lint_tidy() {
    local marks=$build/lint inputs source mark
    local todo=() sources=0
    say "clang-tidy"
    mkdir -p "$marks"
    while read -r -a inputs; do
        source=${inputs[0]}
        git ls-files --error-unmatch "$source" >/dev/null 2>&1 || continue
        mark=$marks/$(pass_mark "${inputs[@]}")
        sources=$((sources + 1))
        [[ -e $mark ]] || todo+=("$source" "$mark")
    done < <(own_inputs | sort -u)
    printf '%d files, %d of them new or changed\n' "$sources" $((${#todo[@]} / 2))
    ((sources)) || die "The build knows of no source file: clang-tidy has nothing to go by."
    ((${#todo[@]})) || return 0
    export root build
    export -f tidy_file
    printf '%s\0' "${todo[@]}" | xargs -0 -n2 -P "$(nproc)" bash -c 'tidy_file "$@"' tidy_file
}

run_lint() {
    local failed=()
    lint_format || failed+=(clang-format)
    lint_scripts || failed+=(shellcheck)
    # clang-tidy needs what the build generates, and the list of the headers that each file really includes.
    build_all
    lint_tidy || failed+=(clang-tidy)
    ((${#failed[@]} == 0)) || die "There are complaints by ${failed[*]}."
    say "Nothing to complain about"
}
