#!/bin/sh
# Installs the Debian packages that building, testing and training need; skips what is there.
set -e
packages="cmake g++ make libgtest-dev libfathom-dev stockfish"
missing=""
for p in $packages; do
    dpkg -s "$p" >/dev/null 2>&1 || missing="$missing $p"
done
[ -z "$missing" ] && exit 0
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get install -y $missing || { $sudo apt-get update && $sudo apt-get install -y $missing; }
