#!/bin/sh
# The Wine prefix of the Windows tests: "start" makes it (once; about 7 s) and starts a wineserver
# that stays while the tests run; "stop" ends that server and every Windows process in the prefix.
# Without Wine both do nothing: the tests themselves say that they are skipped.
# Usage: wine_prefix.sh start|stop PREFIX
export WINEPREFIX="$2" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
command -v wine >/dev/null 2>&1 || { echo "Wine is not installed (Debian: apt-get install wine wine64)"; exit 0; }
case "$1" in
    start)
        wineserver --persistent=600 </dev/null >/dev/null 2>&1
        wineboot --init </dev/null >/dev/null 2>&1 ;;
    stop)
        wineserver --kill ;;
esac
exit 0
