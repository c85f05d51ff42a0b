# shellcheck shell=bash
# Format and static checks over our own files. A file that passed clang-tidy is not checked again until it, one of its
# headers or the settings change.

lint_format() {
    say "clang-format"
    git ls-files -z -- '*.c' '*.cpp' '*.h' | xargs -0 clang-format-19 --dry-run -Werror
}

lint_scripts() {
    say "shellcheck"
    # By way of what run sources it checks everything under tools/.
    shellcheck --external-sources --check-sourced run .ci/run
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

lint_tidy() {
    local marks=$build/lint inputs source mark
    local todo=()
    say "clang-tidy"
    mkdir -p "$marks"
    while read -r -a inputs; do
        source=${inputs[0]}
        git ls-files --error-unmatch "$source" >/dev/null 2>&1 || continue
        mark=$marks/$(pass_mark "${inputs[@]}")
        [[ -e $mark ]] || todo+=("$source" "$mark")
    done < <(own_inputs | sort -u)
    printf '%d to check\n' $((${#todo[@]} / 2))
    ((${#todo[@]})) || return 0
    # shellcheck disable=SC2016  # expanded by the inner shell
    printf '%s\0' "${todo[@]}" | xargs -0 -n2 -P "$(nproc)" bash -c \
        'clang-tidy-19 --quiet -p "$0" "$1" 2> >(grep -v "warnings generated\|^Suppressed\|^Use -header" >&2) && touch "$2"' \
        "$build"
}

run_lint() {
    need_packages "${lint_packages[@]}" "${build_packages[@]}"
    lint_format
    lint_scripts
    # clang-tidy needs what the build generates, and the list of the headers that each file really includes.
    build_all
    lint_tidy
    say "Nothing to complain about"
}
