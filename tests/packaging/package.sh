#!/usr/bin/env bash
# Builds the Debian package, checks it with lintian, installs it with apt-get, runs the daemon
# test on the installed units (the installed glyphd against the installed clientmgr, with the
# build's simulator as the control panel), and removes it again without a trace.
# Usage: package.sh BUILD_DIR DAEMON_TEST   (DAEMON_TEST: the build's test_app_glyphd)
#
# Safe on a developer machine: it skips (exit 77) unless it runs as root, and when the package
# or files of its own name are already installed, so it never touches what it did not put there.
set -euo pipefail
build_dir=$(cd "$1" && pwd)
daemon_test=$2
here=$(cd "$(dirname "$0")" && pwd)
unit_dir=/usr/lib/systemd/user

skip() {
    echo "SKIP: $*"
    exit 77
}
[[ $(id -u) -eq 0 ]] || skip "needs root to install a package"
for tool in apt-get dpkg-deb lintian cpack systemctl; do
    command -v "$tool" >/dev/null || skip "$tool not found (scripts/install-deps.sh)"
done
if dpkg-query -W -f='${Status}' glyphd 2>/dev/null | grep -q 'installed\|config-files'; then
    skip "a glyphd package is already installed; not touching it"
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/glyphd-package.XXXXXX")
installed=0
cleanup() {
    if ((installed)); then
        apt-get purge -y -qq glyphd >/dev/null 2>&1 || true
    fi
    rm -rf "$work"
}
trap cleanup EXIT

echo "== cpack"
(cd "$work" && cpack -G DEB --config "$build_dir/CPackConfig.cmake" -B "$work" >cpack.log) ||
    { cat "$work/cpack.log"; exit 1; }
deb=$(echo "$work"/glyphd_*.deb)
[[ -f "$deb" ]] || { echo "FAIL: no package built"; exit 1; }
dpkg-deb --info "$deb"

# Everything the package holds that is not there yet must be gone after the purge.
mapfile -t paths < <(dpkg-deb --fsys-tarfile "$deb" | tar -t | sed 's|^\./|/|; s|/$||' | grep -v '^$')
new_paths=()
for path in "${paths[@]}"; do
    [[ -e "$path" ]] || new_paths+=("$path")
    if [[ -f "$path" ]]; then
        skip "$path exists already; installing would replace it"
    fi
done

echo "== lintian"
lintian_log="$work/lintian.log"
lintian_status=0
lintian --fail-on error --display-level '>=warning' "$deb" >"$lintian_log" 2>&1 || lintian_status=$?
grep -v 'running with root' "$lintian_log" || true
if ((lintian_status != 0)) || grep -q '^E:' "$lintian_log"; then
    echo "FAIL: lintian reports errors (status $lintian_status)"
    exit 1
fi

echo "== apt-get install"
installed=1
(cd "$work" && DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "./$(basename "$deb")")
for program in /usr/bin/glyphd /usr/bin/clientmgr; do
    [[ -x "$program" ]] || { echo "FAIL: $program not installed"; exit 1; }
done

echo "== installed units"
VERIFY_MAN=yes bash "$here/verify_units.sh" "$unit_dir/clientmgr.service" "$unit_dir/glyphd.service"
# Enabled the way the README says; the purge must take the links along.
systemctl --global enable glyphd.service clientmgr.service
mapfile -t links < <(find /etc/systemd/user -lname "$unit_dir/glyphd.service" \
    -o -lname "$unit_dir/clientmgr.service")
((${#links[@]} == 2)) || { echo "FAIL: enabling made ${#links[@]} links, not 2"; exit 1; }
new_paths+=("${links[@]}")
GLYPHD_UNIT_DIR=$unit_dir GLYPHD_BIN_DIR=$build_dir/bin "$daemon_test"

echo "== apt-get purge"
DEBIAN_FRONTEND=noninteractive apt-get purge -y -qq glyphd
installed=0
if dpkg-query -W -f='${Status}' glyphd 2>/dev/null | grep -q 'installed\|config-files'; then
    echo "FAIL: dpkg still knows the package after the purge"
    exit 1
fi
left=()
for path in "${new_paths[@]}"; do
    [[ ! -e "$path" ]] || left+=("$path")
done
if ((${#left[@]})); then
    printf 'FAIL: left behind: %s\n' "${left[@]}"
    exit 1
fi
echo "package built, installed, run and removed: $(basename "$deb")"
