#!/usr/bin/env bash
# Builds the Debian package, installs it with apt-get, runs the daemon
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
fail() {
    echo "FAIL: $*"
    exit 1
}
[[ $(id -u) -eq 0 ]] || skip "needs root to install a package"
for tool in apt-get dpkg-deb cpack systemctl; do
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

# Every file the package holds must be new here, and gone again after the purge.
mapfile -t files < <(dpkg-deb --fsys-tarfile "$deb" | tar -t | sed -n 's|^\./|/|; /[^/]$/p')
for path in "${files[@]}"; do
    [[ ! -f "$path" ]] || skip "$path exists already; installing would replace it"
done

echo "== apt-get install"
installed=1
(cd "$work" && DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "./$(basename "$deb")")

echo "== installed units"
VERIFY_MAN=yes bash "$here/verify_units.sh" "$unit_dir/clientmgr.service" "$unit_dir/glyphd.service"
# Enabled the way the README says; the purge must take the links along.
systemctl --global enable glyphd.service clientmgr.service
mapfile -t links < <(find /etc/systemd/user -lname "$unit_dir/glyphd.service" \
    -o -lname "$unit_dir/clientmgr.service")
((${#links[@]} == 2)) || fail "enabling made ${#links[@]} links, not 2"
GLYPHD_UNIT_DIR=$unit_dir GLYPHD_BIN_DIR=$build_dir/bin "$daemon_test"

echo "== apt-get purge"
DEBIAN_FRONTEND=noninteractive apt-get purge -y -qq glyphd
installed=0
for path in "${files[@]}" "${links[@]}"; do
    [[ ! -e "$path" && ! -L "$path" ]] || fail "left behind: $path"
done
echo "package built, installed, run and removed: $(basename "$deb")"
