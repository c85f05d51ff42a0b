# shellcheck shell=bash
# The installer package, the symbols, the check kit and their checksums, all from the release build.

provider_class='{0CE326A8-C767-433F-82B9-601B2A27321E}'
password_variable=VEXA_SIGN_PASSWORD

word package "installer package, symbols and check kit for Windows, in build/package/" \
    "${build_packages[@]}" "${package_packages[@]}"

help_package() {
    cat <<END
All or nothing: the installer package, the PDB and the check kit as zip files, SHA256SUMS.
  --sign FILE.pfx        sign DLL, programs and installer package; the password is taken from the environment
                         variable $password_variable
  --timestamp URL        have the signatures time-stamped by this RFC 3161 server
  --ca FILE.pem          verify the signatures against these certificates instead of the system's
  --output FOLDER        leave the files in this folder
END
}

options_package() {
    pfx='' timestamp='' ca=/etc/ssl/certs/ca-certificates.crt package_output=$build/package
    while (($#)); do
        case $1 in
        --sign | --timestamp | --ca | --output)
            [[ ${2-} ]] || die "$1 takes a value; ./run package --help tells which."
            case $1 in
            --sign) pfx=$2 ;;
            --timestamp) timestamp=$2 ;;
            --ca) ca=$2 ;;
            --output) package_output=$2 ;;
            esac
            shift 2
            ;;
        *) die "\"package\" has no option \"$1\"; ./run package --help lists those it has." ;;
        esac
    done
    [[ $pfx || ! $timestamp ]] || die "--timestamp goes with --sign."
}

# Before anything is built: what is wrong with the key is said at once.
check_signing() {
    local answer
    [[ $pfx ]] || return 0
    [[ -r $pfx ]] || die "There is no readable file \"$pfx\" to sign with."
    [[ -r $ca ]] || die "There is no readable file \"$ca\" to verify signatures with."
    [[ ${!password_variable+set} ]] || die "The password of $pfx is expected in the environment variable $password_variable."
    if ! answer=$(openssl pkcs12 -in "$pfx" -nokeys -passin "env:$password_variable" 2>&1 >/dev/null); then
        case $answer in
        *'invalid password'* | *'mac verify'*) die "The password in $password_variable does not open $pfx." ;;
        *) die "$pfx can't be used: $answer" ;;
        esac
    fi
}

# sign_file FILE: the password reaches the program through a pipe, and shows in no list of processes.
sign_file() {
    local file=$1
    [[ $pfx ]] || return 0
    osslsigncode sign -pkcs12 "$pfx" -readpass <(printf '%s' "${!password_variable}") -h sha256 \
        -n "VEXA FingerPrint" ${timestamp:+-ts "$timestamp"} -in "$file" -out "$file.signed" >"$stage/sign.log" 2>&1 ||
        die "${file##*/} could not be signed: $(tail -n 3 "$stage/sign.log")"
    mv "$file.signed" "$file"
    osslsigncode verify -CAfile "$ca" -TSA-CAfile "$ca" -in "$file" >"$stage/sign.log" 2>&1 ||
        die "The signature of ${file##*/} does not hold: $(grep -m1 -i 'error\|fail' "$stage/sign.log")"
    echo "Signed and verified: ${file##*/}"
}

# guid_of TEXT...: the same code for the same text, in the form that Windows Installer wants.
guid_of() {
    local hash
    hash=$(printf '%s\n' "$@" | sha256sum)
    hash=${hash^^}
    printf '{%s-%s-8%s-A%s-%s}' "${hash:0:8}" "${hash:8:4}" "${hash:13:3}" "${hash:17:3}" "${hash:20:12}"
}

# version_of_dll FILE: from the fixed part of its version resource, which follows a signature of its own.
version_of_dll() {
    local at words
    at=$(LC_ALL=C grep -obUaP '\xbd\x04\xef\xfe\x00\x00\x01\x00' "$1" | head -n 1 | cut -d: -f1)
    [[ $at ]] || die "$1 has no version resource."
    read -r -a words < <(od -A n -t u2 -j "$((at + 8))" -N 8 "$1")
    printf '%d.%d.%d.%d' "${words[1]}" "${words[0]}" "${words[3]}" "${words[2]}"
}

# crlf FILE...: as Windows' own tools expect texts.
crlf() {
    sed -i 's/\r*$/\r/' "$@"
}

notices() {
    local exception doc=/usr/share/doc
    exception=$(sed -n '/^GCC RUNTIME LIBRARY EXCEPTION/,/^requirements of the license of GCC/p' \
        $doc/gcc-mingw-w64-base/copyright)
    [[ $exception && -s $doc/mingw-w64-x86-64-dev/copyright ]] || die "The toolchain's licence texts are not in $doc."
    cat "$root/packaging/NOTICES.txt"
    printf '\n\n%s\n' "$exception"
    printf '\n\nmingw-w64 runtime\n=================\n\n'
    cat $doc/mingw-w64-x86-64-dev/copyright
    printf '\n\ndoctest\n=======\n\n'
    sed -n '/^License: Expat/,/^$/p' $doc/doctest-dev/copyright
}

# make_msi FOLDER VERSION FILE: the folder holds what is installed.
make_msi() {
    local folder=$1 version=$2 msi=$3 name file_version statement statements=() work=$stage/msi
    name=VexaFPCredentialProvider
    file_version=$(version_of_dll "$folder/$name.dll")
    [[ $file_version == "$version".0 ]] || die "The DLL's version resource says $file_version, not $version."
    rm -rf "$work"
    mkdir -p "$work"
    cp -p "$folder"/{"$name.dll",Doctor.exe,rescue.cmd,NOTICES.txt} "$root/packaging/$name.wxs" "$work"
    touch -d "@$SOURCE_DATE_EPOCH" "$work"/*
    # wixl only warns of an attribute that it does not know, and leaves it out.
    (cd "$work" && wixl -a x64 -D "Version=$version" -D "Class=$provider_class" \
        -D "ProductCode=$(guid_of VexaFPCredentialProvider "$version")" -o "$msi" "$name.wxs") >"$work/wixl.log" 2>&1 ||
        die "wixl failed: $(cat "$work/wixl.log")"
    [[ ! -s $work/wixl.log ]] || die "wixl complains: $(cat "$work/wixl.log")"
    while read -r statement; do
        statements+=(-q "${statement//@FILE_VERSION@/$file_version}")
    done < <(grep -v -e '^--' -e '^$' "$root/packaging/finish.sql")
    msibuild "$msi" "${statements[@]}" || die "msibuild could not finish the package."
    fix_summary "$msi" "$(guid_of "$version" "$(cd "$work" && sha256sum ./*.* | grep -v wixl.log)" \
        "$(sha256sum <"$root/packaging/finish.sql")")"
}

# fix_summary MSI CODE: wixl writes the time of day and a package code by chance. The code tells two packages apart
# that differ in anything.
fix_summary() {
    local table=$stage/_SummaryInformation.idt time
    time=$(date -u -d "@$SOURCE_DATE_EPOCH" '+%Y/%m/%d %H:%M:%S')
    msiinfo export "$1" _SummaryInformation |
        awk -F '\t' -v OFS='\t' -v code="$2" -v time="$time" '
            $1 == 9 { $2 = code } $1 == 12 || $1 == 13 { $2 = time } { print }' >"$table"
    msibuild "$1" -i "$table" || die "msibuild could not write the package's summary."
}

# make_zip ZIP FOLDER: with the names sorted and one time stamp, two of the same content are the same.
make_zip() {
    find "$2" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
    (cd "$2" && find . -type f -printf '%P\n' | LC_ALL=C sort | TZ=UTC zip -q -X -D "$1" -@) || die "zip failed on $1."
}

# The list of test runs that verify.cmd works through: name, program and arguments, as CTest knows them behind what
# starts a program here. What is not a program of ours reads the build, and stays here.
list_tests() {
    ctest --test-dir "$build" --show-only=json-v1 | jq -r '
        .tests[] | .name as $name | .command | (map(endswith(".exe")) | index(true)) as $program
        | select($program) | .[$program:]
        | [$name, (.[0] | sub(".*/"; ""))] + [.[1:][] | "\"" + . + "\""] | join(" ")'
}

make_kit() {
    local kit=$1 name
    mkdir -p "$kit/PreBootLibrary"
    list_tests >"$kit/tests.txt"
    while read -r _ name _; do
        cp -pn "$build/$name" "$kit"
    done <"$kit/tests.txt"
    [[ -s $kit/flow_tests.exe ]] || die "CTest names no test programs for the check kit."
    cp -p "$build"/PreBootLibrary/*.dll "$kit/PreBootLibrary"
    cp -p "$build/VexaFPCredentialProvider.pdb" "$root/packaging/verify.cmd" "$kit"
    # Signed ones, where there is a signature.
    cp -p "$stage"/files/* "$kit"
    crlf "$kit/verify.cmd" "$kit/tests.txt"
}

prepare_package_stage() {
    mkdir -p "$(dirname "$package_output")" 2>/dev/null || die "The folder $(dirname "$package_output") can't be made."
    [[ ! -e $package_output || -d $package_output ]] || die "$package_output is in the way: it is not a folder."
    stage=$(mktemp -d "$package_output.XXXXXX" 2>/dev/null) ||
        die "The folder $(dirname "$package_output") can't be written to."
    at_exit remove_package_stage
}

remove_package_stage() {
    rm -rf "$stage"
}

run_package() {
    local version name base
    check_signing
    package_output=$(realpath -m "$package_output")
    prepare_package_stage
    build_all
    say "Packing"
    version=$(<"$root/VERSION")
    SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git -C "$root" log -1 --format=%ct)}
    base=VexaFPCredentialProvider-$version
    mkdir -p "$stage"/{files,kit,symbols,out}
    cp "$build"/{VexaFPCredentialProvider.dll,Doctor.exe,LogonScreen.exe,FingerprintService.exe} "$stage/files"
    cp "$root/packaging/rescue.cmd" "$stage/files"
    notices >"$stage/files/NOTICES.txt"
    crlf "$stage/files/rescue.cmd" "$stage/files/NOTICES.txt"
    for name in "$stage"/files/*.dll "$stage"/files/*.exe; do
        sign_file "$name"
    done
    make_msi "$stage/files" "$version" "$stage/out/$base.msi"
    sign_file "$stage/out/$base.msi"
    cp "$build/VexaFPCredentialProvider.pdb" "$stage/symbols"
    make_zip "$stage/out/$base-symbols.zip" "$stage/symbols"
    make_kit "$stage/kit"
    make_zip "$stage/out/$base-check.zip" "$stage/kit"
    (cd "$stage/out" && sha256sum -- * >SHA256SUMS)
    mkdir -p "$package_output"
    rm -f "$package_output"/{VexaFPCredentialProvider-*.{msi,zip},SHA256SUMS}
    mv "$stage"/out/* "$package_output"
    say "Packed in $package_output"
    cat "$package_output/SHA256SUMS"
}
