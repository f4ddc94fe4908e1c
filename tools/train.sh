#!/bin/sh
# Regenerates the evaluation's weight tables (evaluation/weights.cpp) from labelled positions:
# build, fit them (tools/fit_model computes each position's features with the evaluation's own
# code), rebuild, and measure the new evaluation on the held-out positions with "vireo -score=".
#
#   tools/train.sh [--data=FILE] [--build=DIR] [--generate=COUNT] [--lopsided=COUNT]
#                  [--sample=COUNT] [--floor=N] [--play-depth=N] [--rounds=SEED,...]
#                  [--seed=N] [--depth=N] [--no-recipe] [--data-only] [fit_model options...]
#   (each value may also follow its option as the next argument: --data FILE)
#
#   --data      labelled positions, "FEN;score in pawns" per line
#               (default: ../shared/training/positions.txt beside the repository)
#   --build     build directory (default: build in the repository)
#   --generate  let stockfish label COUNT fresh positions (tools/generate_data) and fit those
#               instead of --data
#   --lopsided  add COUNT positions from lopsided games labelled by stockfish (default 20000,
#               0 for none; kept in BUILD/training and reused while COUNT, --seed and --depth
#               stay the same: about a minute of one core to make)
#   --sample    add COUNT positions that the engine meets in its own games and searches, resolved
#               and labelled by stockfish (tools/sample_positions; default 100000; 0 for none), plus enough to
#               give every number of men from 4 to 32 at least --floor of them (default 500).
#               Two samplers run side by side, one per core, with seeds N and N + 1 for the
#               round of seed N. Kept in BUILD/training and reused while COUNT, --floor, the
#               round's seed, --depth and --play-depth stay the same.
#   --play-depth   depth of the engine's own games for --sample (default 5)
#   --rounds    the sampling rounds, SEED or SEED:COMMIT, one file of --sample positions each
#               (default 20261123:4afd507,20261125:6d29ce4, the recipe; --seed N gives the single
#               round N). A round's games are played with the tables of the build that samples it:
#               a round named with a commit is sampled by a build of that commit (made from the
#               repository's history in BUILD/training/commit-COMMIT), one without by this build.
#               See RECIPE.
#   --data-only    make the data that is missing and stop before the fit
#   --seed, --depth   for the generated positions (default 1 for --generate, 20261123 for
#               --lopsided; without --rounds, --seed N also samples the single round N; depth 8:
#               the depth of stockfish's labels)
#   --no-recipe    start the fit from fit_model's own defaults instead of RECIPE (below)
#   Every other option goes to tools/fit_model (--loss=, --sigmoid=, --quiet-only, --cap=,
#   --scale=, --lambda=, --smooth=, --max-rmse=, ...); see its header. The fit also fails if it
#   does no better on held-out positions than a material-only fit.
#
# The fit starts from the recipe of the committed weights.cpp (RECIPE below) and the fit_model
# options given follow it, so that a variant names only what it changes: "--sigmoid=300" is the
# recipe with another sigmoid (a later value of an option replaces an earlier one).
# Scratch files (the held-out positions, generated data) stay in BUILD/training.
set -eu

# The recipe of the committed tables, chosen by games: quiet positions only, logistic loss with a
# sigmoid of 400 cp, the vectors of neighbouring piece counts pulled together (smoothing 100), and
# beside the shared positions 20000 of lopsided games and two rounds of 100000 that the engine met
# in its own games and searches (with at least 500 for every number of men in each). The sampled
# positions depend on the tables the engine plays with, so every round is made by one generation of
# tables: round 20261123 by the build of commit 4afd507, round 20261125 by that of commit 6d29ce4
# (the first tables fitted on a sample). Every step is deterministic (fixed seeds, depths and one
# thread), so from a fresh clone this script makes the same data files and the committed tables
# again, byte for byte; doc/training.md says how long that takes.
RECIPE="--quiet-only --loss=logistic --sigmoid=400 --smooth=100"
ROUNDS="20261123:4afd507,20261125:6d29ce4"

repo=$(cd "$(dirname "$0")/.." && pwd)
data="$repo/../shared/training/positions.txt"
build="$repo/build"
generate=""
lopsided=20000
sample=100000
floor=500
play_depth=5
rounds=""
seed=""
depth=8
fit_options=""
recipe=$RECIPE
data_only=""

# Like the programs, "--name value" and "--name=value" alike; a word that follows a fit_model option
# is its value.
while [ $# -gt 0 ]; do
    arg=$1
    shift
    case "$arg" in
        --data | --build | --generate | --lopsided | --sample | --floor | --play-depth | --rounds | --seed | --depth)
            [ $# -gt 0 ] || { echo "Missing value after '$arg'" >&2; exit 1; }
            arg="$arg=$1"
            shift ;;
    esac
    case "$arg" in
        --data=*) data=${arg#--data=} ;;
        --build=*) build=${arg#--build=} ;;
        --generate=*) generate=${arg#--generate=} ;;
        --lopsided=*) lopsided=${arg#--lopsided=} ;;
        --sample=*) sample=${arg#--sample=} ;;
        --floor=*) floor=${arg#--floor=} ;;
        --play-depth=*) play_depth=${arg#--play-depth=} ;;
        --rounds=*) rounds=${arg#--rounds=} ;;
        --seed=*) seed=${arg#--seed=} ;;
        --depth=*) depth=${arg#--depth=} ;;
        --no-recipe) recipe="" ;;
        --data-only) data_only=yes ;;
        --*) fit_options="$fit_options $arg" ;;
        *) [ -n "$fit_options" ] || { echo "Unknown option '$arg'" >&2; exit 1; }
           fit_options="$fit_options $arg" ;;
    esac
done
fit_options="$recipe$fit_options"

absolute() { (cd "$(dirname "$1")" && printf '%s/%s\n' "$(pwd)" "$(basename "$1")"); }
step() { printf '\n== %s\n' "$*"; }

# sample_positions as it was at a commit, built once from the repository's history; prints its path.
sampler_at() {
    src="$scratch/commit-$1"
    if [ ! -x "$src/build/sample_positions" ]; then
        step "Building sample_positions of commit $1 in $src" >&2
        rm -rf "$src"
        mkdir -p "$src"
        git -C "$repo" archive "$1" | tar -x -C "$src"
        cmake -S "$src" -B "$src/build" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >/dev/null
        cmake --build "$src/build" -j2 --target sample_positions >&2
    fi
    echo "$src/build/sample_positions"
}

step "Building (release) in $build"
cmake -S "$repo" -B "$build" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build" -j2 --target vireo fit_model generate_data sample_positions
mkdir -p "$build/training"
scratch=$(cd "$build/training" && pwd)

if [ -n "$generate" ]; then
    step "Labelling $generate positions with stockfish (depth $depth, seed ${seed:-1})"
    "$build/generate_data" --count="$generate" --seed="${seed:-1}" --depth="$depth" --output="$scratch/generated.txt"
    data="$scratch/generated.txt"
fi
[ -r "$data" ] || { echo "Cannot read '$data'" >&2; exit 1; }
data=$(absolute "$data")

if [ "$lopsided" != 0 ]; then
    extra="$scratch/lopsided-$lopsided-${seed:-20261123}-d$depth.txt"
    if [ ! -s "$extra" ]; then
        step "Labelling $lopsided positions of lopsided games with stockfish (depth $depth)"
        "$build/generate_data" --count="$lopsided" --seed="${seed:-20261123}" --depth="$depth" \
            --endgames=100 --lopsided=100 --output="$extra.part"
        mv "$extra.part" "$extra"
    fi
    cat "$data" "$extra" > "$scratch/combined.txt"
    data="$scratch/combined.txt"
fi

if [ "$sample" != 0 ]; then
    # --seed alone gives one round of that seed.
    [ -n "$rounds" ] || rounds=${seed:-$ROUNDS}
    cp "$data" "$scratch/with-sampled.txt.part"
    for round in $(echo "$rounds" | tr ',' ' '); do
        base=${round%%:*}
        sampled="$scratch/sampled-$sample-f$floor-$base-d$depth-p$play_depth.txt"
        if [ ! -s "$sampled" ]; then
            sampler="$build/sample_positions"
            [ "$base" = "$round" ] || sampler=$(sampler_at "${round#*:}")
            step "Sampling $sample positions from the engine's own games (round $round, depth $play_depth, floor $floor, labels at depth $depth)"
            for job in 1 2; do
                # The first sampler takes the odd one of the count and of the floor.
                "$sampler" --count=$(( (sample + 2 - job) / 2 )) --floor=$(( (floor + 2 - job) / 2 )) \
                    --seed=$(( base + job - 1 )) --depth="$play_depth" --label-depth="$depth" \
                    --output="$sampled.$job" > "$sampled.$job.log" &
                eval "pid$job=\$!"
            done
            status=0
            wait "$pid1" || status=1
            wait "$pid2" || status=1
            cat "$sampled.1.log" "$sampled.2.log"
            [ "$status" = 0 ] || { echo "Sampling failed; see $sampled.1.log and $sampled.2.log" >&2; exit 1; }
            cat "$sampled.1" "$sampled.2" > "$sampled.part"
            rm -f "$sampled.1" "$sampled.2"
            mv "$sampled.part" "$sampled"
        fi
        cat "$sampled" >> "$scratch/with-sampled.txt.part"
    done
    mv "$scratch/with-sampled.txt.part" "$scratch/with-sampled.txt"
    data="$scratch/with-sampled.txt"
fi

if [ -n "$data_only" ]; then
    step "Data ready: $data"
    exit 0
fi

step "Fitting $data ($fit_options )"
# shellcheck disable=SC2086 # the options are words
"$build/fit_model" --positions="$data" --weights="$repo/evaluation/weights.cpp" --heldout="$scratch/heldout.txt" \
    $fit_options

step "Rebuilding with the new weights"
cmake --build "$build" -j2 --target vireo

step "Scoring the held-out positions ($scratch/heldout.txt)"
(cd "$scratch" && "$build/vireo" -score="$scratch/heldout.txt" > score.txt)
grep -v '^delta = ' "$scratch/score.txt"
