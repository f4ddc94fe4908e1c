#!/bin/sh
# Regenerates the evaluation's weight tables (evaluation/weights.cpp) from labelled positions:
# build, write the feature rows with "vireo -analyse=", fit them, rebuild, and measure the new
# evaluation on the held-out positions with "vireo -score=".
#
#   tools/train.sh [--data=FILE] [--build=DIR] [--lambda=X] [--max-rmse=X]
#                  [--generate=COUNT [--seed=N] [--depth=N]]
#
#   --data      labelled positions, "FEN;score in pawns" per line
#               (default: ../shared/training/positions.txt beside the repository)
#   --build     build directory (default: build in the repository)
#   --generate  first let stockfish label COUNT fresh positions (tools/generate_data) and fit those
#   --lambda    ridge strength of the fit (default: fit_model's)
#   --max-rmse  fail if the fitted model's held-out rmse in centipawns is above this
#               (default 250 for the shared positions, none for generated data); the fit also
#               fails if it does no better on held-out positions than material alone
#
# Scratch files (features.csv, the held-out positions, generated data) stay in BUILD/training.
set -eu

repo=$(cd "$(dirname "$0")/.." && pwd)
data="$repo/../shared/training/positions.txt"
build="$repo/build"
lambda=""
max_rmse=""
generate=""
seed=1
depth=8

for arg in "$@"; do
    case "$arg" in
        --data=*) data=${arg#--data=} ;;
        --build=*) build=${arg#--build=} ;;
        --lambda=*) lambda=${arg#--lambda=} ;;
        --max-rmse=*) max_rmse=${arg#--max-rmse=} ;;
        --generate=*) generate=${arg#--generate=} ;;
        --seed=*) seed=${arg#--seed=} ;;
        --depth=*) depth=${arg#--depth=} ;;
        *) echo "Unknown option '$arg'" >&2; exit 1 ;;
    esac
done

absolute() { (cd "$(dirname "$1")" && printf '%s/%s\n' "$(pwd)" "$(basename "$1")"); }
step() { printf '\n== %s\n' "$*"; }

step "Building (release) in $build"
cmake -S "$repo" -B "$build" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build" -j2 --target vireo fit_model generate_data
mkdir -p "$build/training"
scratch=$(cd "$build/training" && pwd)

if [ -n "$generate" ]; then
    step "Labelling $generate positions with stockfish (depth $depth, seed $seed)"
    "$build/generate_data" --count="$generate" --seed="$seed" --depth="$depth" --output="$scratch/generated.txt"
    data="$scratch/generated.txt"
fi
if [ -z "$max_rmse" ] && [ -z "$generate" ]; then max_rmse=250; fi
[ -r "$data" ] || { echo "Cannot read '$data'" >&2; exit 1; }
data=$(absolute "$data")

step "Writing feature rows of $data"
(cd "$scratch" && "$build/vireo" -analyse="$data")

step "Fitting"
"$build/fit_model" --positions="$data" --features="$scratch/features.csv" \
    --weights="$repo/evaluation/weights.cpp" --heldout="$scratch/heldout.txt" \
    ${max_rmse:+--max-rmse="$max_rmse"} ${lambda:+--lambda="$lambda"}

step "Rebuilding with the new weights"
cmake --build "$build" -j2 --target vireo

step "Scoring the held-out positions ($scratch/heldout.txt)"
(cd "$scratch" && "$build/vireo" -score="$scratch/heldout.txt" > score.txt)
grep -v '^delta = ' "$scratch/score.txt"
