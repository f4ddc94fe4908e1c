#!/bin/sh
# A short match in a real GUI: xboard, under a virtual X display (Xvfb), runs Vireo through polyglot
# with the sample configuration doc/vireo.ini, against Glaurung, also through polyglot. Then it
# checks that every game ended by the rules (mate, stalemate, a draw rule, resignation or
# adjudication: no time forfeit, no unfinished game), that no illegal move was made, and that
# neither xboard's debug log nor polyglot's log of Vireo holds a protocol complaint.
# Installs Debian's xboard, polyglot, xvfb and glaurung if they are missing. Not run in CI.
# Usage: bench/xboard_match.sh [ENGINE] [GAMES] [MINUTES:SECONDS] [INCREMENT]
#        (default: build/vireo, 4 games of 0:20 + 0.2 s each, a few minutes on one core)
set -eu
cd "$(dirname "$0")/.."
engine=$(realpath "${1:-build/vireo}")
games=${2:-4}
base=${3:-0:20}
increment=${4:-0.2}
[ -x "$engine" ] || { echo "no engine at $engine (build it first)"; exit 1; }

missing=""
for p in xboard polyglot xvfb xauth glaurung; do
    dpkg -s "$p" >/dev/null 2>&1 || missing="$missing $p"
done
if [ -n "$missing" ]; then
    sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    export DEBIAN_FRONTEND=noninteractive
    $sudo apt-get install -y --no-install-recommends $missing ||
        { $sudo apt-get update && $sudo apt-get install -y --no-install-recommends $missing; }
fi

work=$(mktemp -d /tmp/vireo_xboard_XXXXXX)
# The committed sample configuration, pointed at the engine under test, with polyglot's log on.
sed -e "s|^EngineCommand = .*|EngineCommand = $engine|" -e "s|^EngineDir = .*|EngineDir = $work|" \
    -e "s|^Log = .*|Log = true|" -e "s|^LogFile = .*|LogFile = $work/vireo_polyglot.log|" \
    doc/vireo.ini > "$work/vireo.ini"
grep -q "^EngineCommand = $engine\$" "$work/vireo.ini" || { echo "doc/vireo.ini has no EngineCommand line"; exit 1; }
# The opponent on one thread, like Vireo, and without pondering.
cat > "$work/glaurung.ini" <<EOF
[PolyGlot]
EngineName = Glaurung
EngineCommand = /usr/games/glaurung
EngineDir = $work
Book = false
Log = true
LogFile = $work/glaurung_polyglot.log
Resign = false
[Engine]
Threads = 1
Hash = 32
Ponder = false
EOF

echo "xboard match: $engine against Glaurung, both through polyglot, $games games at $base + $increment s, in $work"
# xboard keeps its settings in $HOME/.xboardrc: a scratch home leaves the user's alone.
# Pondering is off: Vireo does not ponder.
start=$(date +%s)
status=0
HOME=$work timeout 1800 xvfb-run -a -s "-screen 0 1024x768x24" \
    /usr/games/xboard -fcp "/usr/games/polyglot $work/vireo.ini" -fd "$work" \
    -scp "/usr/games/polyglot $work/glaurung.ini" -sd "$work" \
    -matchGames "$games" -tc "$base" -inc "$increment" -xponder -autoCallFlag true \
    -defaultHashSize 64 -defaultCacheSizeEGTB 0 -egtFormats "" \
    -sgf "$work/games.pgn" -debug -nameOfDebugFile "$work/xboard.debug" -engineDebugOutput 2 \
    -xexit -saveSettingsOnExit false >"$work/xboard.out" 2>&1 || status=$?
echo "xboard ended with status $status after $(( $(date +%s) - start )) s"

failures=0
fail() { echo "FAILED: $1"; failures=$((failures + 1)); }

touch "$work/games.pgn" "$work/xboard.debug" "$work/vireo_polyglot.log"
played=$(grep -c '^\[Result ' "$work/games.pgn" || true)
[ "$played" -eq "$games" ] || fail "$played of $games games recorded in $work/games.pgn"
echo "== games"
# Each game: the players, the result and xboard's reason, e.g. {Black mates} or {Draw by repetition}.
awk '/^\[White /{w=$0; sub(/^\[White "/,"",w); sub(/"\]/,"",w)}
     /^\[Black /{b=$0; sub(/^\[Black "/,"",b); sub(/"\]/,"",b)}
     /\{[^}]*\} *(1-0|0-1|1\/2-1\/2|\*) *$/ {match($0, /\{[^}]*\} *[^ ]+ *$/); print w " - " b ": " substr($0, RSTART)}' \
    "$work/games.pgn"
grep -q '^\[Result "\*"\]' "$work/games.pgn" && fail "an unfinished game"
grep -i -E '\{[^}]*(on time|forfeit|illegal|false|crash|disconnect|exit|abort)[^}]*\} *[-*/0-9]+ *$' "$work/games.pgn" &&
    fail "a game ended abnormally (see above)"

echo "== logs"
# xboard's debug log: what it sends (">first :") is left out, the rest is what the engines said and
# what xboard itself reports.
grep -n -i -E 'illegal|unknown|protocol|error|not legal|invalid|not supported' "$work/xboard.debug" |
    grep -v -E '^[0-9]+:[0-9]+ >' | head -20 > "$work/xboard.complaints" || true
[ -s "$work/xboard.complaints" ] && { cat "$work/xboard.complaints"; fail "complaints in xboard's debug log"; }
# Polyglot's log of Vireo: whatever Vireo did not understand, and any report of its own checks.
grep -n -E 'Unknown command|Invalid position|Invalid perft|invalid size|Assertion|Unknown argument|ERROR|[Ee]rror' \
    "$work/vireo_polyglot.log" | head -20 > "$work/polyglot.complaints" || true
[ -s "$work/polyglot.complaints" ] && { cat "$work/polyglot.complaints"; fail "complaints in polyglot's log of Vireo"; }
# The engines' error streams go to xboard's own output.
grep -n -E 'Assertion|Segmentation|core dumped|Aborted' "$work/xboard.out" && fail "an engine failed (xboard.out)"
[ "$status" -eq 0 ] || fail "xboard ended with status $status"

echo "== score"
awk '/^\[White /{w=$0} /^\[Black /{b=$0} /^\[Result /{
         s = ($0 ~ /"1-0"/) ? 1 : ($0 ~ /"0-1"/) ? 0 : 0.5
         if (w ~ /Vireo/) vs += s; else if (b ~ /Vireo/) vs += 1 - s
         n++ }
     END {printf "Vireo %.1f / %d against Glaurung\n", vs, n}' "$work/games.pgn"
if [ "$failures" -ne 0 ]; then
    echo "$failures check(s) failed; logs kept in $work"
    exit 1
fi
echo "all $games games ended normally; no illegal move, no protocol complaint (logs in $work)"
