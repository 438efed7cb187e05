#!/usr/bin/env bash
# systemd-analyze verify of user units. Fails on any complaint, not only on errors: a setting
# the manager does not understand is only a warning there, but the unit would not do its job.
# Usage: verify_units.sh UNIT-FILE...   (exit 77: systemd-analyze is not installed)
# VERIFY_MAN=yes also checks that the manual pages the units name are installed.
set -uo pipefail
if ! command -v systemd-analyze >/dev/null; then
    echo "systemd-analyze not found (package systemd)"
    exit 77
fi
# The user manager's checks need a runtime directory, even though no manager runs here.
runtime=$(mktemp -d)
trap 'rm -rf "$runtime"' EXIT
output=$(XDG_RUNTIME_DIR=$runtime systemd-analyze --user verify --man="${VERIFY_MAN:-no}" "$@" 2>&1)
status=$?
[[ -z "$output" ]] || printf '%s\n' "$output"
if ((status != 0)) || [[ -n "$output" ]]; then
    echo "FAIL: systemd-analyze verify did not accept $*"
    exit 1
fi
echo "verified: $*"
