// The fit of the evaluation's linear model to labelled rows, and the tables it writes
// (evaluation/weights.cpp); tools/fit_model reads the rows, the tests hand it rows of a known model.
// See tools/fit_model.cpp for what the fit aims at.
#pragma once
#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>
#include <sys/stat.h>
#include "../../evaluation/features.h"
#include "../../evaluation/model.h"
#include "../normal_equations.h"

namespace vireo_fit {

using namespace vireo_tools;

constexpr int FEATURES = NUM_FEATURES;
constexpr int WEIGHTS = MODEL_WEIGHTS; // features plus the constant term
constexpr int MIN_MEN = MIN_MODEL_MEN;
constexpr int MAX_MEN = MAX_MODEL_MEN;
constexpr int COUNTS = MODEL_COUNTS;
constexpr int CLASS_COUNT[3] = {int(endgame_keys_4.size()), int(endgame_keys_5.size()), int(endgame_keys_6.size())};

struct Options {
    std::string positions = "positions.txt";
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

inline int classCount(int men) { return men >= 4 && men <= 6 ? CLASS_COUNT[men - 4] : 0; }

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

inline bool solve(System& system, double lambda, std::vector<double>* x) {
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

inline void fullInputs(const Row& row, Inputs* in) {
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

inline void materialInputs(const Row& row, Inputs* in) {
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
inline double predict(const std::vector<double>& w, const Inputs& in) {
    double s = 0;
    for (int p = 0; p < in.count; p++) s += double(float(w[in.index[p]])) * in.value[p];
    return s;
}

inline double sigmoid(double x) { return 1.0 / (1.0 + std::exp(-x)); }

struct Model {
    InputsOf inputs;
    int unknowns;
};

// The normal equations of least squares on (optionally capped) labels, without the ridge.
inline void squaresSystem(const std::vector<const Row*>& rows, const Model& model, double cap, System* system) {
    system->init(model.unknowns);
    Inputs in;
    for (const Row* row : rows) {
        model.inputs(*row, &in);
        double target = cap > 0 ? std::clamp(double(row->label), -cap, cap) : double(row->label);
        system->add(in.index, in.value, in.count, target);
    }
}

// Least squares on (optionally capped) labels.
inline bool fitSquares(const std::vector<const Row*>& rows, const Model& model, double lambda, double cap,
                       std::vector<double>* w) {
    System system;
    squaresSystem(rows, model, cap, &system);
    return solve(system, lambda, w);
}

// Gauss-Newton on sum (sigmoid(label / k) - sigmoid(score / k))^2: linearised around the current
// weights w each step is a weighted least-squares fit, whose normal equations (without the ridge)
// this builds.
inline void logisticStep(const std::vector<const Row*>& rows, const Model& model, double k,
                         const std::vector<double>& w, System* system) {
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
inline bool fitLogistic(const std::vector<const Row*>& rows, const Model& model, double lambda, double k,
                        long iterations, std::vector<double>* w) {
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

inline bool solveSmoothed(std::vector<System>& systems, double lambda, double smooth,
                          std::vector<std::vector<double>>* w) {
    for (System& system : systems) system.addToDiagonal(0, system.n, lambda);
    return solveChain(systems, WEIGHTS, smooth, w);
}

inline bool fitSmoothed(const std::vector<CountData>& counts, const Options& options,
                        std::vector<std::vector<double>>* w) {
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

// ---- Output ----

struct Fit {
    std::vector<double> weights; // 128
    std::vector<double> bias;    // per class
};

inline void printFloat(FILE* out, double value) {
    char text[32];
    float f = float(value);
    if (f == 0) f = 0; // no negative zeros in the table
    snprintf(text, sizeof text, "%.9g", f);
    if (!strpbrk(text, ".e")) strcat(text, ".0");
    fprintf(out, "%sf", text);
}

inline std::string describe(const Options& o) {
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
inline bool writeWeights(const std::string& name, const Fit fits[COUNTS], long samples, const Options& options) {
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

struct Band {
    const char* name;
    int low, high;
};
inline const Band BANDS[] = {{"4-6", 4, 6}, {"7-16", 7, 16}, {"17-32", 17, 32}, {"all", 4, 32}};

struct Scored {
    Errors full[2], material[2], quiet_full; // [train, held]
};

// Errors of the written model and of the material model, per band, on every row.
inline void printErrors(const std::vector<Row>& rows, const Fit full[COUNTS],
                        const std::vector<double> material[COUNTS], double k, double* held_rmse,
                        double* held_material_rmse) {
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

inline void printTellingWeights(const Fit full[COUNTS], const std::vector<double> material[COUNTS]) {
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

// Fits the model to the rows (the held-out ones only measured), prints the errors beside those of
// the material-only model, and writes the tables unless the guard or --max-rmse refuses them.
// Returns the exit status of the program.
inline int fitAndWrite(const Options& options, const std::vector<Row>& rows) {
    std::vector<Fit> fits(COUNTS);
    std::vector<std::vector<double>> materials(COUNTS);
    Fit* full = fits.data();
    std::vector<double>* material = materials.data();
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

} // namespace vireo_fit
