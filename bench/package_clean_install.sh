#!/bin/sh
# Installs the Debian package on a clean system, as a new user would: a minimal Debian 12 made with
# debootstrap in a scratch folder, "apt-get install ./vireo_*.deb" there (apt brings in libfathom1),
# then, as a fresh ordinary user, the engine from the PATH, one search and "vireo bench"; then
# "apt-get remove vireo" and a check that the engine is gone. Needs root and Debian's mirror
# (debootstrap downloads about 40 MB); a few minutes. Not run in CI.
# Usage: bench/package_clean_install.sh [DEB]   (default: the newest build*/vireo_*_amd64.deb)
set -eu
cd "$(dirname "$0")/.."
deb=${1:-$(ls -t build*/vireo_*_amd64.deb 2>/dev/null | head -1)}
[ -n "$deb" ] && [ -f "$deb" ] || { echo "no package: run bench/package_check.sh first"; exit 1; }
[ "$(id -u)" -eq 0 ] || { echo "run as root (debootstrap and chroot)"; exit 1; }
command -v debootstrap >/dev/null || DEBIAN_FRONTEND=noninteractive apt-get install -y debootstrap

root=$(mktemp -d /tmp/vireo_clean_XXXXXX)
chmod 755 "$root" # it becomes "/" for the new user
cleanup() {
    umount "$root/proc" 2>/dev/null || true
    rm -rf "$root"
}
trap cleanup EXIT
echo "== debootstrap bookworm into $root"
debootstrap --variant=minbase bookworm "$root" http://deb.debian.org/debian >"$root.debootstrap.log" 2>&1 ||
    { tail -20 "$root.debootstrap.log"; exit 1; }
rm -f "$root.debootstrap.log"
cp /etc/resolv.conf "$root/etc/resolv.conf"
cp "$deb" "$root/tmp/"
mount -t proc proc "$root/proc"
name=$(basename "$deb")

in_root() { chroot "$root" /bin/sh -c "$1" 2>&1 | { grep -v -e 'Reading database \.\.\.' -e 'Is /dev/pts mounted' || true; }; }
echo "== apt-get install ./$name"
in_root "export DEBIAN_FRONTEND=noninteractive; apt-get update -q >/dev/null && cd /tmp && apt-get install -y ./$name"
echo "== as a new user"
in_root "useradd -m -s /bin/bash player"
# bash -c: the user's PATH is Debian's default one, which has /usr/games.
in_root "su - player -c 'command -v vireo && cd ~ &&
    (printf \"uci\nposition startpos moves e2e4 e7e5\ngo depth 10\n\"; sleep 3; echo quit) | vireo | grep -v currmove | tail -4 &&
    vireo bench | tail -n 2; echo \"exit status of vireo bench: \${PIPESTATUS[0]}\"'" | tee "$root/user.log"
echo "== apt-get remove vireo"
in_root "export DEBIAN_FRONTEND=noninteractive; apt-get remove -y vireo"
in_root "su - player -c 'command -v vireo || echo vireo: not found'" | tee "$root/removed.log"

failures=0
grep -q '^/usr/games/vireo$' "$root/user.log" || { echo "FAILED: vireo not on the new user's PATH"; failures=$((failures + 1)); }
grep -q '^bestmove ' "$root/user.log" || { echo "FAILED: no bestmove"; failures=$((failures + 1)); }
grep -q '^Nodes searched  : [0-9]' "$root/user.log" || { echo "FAILED: no bench report"; failures=$((failures + 1)); }
grep -q 'exit status of vireo bench: 0' "$root/user.log" || { echo "FAILED: vireo bench status"; failures=$((failures + 1)); }
grep -q 'vireo: not found' "$root/removed.log" || { echo "FAILED: vireo still there after removal"; failures=$((failures + 1)); }
[ "$failures" -eq 0 ] && echo "clean install, use and removal: all checks passed"
exit "$failures"
