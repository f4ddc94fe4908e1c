// Fits the evaluation's linear model to labelled positions and writes it out as evaluation/weights.cpp.
//
//   fit_model [--positions=FILE] [--features=FILE] [--weights=FILE] [--heldout=FILE]
//             [--loss=logistic|mse] [--sigmoid=CP] [--iterations=N] [--quiet-only] [--cap=CP]
//             [--scale=X] [--lambda=X] [--block=N] [--every=N] [--max-rmse=X] [--smooth=S]
//   (a value may also follow its option as the next argument: --sigmoid 400)
//
// Defaults: positions.txt, features.csv, weights.cpp, heldout.txt, logistic loss with a sigmoid
// of 400 cp and 8 Gauss-Newton steps, every position, no cap, scale 1, ridge 5, blocks of 1000
// lines with every 10th held out, no rmse limit, no smoothing. Fails if the held-out rmse is above --max-rmse
// or no better than that of a material-only fit.
//
// Inputs are the labelled positions ("FEN;score in pawns", one per line) and the rows that
// "vireo -analyse=" wrote for them (features.csv). A row holds differences only, so the piece
// count that selects the weight vector comes from the FEN of the matching position line.
// The engine skips some lines (side to move in check, unreadable ones); its own line reader
// decides here too, and every pairing is confirmed by the row's reference score and its feature 0.
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
#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>
#include <sys/stat.h>
#include "../engine/board/board.h"
#include "../evaluation/training_tools.h"
#include "../evaluation/features.h"
#include "../evaluation/model.h"
#include "../sliders/sliders.h"
#include "file_handle.h"
#include "material_search.h"
#include "normal_equations.h"
#include "option_values.h"

namespace {

using namespace vireo_tools;

constexpr int FEATURES = NUM_FEATURES;
constexpr int WEIGHTS = MODEL_WEIGHTS; // features plus the constant term
constexpr int MIN_MEN = MIN_MODEL_MEN;
constexpr int MAX_MEN = MAX_MODEL_MEN;
constexpr int COUNTS = MODEL_COUNTS;
constexpr int CLASS_COUNT[3] = {int(endgame_keys_4.size()), int(endgame_keys_5.size()), int(endgame_keys_6.size())};

struct Options {
    std::string positions = "positions.txt";
    std::string features = "features.csv";
    std::string weights = "weights.cpp";
    std::string heldout = "heldout.txt";
    bool logistic = true;
    double sigmoid = 400; // centipawns per unit of the logistic's argument
    long iterations = 8;
    bool quiet_only = false;
    double cap = 0; // 0: labels as they are
    double scale = 1;
    double lambda = 5.0;
    long block = 1000;
    long every = 10;
    double max_rmse = 0; // 0: no check
    double smooth = 0;   // 0: every piece count fitted on its own
};

int classCount(int men) { return men >= 4 && men <= 6 ? CLASS_COUNT[men - 4] : 0; }

// ---- The labelled rows, kept in memory for the repeated passes of the logistic fit. ----

struct Row {
    int16_t f[FEATURES];
    int16_t material_class; // signed, as in the feature row; 0 outside 4..6 men
    int32_t label;          // centipawns
    uint8_t men;
    bool held;
    bool quiet;
};

// ---- Weighted ridge regression over sparse rows. ----

bool solve(System& system, double lambda, std::vector<double>* x) {
    for (int i = 0; i < system.n; i++) system.a[size_t(i) * system.n + i] += lambda;
    if (!choleskySolve(system.a, system.b, system.n)) return false;
    *x = system.b;
    return true;
}

// A model's inputs for one row, as (index, value) pairs; the unknowns are laid out as
// [127 feature weights, constant, class values] for the full model and
// [pawns, knights, bishops, rooks, queens, constant] for the material model.
struct Inputs {
    int index[WEIGHTS + 1];
    double value[WEIGHTS + 1];
    int count = 0;
};

void fullInputs(const Row& row, Inputs* in) {
    in->count = 0;
    for (int i = 0; i < FEATURES; i++)
        if (row.f[i]) {
            in->index[in->count] = i;
            in->value[in->count++] = row.f[i];
        }
    in->index[in->count] = FEATURES;
    in->value[in->count++] = 1.0;
    if (row.material_class) {
        in->index[in->count] = WEIGHTS + std::abs(row.material_class);
        in->value[in->count++] = row.material_class > 0 ? 1.0 : -1.0;
    }
}

constexpr int MATERIAL_UNKNOWNS = 6;

void materialInputs(const Row& row, Inputs* in) {
    // The pawns by rank and the knights to queens by ring add up to the count differences.
    double counts[5] = {0, 0, 0, 0, 0};
    const FeatureBlock& pawns = feature_blocks[PAWN_RANKS];
    for (int i = pawns.first; i < pawns.first + pawns.length; i++) counts[0] += row.f[i];
    for (int t = KNIGHT; t <= QUEEN; t++)
        for (int d = 0; d < 7; d++) counts[t - PAWN] += row.f[ringFeature(t, d)];
    in->count = 0;
    for (int i = 0; i < 5; i++) {
        in->index[in->count] = i;
        in->value[in->count++] = counts[i];
    }
    in->index[in->count] = 5;
    in->value[in->count++] = 1.0;
}

using InputsOf = void (*)(const Row&, Inputs*);

// The model's score of a row, with the weights rounded to the floats the engine stores.
double predict(const std::vector<double>& w, const Inputs& in) {
    double s = 0;
    for (int p = 0; p < in.count; p++) s += double(float(w[in.index[p]])) * in.value[p];
    return s;
}

double sigmoid(double x) { return 1.0 / (1.0 + std::exp(-x)); }

struct Model {
    InputsOf inputs;
    int unknowns;
};

// The normal equations of least squares on (optionally capped) labels, without the ridge.
void squaresSystem(const std::vector<const Row*>& rows, const Model& model, double cap, System* system) {
    system->init(model.unknowns);
    Inputs in;
    for (const Row* row : rows) {
        model.inputs(*row, &in);
        double target = cap > 0 ? std::clamp(double(row->label), -cap, cap) : double(row->label);
        system->add(in.index, in.value, in.count, target);
    }
}

// Least squares on (optionally capped) labels.
bool fitSquares(const std::vector<const Row*>& rows, const Model& model, double lambda, double cap,
                std::vector<double>* w) {
    System system;
    squaresSystem(rows, model, cap, &system);
    return solve(system, lambda, w);
}

// Gauss-Newton on sum (sigmoid(label / k) - sigmoid(score / k))^2: linearised around the current
// weights w each step is a weighted least-squares fit, whose normal equations (without the ridge)
// this builds.
void logisticStep(const std::vector<const Row*>& rows, const Model& model, double k, const std::vector<double>& w,
                  System* system) {
    system->init(model.unknowns);
    Inputs in;
    for (const Row* row : rows) {
        model.inputs(*row, &in);
        double s = predict(w, in);
        double p = sigmoid(s / k), target = sigmoid(row->label / k);
        double g = p * (1 - p) / k;
        for (int q = 0; q < in.count; q++) in.value[q] *= g;
        system->add(in.index, in.value, in.count, target - p + g * s);
    }
}

// The logistic fit from the least-squares one. The ridge is scaled to the slope at the balance,
// so that it weighs as much as in the centipawn fit.
bool fitLogistic(const std::vector<const Row*>& rows, const Model& model, double lambda, double k, long iterations,
                 std::vector<double>* w) {
    if (!fitSquares(rows, model, lambda, 0, w)) return false;
    double slope = 0.25 / k;
    for (long step = 0; step < iterations; step++) {
        System system;
        logisticStep(rows, model, k, *w, &system);
        if (!solve(system, lambda * slope * slope, w)) return false;
    }
    return true;
}

// ---- All piece counts at once, neighbours pulled together. ----
//
// A capture moves a position from one weight vector to the next, so noise between neighbours
// turns into wrong trade decisions, and a piece count with little data gets a vector of its own
// all the same. With --smooth=S the fit minimises, besides each count's loss and ridge, S times
// the squared differences of the 128 weights of neighbouring counts; the class values, which
// belong to one count each, are left out of it. The counts are then solved together, as a chain
// of systems (normal_equations.h); in the logistic steps S is scaled to the slope like the ridge.

struct CountData {
    std::vector<const Row*> rows;
    Model model;
};

bool solveSmoothed(std::vector<System>& systems, double lambda, double smooth, std::vector<std::vector<double>>* w) {
    for (System& system : systems) system.addToDiagonal(0, system.n, lambda);
    return solveChain(systems, WEIGHTS, smooth, w);
}

bool fitSmoothed(const std::vector<CountData>& counts, const Options& options, std::vector<std::vector<double>>* w) {
    std::vector<System> systems(counts.size());
    double cap = options.logistic ? 0 : options.cap;
    for (size_t c = 0; c < counts.size(); c++) squaresSystem(counts[c].rows, counts[c].model, cap, &systems[c]);
    if (!solveSmoothed(systems, options.lambda, options.smooth, w)) return false;
    if (!options.logistic) return true;
    double k = options.sigmoid, slope = 0.25 / k;
    for (long step = 0; step < options.iterations; step++) {
        for (size_t c = 0; c < counts.size(); c++)
            logisticStep(counts[c].rows, counts[c].model, k, (*w)[c], &systems[c]);
        if (!solveSmoothed(systems, options.lambda * slope * slope, options.smooth * slope * slope, w)) return false;
    }
    return true;
}

// ---- Errors ----

struct Errors {
    long rows = 0;
    double squares = 0;  // centipawns
    double logistic = 0; // win expectation
    void add(double score, int label, double k) {
        double e = std::trunc(score) - label;
        double p = sigmoid(score / k) - sigmoid(label / k);
        rows++;
        squares += e * e;
        logistic += p * p;
    }
    double rmse() const { return rows ? std::sqrt(squares / rows) : 0.0; }
    double logisticRmse() const { return rows ? std::sqrt(logistic / rows) : 0.0; }
};

// ---- Position lines, read with the engine's own filter so that they pair up with its rows. ----

struct Position {
    int men;
    int men_to_move; // men of the side to move, king included
};

bool readPositionLine(const char* line, Position* pos, int* centipawns) {
    if (!readLabelledPosition(line, centipawns)) return false;
    pos->men = popcount(curr_ply->occupancy);
    pos->men_to_move = popcount(curr_ply->player->pieces[0]);
    return true;
}

// Splits one feature row; returns the number of fields, or -1 if it is not a row of integers.
int parseRow(char* line, int* fields, int capacity) {
    int n = 0;
    char* p = line;
    while (true) {
        char* end;
        errno = 0;
        long v = strtol(p, &end, 10);
        if (end == p || errno || n == capacity) return -1;
        fields[n++] = int(v);
        p = end;
        if (*p == ';') {
            p++;
            continue;
        }
        while (*p == '\r' || *p == '\n' || *p == ' ') p++;
        return *p ? -1 : n;
    }
}

bool readLine(FILE* file, std::string* line) {
    line->clear();
    char buffer[4096];
    while (fgets(buffer, sizeof buffer, file)) {
        *line += buffer;
        if (!line->empty() && line->back() == '\n') return true;
    }
    return !line->empty();
}

// ---- Output ----

struct Fit {
    std::vector<double> weights; // 128
    std::vector<double> bias;    // per class
};

void printFloat(FILE* out, double value) {
    char text[32];
    float f = float(value);
    if (f == 0) f = 0; // no negative zeros in the table
    snprintf(text, sizeof text, "%.9g", f);
    if (!strpbrk(text, ".e")) strcat(text, ".0");
    fprintf(out, "%sf", text);
}

std::string describe(const Options& o) {
    char text[256];
    if (o.logistic) snprintf(text, sizeof text, "logistic loss, sigmoid %g cp, %ld steps", o.sigmoid, o.iterations);
    else
        snprintf(text, sizeof text, "least squares%s",
                 o.cap > 0 ? (", labels capped at " + std::to_string(int(o.cap))).c_str() : "");
    std::string out = text;
    if (o.quiet_only) out += ", quiet positions";
    snprintf(text, sizeof text, ", ridge %g", o.lambda);
    out += text;
    if (o.smooth > 0) {
        snprintf(text, sizeof text, ", smoothed across piece counts %g", o.smooth);
        out += text;
    }
    if (o.scale != 1) {
        snprintf(text, sizeof text, ", scaled by %g", o.scale);
        out += text;
    }
    return out;
}

// Writes beside the target and renames, so that a failed run never leaves half a table behind. A
// target that is not a regular file (/dev/null, a pipe) is written in place: a rename would replace
// the device or pipe with a file.
bool writeWeights(const std::string& name, const Fit fits[COUNTS], long samples, const Options& options) {
    struct stat target;
    bool in_place = stat(name.c_str(), &target) == 0 && !S_ISREG(target.st_mode);
    std::string temporary = in_place ? name : name + ".tmp";
    FILE* out = fopen(temporary.c_str(), "w");
    if (!out) return false;
    fprintf(out,
            "// Generated by tools/fit_model (%s; fitted on %ld positions);\n"
            "// regenerate with tools/train.sh. Do not edit by hand.\n"
            "#include \"model.h\"\n\n",
            describe(options).c_str(), samples);
    fprintf(out, "// One vector per piece count 4..32: 127 feature weights, then the constant term.\n");
    fprintf(out, "const float eval_weights[%d][%d] = {\n", COUNTS, WEIGHTS);
    for (int k = 0; k < COUNTS; k++) {
        fprintf(out, "    { // %d men", k + MIN_MEN);
        for (int i = 0; i < WEIGHTS; i++) {
            fprintf(out, i % 8 == 0 ? "\n        " : " ");
            printFloat(out, fits[k].weights[i]);
            fprintf(out, ",");
        }
        fprintf(out, "\n    },\n");
    }
    fprintf(out, "};\n\n");
    fprintf(out, "// Value of each material class of 4, 5 and 6 men, for the side with the larger signature.\n");
    for (int men = 4; men <= 6; men++) {
        const Fit& fit = fits[men - MIN_MEN];
        fprintf(out, "const float endgame_bias_%d[%d] = {", men, CLASS_COUNT[men - 4]);
        for (int c = 0; c < CLASS_COUNT[men - 4]; c++) {
            fprintf(out, c % 8 == 0 ? "\n    " : " ");
            printFloat(out, fit.bias[c]);
            fprintf(out, ",");
        }
        fprintf(out, "\n};\n\n");
    }
    bool ok = !ferror(out);
    ok = fclose(out) == 0 && ok;
    if (in_place) return ok;
    if (ok && rename(temporary.c_str(), name.c_str()) == 0) return true;
    remove(temporary.c_str());
    return false;
}

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
        else if (name == "--features") options->features = v;
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
    if (options->block < 1 || options->every < 2 || !(options->lambda > 0)) {
        fprintf(stderr, "Need --block >= 1, --every >= 2 and --lambda > 0\n");
        return false;
    }
    return true;
}

struct Band {
    const char* name;
    int low, high;
};
const Band BANDS[] = {{"4-6", 4, 6}, {"7-16", 7, 16}, {"17-32", 17, 32}, {"all", 4, 32}};

struct Scored {
    Errors full[2], material[2], quiet_full; // [train, held]
};

// Errors of the written model and of the material model, per band, on every row.
void printErrors(const std::vector<Row>& rows, const Fit full[COUNTS], const std::vector<double> material[COUNTS],
                 double k, double* held_rmse, double* held_material_rmse) {
    // The unknowns of each piece count laid out as the full model's inputs index them.
    std::vector<double> unknowns[COUNTS];
    for (int c = 0; c < COUNTS; c++) {
        unknowns[c] = full[c].weights;
        unknowns[c].insert(unknowns[c].end(), full[c].bias.begin(), full[c].bias.end());
    }
    Scored bands[4];
    Inputs in;
    for (const Row& row : rows) {
        int c = row.men - MIN_MEN;
        fullInputs(row, &in);
        double s = predict(unknowns[c], in);
        materialInputs(row, &in);
        double m = predict(material[c], in);
        for (int b = 0; b < 4; b++) {
            if (row.men < BANDS[b].low || row.men > BANDS[b].high) continue;
            bands[b].full[row.held].add(s, row.label, k);
            bands[b].material[row.held].add(m, row.label, k);
            if (row.held && row.quiet) bands[b].quiet_full.add(s, row.label, k);
        }
    }
    printf("%-6s %9s %9s %11s %11s %11s %11s %12s %12s\n", "men", "train", "held-out", "train rmse", "held rmse",
           "train mat.", "held mat.", "held logist.", "held quiet");
    for (int b = 0; b < 4; b++) {
        const Scored& s = bands[b];
        printf("%-6s %9ld %9ld %11.2f %11.2f %11.2f %11.2f %12.5f %12.2f\n", BANDS[b].name, s.full[0].rows,
               s.full[1].rows, s.full[0].rmse(), s.full[1].rmse(), s.material[0].rmse(), s.material[1].rmse(),
               s.full[1].logisticRmse(), s.quiet_full.rmse());
    }
    *held_rmse = bands[3].full[1].rmse();
    *held_material_rmse = bands[3].material[1].rmse();
}

void printTellingWeights(const Fit full[COUNTS], const std::vector<double> material[COUNTS]) {
    printf("\nweights   piece count  bare king  constant   pawn value (rel. ranks 2..7, not passed / passed)\n");
    for (int men : {4, 5, 6, 8, 10, 16, 24, 31, 32}) {
        const std::vector<double>& w = full[men - MIN_MEN].weights;
        double piece = w[featureIndex(PIECE_COUNT)];
        printf("%2d men  %11.2f %10.2f %9.2f  ", men, piece, w[featureIndex(BARE_KING)], w[FEATURES]);
        for (int r = 2; r <= 7; r++)
            printf(" %4.0f/%-4.0f", piece + w[pawnRankFeature(r, false)], piece + w[pawnRankFeature(r, true)]);
        printf("\n");
    }
    const std::vector<double>& w = full[10 - MIN_MEN].weights;
    printf("10 men: pawn-rank weights (relative ranks 2..6, not passed and passed) =");
    for (int r = 2; r <= 6; r++) printf(" %.1f %.1f", w[pawnRankFeature(r, false)], w[pawnRankFeature(r, true)]);
    double piece = w[featureIndex(PIECE_COUNT)];
    printf("\n10 men: knight/bishop/rook/queen on ring 3 = %.0f %.0f %.0f %.0f (with the piece-count weight)\n",
           piece + w[ringFeature(KNIGHT, 3)], piece + w[ringFeature(BISHOP, 3)], piece + w[ringFeature(ROOK, 3)],
           piece + w[ringFeature(QUEEN, 3)]);
    const std::vector<double>& m = material[10 - MIN_MEN];
    printf("10 men, material model: pawn %.0f knight %.0f bishop %.0f rook %.0f queen %.0f\n", m[0], m[1], m[2], m[3],
           m[4]);
}

// A feature row split into its fields: the class field when the row has one, the features and the
// reference score.
struct RowFields {
    int fields[FEATURES + 3];
    int count = 0;
    bool has_class = false;
    int material_class = 0;
    const int* f = nullptr;
    int reference = 0;
};

bool splitRow(std::string& text, RowFields* row) {
    row->count = parseRow(text.data(), row->fields, FEATURES + 3);
    if (row->count != FEATURES + 1 && row->count != FEATURES + 2) return false;
    row->has_class = row->count == FEATURES + 2;
    row->f = row->fields + row->has_class;
    row->material_class = row->has_class ? row->fields[0] : 0;
    row->reference = row->fields[row->count - 1];
    return true;
}

// A bare king with every neighbouring square attacked (stalemate) has all features zeroed.
bool isZeroedStalemate(const RowFields& row, const Position& pos) {
    return pos.men_to_move == 1 && std::all_of(row.f, row.f + FEATURES, [](int x) { return x == 0; });
}

// The row belongs to the position line only if it agrees on everything the line decides.
bool rowMatches(const RowFields& row, const Position& pos, int centipawns) {
    return (row.reference == centipawns || row.reference == 0) &&
           (row.f[0] == 2 * pos.men_to_move - pos.men || isZeroedStalemate(row, pos)) &&
           row.has_class == (pos.men >= 4 && pos.men <= 6);
}

struct RowCounts {
    long lines = 0, skipped = 0, unmatched = 0, out_of_range = 0, stalemates = 0, quiet = 0;
};

// The files of readRows, each closed however reading ends. They are opened in order and no further
// once one fails, so that a missing input leaves the held-out file as it was.
struct RowFiles {
    FileHandle positions, features, heldout;
};

bool openRowFiles(const Options& options, RowFiles* files) {
    const std::string* failed = nullptr;
    if (!(files->positions = openFile(options.positions, "r"))) failed = &options.positions;
    else if (!(files->features = openFile(options.features, "r"))) failed = &options.features;
    else if (!(files->heldout = openFile(options.heldout, "w"))) failed = &options.heldout;
    if (failed) fprintf(stderr, "Cannot open '%s'\n", failed->c_str());
    return !failed;
}

// The row of a paired position line for the fit, or false (with a message) for a feature out of range.
bool makeRow(const RowFields& fields, const Position& pos, const Options& options, long line, Row* row) {
    for (int i = 0; i < FEATURES; i++) {
        if (fields.f[i] < INT16_MIN || fields.f[i] > INT16_MAX) {
            fprintf(stderr, "Feature %d out of range in '%s' (position line %ld)\n", i, options.features.c_str(), line);
            return false;
        }
        row->f[i] = int16_t(fields.f[i]);
    }
    row->material_class = int16_t(fields.material_class);
    row->label = fields.reference;
    row->men = uint8_t(pos.men);
    return true;
}

// Reads the position lines and their feature rows; writes the held-out lines. 0 on success,
// else the exit status.
int readRows(const Options& options, std::vector<Row>* rows) {
    RowFiles files;
    if (!openRowFiles(options, &files)) return 1;
    std::string line, row_text;
    RowFields fields;
    bool have_row = false;
    RowCounts counts;
    while (readLine(files.positions.get(), &line)) {
        long index = counts.lines++;
        bool is_held = (index / options.block) % options.every == options.every - 1;
        if (is_held) fputs(line.c_str(), files.heldout.get());
        if (line.back() != '\n' && is_held) fputc('\n', files.heldout.get());

        Position pos;
        int centipawns;
        if (!readPositionLine(line.c_str(), &pos, &centipawns)) {
            counts.skipped++;
            continue;
        }
        bool is_quiet = options.quiet_only && isQuiet();
        if (!have_row) {
            if (!readLine(files.features.get(), &row_text)) {
                counts.unmatched++;
                continue;
            }
            have_row = true;
        }
        if (!splitRow(row_text, &fields)) {
            fprintf(stderr, "Malformed row in '%s' (position line %ld)\n", options.features.c_str(), index + 1);
            return 1;
        }
        if (!rowMatches(fields, pos, centipawns)) {
            if (counts.unmatched++ == 0)
                fprintf(stderr, "Position line %ld has no row (next row: score %d, feature 0 = %d, %d fields)\n",
                        index + 1, fields.reference, fields.f[0], fields.count);
            continue;
        }
        have_row = false;
        // The engine scores those 0 without asking the model, so they would only bend the fit.
        if (isZeroedStalemate(fields, pos)) {
            counts.stalemates++;
            continue;
        }
        if (pos.men < MIN_MEN || pos.men > MAX_MEN ||
            std::abs(fields.material_class) >= classCount(pos.men) + (fields.has_class ? 0 : 1)) {
            counts.out_of_range++;
            continue;
        }
        Row row;
        if (!makeRow(fields, pos, options, index + 1, &row)) return 1;
        row.held = is_held;
        row.quiet = !options.quiet_only || is_quiet;
        counts.quiet += row.quiet && options.quiet_only;
        rows->push_back(row);
    }
    bool extra_rows = have_row || readLine(files.features.get(), &row_text);
    if (!closeFile(files.heldout)) {
        fprintf(stderr, "Cannot write '%s'\n", options.heldout.c_str());
        return 1;
    }
    printf("%ld position lines, %ld skipped like the engine does, %zu rows used, %ld without a row, "
           "%ld outside 4..32 men, %ld bare-king stalemates\n",
           counts.lines, counts.skipped, rows->size(), counts.unmatched, counts.out_of_range, counts.stalemates);
    if (options.quiet_only) printf("%ld rows are quiet\n", counts.quiet);
    if (extra_rows || counts.unmatched * 100 > counts.lines) {
        fprintf(stderr, "'%s' does not belong to '%s': rows and positions do not pair up\n", options.features.c_str(),
                options.positions.c_str());
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parseOptions(argc, argv, &options)) return 1;
    initColours();
    initSliders();

    std::vector<Row> rows;
    if (int status = readRows(options, &rows)) return status;

    static Fit full[COUNTS];
    static std::vector<double> material[COUNTS];
    long fitted = 0;
    std::vector<CountData> counts(COUNTS);
    for (int k = 0; k < COUNTS; k++) {
        int men = k + MIN_MEN;
        std::vector<const Row*> train_all;
        CountData& count = counts[k];
        count.model = Model{fullInputs, WEIGHTS + classCount(men)};
        for (const Row& row : rows)
            if (row.men == men && !row.held) {
                train_all.push_back(&row);
                if (row.quiet) count.rows.push_back(&row);
            }
        fitted += long(count.rows.size());
        // The guard's material model: least squares on every training row, as plain as it gets.
        if (!fitSquares(train_all, Model{materialInputs, MATERIAL_UNKNOWNS}, options.lambda, 0, &material[k])) {
            fprintf(stderr, "The system of %d men cannot be solved\n", men);
            return 1;
        }
    }
    std::vector<std::vector<double>> solution(COUNTS);
    if (options.smooth > 0 && !fitSmoothed(counts, options, &solution)) {
        fprintf(stderr, "The smoothed system of all piece counts cannot be solved\n");
        return 1;
    }
    for (int k = 0; k < COUNTS; k++) {
        int men = k + MIN_MEN;
        std::vector<double>& w = solution[k];
        const CountData& count = counts[k];
        bool ok = options.smooth > 0 ||
                  (options.logistic
                       ? fitLogistic(count.rows, count.model, options.lambda, options.sigmoid, options.iterations, &w)
                       : fitSquares(count.rows, count.model, options.lambda, options.cap, &w));
        if (!ok) {
            fprintf(stderr, "The system of %d men cannot be solved\n", men);
            return 1;
        }
        for (double& x : w) x *= options.scale;
        full[k].weights.assign(w.begin(), w.begin() + WEIGHTS);
        full[k].bias.assign(classCount(men), 0.0);
        for (int c = 1; c < classCount(men); c++) full[k].bias[c] = w[WEIGHTS + c];
    }

    printf("\n%s\nrmse in centipawns, the written model beside the material-only model\n", describe(options).c_str());
    double rmse = 0, material_rmse = 0;
    printErrors(rows, full, material, options.sigmoid, &rmse, &material_rmse);
    printTellingWeights(full, material);

    // Sanity checks: the features must earn their keep on data the fit has not seen.
    if (rmse >= material_rmse && rmse > 0) {
        fprintf(stderr, "Held-out rmse %.2f is no better than material alone (%.2f); %s left as it was\n", rmse,
                material_rmse, options.weights.c_str());
        return 1;
    }
    if (options.max_rmse > 0 && rmse > options.max_rmse) {
        fprintf(stderr, "Held-out rmse %.2f is above the limit %.2f; %s left as it was\n", rmse, options.max_rmse,
                options.weights.c_str());
        return 1;
    }
    if (!writeWeights(options.weights, full, fitted, options)) {
        fprintf(stderr, "Cannot write '%s'\n", options.weights.c_str());
        return 1;
    }
    printf("\nwrote %s and %s\n", options.weights.c_str(), options.heldout.c_str());
    return 0;
}
