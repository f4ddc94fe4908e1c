// Fits the evaluation's linear model to labelled positions and writes it out as evaluation/weights.cpp.
//
//   fit_model [--positions=FILE] [--weights=FILE] [--heldout=FILE]
//             [--loss=logistic|mse] [--sigmoid=CP] [--iterations=N] [--quiet-only] [--cap=CP]
//             [--scale=X] [--lambda=X] [--block=N] [--every=N] [--max-rmse=X] [--smooth=S]
//   (a value may also follow its option as the next argument: --sigmoid 400)
//
// Defaults: positions.txt, weights.cpp, heldout.txt, logistic loss with a sigmoid
// of 400 cp and 8 Gauss-Newton steps, every position, no cap, scale 1, ridge 5, blocks of 1000
// lines with every 10th held out, no rmse limit, no smoothing. Fails if the held-out rmse is above --max-rmse
// or no better than that of a material-only fit.
//
// The input is the labelled positions ("FEN;score in pawns", one per line). Each line is read by the
// engine's own line reader, which skips what "vireo -analyse=" skips (side to move in check,
// unreadable lines), and its features are computed by the evaluation's own code: the rows fitted
// are those "-analyse=" writes (tools/fit/labelled_rows.h; a test holds the two together).
//
// One fit per piece count 4..32: 127 feature weights plus a constant term, and with 4 to 6 men one
// value per material class, entering with the sign the row's class field carries.
//
// What the fit aims at. The engine plays with this evaluation, so what counts is telling better
// positions from worse ones near the balance, not the size of a decisive advantage:
// - The logistic loss compares win expectations, sigmoid(score / CP), rather than centipawns: a
//   label of +12 pawns and a prediction of +8 cost almost nothing, while 0.5 pawns of error in a
//   level position costs as much as ever. It is minimised by Gauss-Newton steps from the
//   least-squares fit, each one a weighted ridge regression.
// - --quiet-only fits only positions where no capture or promotion changes the material balance
//   (a capture search over material alone leaves it where it stands): elsewhere the label carries
//   the outcome of a pending exchange, which no static feature can see. Held-out errors are still
//   measured on every held-out position.
// - --smooth=S pulls the weight vectors of neighbouring piece counts toward each other (see
//   fitSmoothed); 0 fits every count on its own.
// - --scale multiplies every weight and class value: the search's fixed pruning margins are in
//   centipawns, so the size of a pawn decides how often they fire.
// Feature 0 is the sum of the pawn-rank and piece-ring features, so the system is singular
// without the ridge term; the ridge picks the smallest weights, which spreads material value
// between the piece-count weight and the per-square weights.
//
// Held out: every --every-th block of --block consecutive position lines (the lines of one game
// are consecutive, so a game rarely straddles the split). Those lines are written unchanged to
// --heldout for "vireo -score=". The guard against a useless fit compares with a material-only
// model fitted the same way per piece count: the counts of pawns, knights, bishops, rooks and
// queens and a constant. Everything is single-threaded and in file order, so a given data file
// always gives the same tables, byte for byte.
#include <cstdio>
#include <string>
#include <vector>
#include "../engine/board/board.h"
#include "../sliders/sliders.h"
#include "fit/labelled_rows.h"
#include "fit/model_fit.h"
#include "option_values.h"

namespace {

using namespace vireo_fit;

// Reads "--name=value" and "--name value" alike.
bool parseOptions(int argc, char** argv, Options* options) {
    OptionReader reader(argc, argv);
    while (reader.next()) {
        const std::string& name = reader.name();
        if (name == "--quiet-only" && reader.isSwitch()) {
            options->quiet_only = true;
            continue;
        }
        std::string v;
        bool ok = reader.value(v), known = true;
        const char* text = v.c_str();
        if (name == "--positions") options->positions = v;
        else if (name == "--weights") options->weights = v;
        else if (name == "--heldout") options->heldout = v;
        else if (name == "--loss") {
            ok = ok && (v == "logistic" || v == "mse");
            options->logistic = v == "logistic";
        } else if (name == "--sigmoid") ok = ok && parseDouble(text, &options->sigmoid) && options->sigmoid > 0;
        else if (name == "--iterations") ok = ok && parseLong(text, &options->iterations) && options->iterations >= 0;
        else if (name == "--cap") ok = ok && parseDouble(text, &options->cap) && options->cap >= 0;
        else if (name == "--scale") ok = ok && parseDouble(text, &options->scale) && options->scale > 0;
        else if (name == "--lambda") ok = ok && parseDouble(text, &options->lambda);
        else if (name == "--block") ok = ok && parseLong(text, &options->block);
        else if (name == "--every") ok = ok && parseLong(text, &options->every);
        else if (name == "--max-rmse") ok = ok && parseDouble(text, &options->max_rmse);
        else if (name == "--smooth") ok = ok && parseDouble(text, &options->smooth) && options->smooth >= 0;
        else if (name == "--quiet-only") ok = false; // a switch given a value
        else known = false;
        if (!known) {
            fprintf(stderr, "Unknown option '%s'\n", name.c_str());
            return false;
        }
        if (!ok) {
            fprintf(stderr, "Bad value for '%s'\n", name.c_str());
            return false;
        }
    }
    bool sound = options->block >= 1 && options->every >= 2 && options->lambda > 0;
    if (!sound) fprintf(stderr, "Need --block >= 1, --every >= 2 and --lambda > 0\n");
    return sound;
}

} // namespace

int main(int argc, char** argv) {
    initColours();
    initSliders();
    Options options;
    if (!parseOptions(argc, argv, &options)) return 1;
    std::vector<Row> rows;
    if (int status = readRows(options, &rows)) return status;
    return fitAndWrite(options, rows);
}
