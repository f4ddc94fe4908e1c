#!/bin/sh
# Builds the Debian package with CPack and checks it: its name, its control fields and dependencies
# (libc, libstdc++ and Fathom's libfathom1, as dpkg-shlibdeps finds them), its files, a manual page
# that renders without warnings, and an engine that starts from the unpacked files.
# Usage: bench/package_check.sh [BUILD_DIR]   (default: build-package, configured here as Release)
set -eu
cd "$(dirname "$0")/.."
build=${1:-build-package}

for tool in cmake cpack dpkg-deb dpkg-shlibdeps groff file; do
    command -v "$tool" >/dev/null || { echo "missing $tool (apt-get install cmake dpkg-dev groff file)"; exit 1; }
done
[ -f "$build/CMakeCache.txt" ] || cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build" -j2 --target vireo manpage >/dev/null
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
rm -f "$build"/vireo_*.deb
(cd "$build" && cpack -G DEB >/dev/null)
deb="$build/vireo_${version}_amd64.deb"

failures=0
check() { # check DESCRIPTION COMMAND...
    what=$1
    shift
    if "$@" >/dev/null 2>&1; then echo "ok:     $what"; else echo "FAILED: $what"; failures=$((failures + 1)); fi
}

check "package file $deb" test -f "$deb"
[ -f "$deb" ] || { ls "$build"/*.deb 2>/dev/null; exit 1; }
echo "== dpkg -I $deb"
dpkg -I "$deb"
echo "== dpkg -c $deb"
dpkg -c "$deb"
echo "=="

field() { dpkg-deb -f "$deb" "$1"; }
depends=$(field Depends)
check "Package: vireo" test "$(field Package)" = vireo
check "Version: $version" test "$(field Version)" = "$version"
check "Architecture: amd64" test "$(field Architecture)" = amd64
check "Section: games" test "$(field Section)" = games
for package in libc6 libstdc++6 libfathom1; do
    check "Depends on $package" sh -c "echo '$depends' | tr ',' '\n' | grep -q '^ *$package\\( \\|\$\\)'"
done
contents=$(dpkg -c "$deb" | awk '{print $6}')
for file in ./usr/games/vireo ./usr/share/man/man6/vireo.6.gz ./usr/share/doc/vireo/README.md \
            ./usr/share/doc/vireo/examples/vireo.ini; do
    check "contains $file" sh -c "echo '$contents' | grep -qx '$file'"
done
check "no build-tree or test files" sh -c "! echo '$contents' | grep -q -e vireo_tests -e fit_model -e '\\.h\$'"

unpacked=$(mktemp -d)
trap 'rm -rf "$unpacked"' EXIT
dpkg-deb -x "$deb" "$unpacked"
check "manual page renders without warnings" \
    sh -c "gzip -dc '$unpacked/usr/share/man/man6/vireo.6.gz' | groff -man -Tutf8 -ww -z 2>&1 | { ! grep -q .; }"
check "binary is stripped" sh -c "! file '$unpacked/usr/games/vireo' | grep -q 'not stripped'"
answer=$(printf 'uci\nquit\n' | "$unpacked/usr/games/vireo" | grep '^id name')
check "engine answers 'id name Vireo $version x64'" test "$answer" = "id name Vireo $version x64"

if [ "$failures" -ne 0 ]; then
    echo "$failures check(s) failed"
    exit 1
fi
echo "all checks passed: $deb"
