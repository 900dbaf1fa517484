#!/usr/bin/env bash
# End-to-end scenario of --logfile on a fresh simulated machine: the save and the restore each
# write one log file that starts with the header, the registry's rotation time (absent, valid,
# unreadable) shows in it, and a log file name in a missing directory changes nothing else.
#   tests/e2e/logfile_scenario.sh BIN_DIR    BIN_DIR holds kestrine, kestrine-peer, kestrine-sim
set -euo pipefail

bin=${1:?usage: logfile_scenario.sh BIN_DIR}
work=$(mktemp -d "${TMPDIR:-/tmp}/kestrine-logfile-XXXXXX")
trap 'rm -rf "$work"' EXIT
export KESTRINE_SIM_ROOT=$work/sim
logs=$work/logs
mkdir -p "$logs"
key='SOFTWARE\Norvalis\VelmoAgent'
header='Thread   Time                     Elapsed  Session Log Id                       Cat   Level      RC          Message'

fail() { printf 'logfile scenario: %s\n' "$*" >&2; exit 1; }

# Runs the peer's blank (save) or unblank (restore) with the tool logging to logs/NAME.
run() {
    "$bin/kestrine-peer" "$1" --store "$work/store" --logfile "$logs/$2" >/dev/null ||
        fail "kestrine-peer $1 --logfile $2 ended with status $?"
}

# The one log file of the run NAME, after checking its name and its first line.
log_of() {
    local files=("$logs/$1"_*)
    [[ ${#files[@]} -eq 1 && -f ${files[0]} ]] || fail "expected one log file for $1, found: ${files[*]}"
    [[ $(basename "${files[0]}") =~ ^$1_[0-9]{4}_[0-9]{2}_[0-9]{2}T[0-9]{2}_[0-9]{2}_[0-9]{2}_[0-9]{3}Z\.txt$ ]] ||
        fail "badly named log file ${files[0]}"
    [[ $(head -n 1 "${files[0]}") == "$header" ]] || fail "${files[0]} does not start with the header"
    printf '%s\n' "${files[0]}"
}

expect_line() {
    grep -qF -- "$2" "$1" || fail "no line with '$2' in $1"
}

"$bin/kestrine-sim" reset

# No rotation setting: one error line, and the save goes on.
run blank save
save_log=$(log_of save)
expect_line "$save_log" "<ERROR>    -500        Failed to open registry key: $key"
expect_line "$save_log" "<INFO>     0           Got action save"
expect_line "$save_log" "Kestrine action successful, closing utility"

# A valid setting is in force, and logged, from the start.
"$bin/kestrine-sim" reg set "HKLM\\$key" VelmoLogRotationTime sz 10
run unblank restore
restore_log=$(log_of restore)
expect_line "$restore_log" "<INFO>     0           Setting log rotation time to: 10 mins"
if grep -qF "Failed to open registry key" "$restore_log"; then
    fail "the registry error line is in $restore_log"
fi
expect_line "$restore_log" "Restore action complete"

# A setting that is no number is reported and the run goes on.
"$bin/kestrine-sim" reg set "$key" VelmoLogRotationTime sz abc
run blank unreadable
expect_line "$(log_of unreadable)" 'Invalid log rotation time obtained ("abc"). Conversion failed.'
run unblank after-unreadable

# A name in a missing directory: no file, no directory, and the action still succeeds.
run blank missing/save
[[ ! -e $logs/missing ]] || fail "a directory was made for the log file"

echo "logfile scenario: passed"
