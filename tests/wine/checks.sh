# Sourced by the Windows test scripts: a private work directory, checks that go on after a
# failure, and the summary that ends the script.
#   check DESCRIPTION COMMAND...   runs COMMAND; prints ok or FAIL with the description
#   contains FILE TEXT             FILE holds TEXT
#   finish                         prints the summary; exits 1 if a check failed
# Sets: here (the scripts' directory), run (scripts/wine-run.sh), work (removed at exit unless
# KESTRINE_KEEP_WORK is set, for a look after a failure).
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
run="$here/../../scripts/wine-run.sh"
work=$(mktemp -d /tmp/kestrine-wine-XXXXXX)
trap '[[ -n ${KESTRINE_KEEP_WORK:-} ]] || rm -rf "$work"' EXIT
failures=0

check() {
    if "${@:2}"; then echo "ok   $1"; else echo "FAIL $1"; failures=$((failures + 1)); fi
}
contains() { grep -qF -- "$2" "$1"; }
finish() {
    echo
    if [[ $failures -ne 0 ]]; then
        echo "$failures checks failed"
        exit 1
    fi
    echo "all checks passed"
}

# make_certificates DIR NAME=SUBJECT[=USAGE]...: a throw-away certificate authority
# (DIR/root.crt) and, for each NAME, a certificate issued by it with the common name SUBJECT
# (DIR/NAME.crt, its key DIR/NAME.key) for USAGE: codeSigning (the default) or timeStamping.
# Never added to any trusted store.
make_certificates() {
    local dir=$1 entry name subject usage
    shift
    mkdir -p "$dir" && printf '%s\n' '[codeSigning]' 'basicConstraints=critical,CA:FALSE' \
        'keyUsage=critical,digitalSignature' 'extendedKeyUsage=codeSigning' '[timeStamping]' \
        'basicConstraints=critical,CA:FALSE' 'keyUsage=critical,digitalSignature' \
        'extendedKeyUsage=critical,timeStamping' >"$dir/usages.cnf" &&
        openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj "/CN=Kestrine Test Root" \
            -addext "basicConstraints=critical,CA:TRUE" -addext "keyUsage=critical,keyCertSign,cRLSign" \
            -keyout "$dir/root.key" -out "$dir/root.crt" 2>/dev/null || return 1
    for entry in "$@"; do
        IFS='=' read -r name subject usage <<<"$entry"
        openssl req -newkey rsa:2048 -nodes -subj "/CN=$subject" -keyout "$dir/$name.key" \
            -out "$dir/$name.csr" 2>/dev/null &&
            openssl x509 -req -in "$dir/$name.csr" -CA "$dir/root.crt" -CAkey "$dir/root.key" \
                -CAcreateserial -days 2 -extfile "$dir/usages.cnf" -extensions "${usage:-codeSigning}" \
                -out "$dir/$name.crt" 2>/dev/null || return 1
    done
}
