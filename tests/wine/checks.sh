# Sourced by the Windows test scripts: a private work directory, checks that go on after a
# failure, and the summary that ends the script.
#   check DESCRIPTION COMMAND...   runs COMMAND; prints ok or FAIL with the description
#   contains FILE TEXT             FILE holds TEXT
#   finish                         prints the summary; exits 1 if a check failed
# Sets: here (the scripts' directory), run (scripts/wine-run.sh), work (removed at exit).
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
run="$here/../../scripts/wine-run.sh"
work=$(mktemp -d /tmp/kestrine-wine-XXXXXX)
trap 'rm -rf "$work"' EXIT
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
