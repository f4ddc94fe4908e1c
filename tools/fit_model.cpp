// Fits the evaluation's linear model to labelled positions and writes it out as evaluation/weights.cpp.
//
//   fit_model [--positions=FILE] [--features=FILE] [--weights=FILE] [--heldout=FILE]
//             [--lambda=X] [--block=N] [--every=N] [--max-rmse=X]
//
// Defaults: positions.txt, features.csv, weights.cpp, heldout.txt, lambda 5, blocks of 1000
// lines with every 10th held out, no rmse limit. Fails if the held-out rmse is above --max-rmse
// or no better than that of a material-only fit.
//
// Inputs are the labelled positions ("FEN;score in pawns", one per line) and the rows that
// "vireo -analyse=" wrote for them (features.csv). A row holds differences only, so the piece
// count that selects the weight vector comes from the FEN of the matching position line.
// The engine skips some lines (side to move in check, unreadable ones); its own line reader
// decides here too, and every pairing is confirmed by the row's reference score and its feature 0.
//
// One ridge regression per piece count 4..32: 127 feature weights plus a constant term, and with
// 4 to 6 men one value per material class, entering with the sign the row's class field carries.
// Feature 0 is the sum of the pawn-rank and piece-ring features, so the system is singular
// without the ridge term; the ridge picks the smallest weights, which spreads material value
// between the piece-count weight and the per-square weights.
//
// Held out: every --every-th block of --block consecutive position lines (the lines of one game
// are consecutive, so a game rarely straddles the split). Those lines are written unchanged to
// --heldout for "vireo -score=". Errors are measured exactly from the normal equations of each
// split, so one pass over the data is enough.
#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>
#include "../engine/board/board.h"
#include "../evaluation/evaluation.h"
#include "../evaluation/features.h"
#include "../evaluation/model.h"
#include "../sliders/sliders.h"
#include "option_values.h"

namespace {

using namespace vireo_tools;

constexpr int FEATURES = NUM_FEATURES;
constexpr int WEIGHTS = MODEL_WEIGHTS; // features plus the constant term
constexpr int DENSE = WEIGHTS + 1;     // the dense accumulator also carries the reference score
constexpr int MIN_MEN = MIN_MODEL_MEN;
constexpr int MAX_MEN = MAX_MODEL_MEN;
constexpr int COUNTS = MODEL_COUNTS;
constexpr int CLASS_COUNT[3] = {int(endgame_keys_4.size()), int(endgame_keys_5.size()), int(endgame_keys_6.size())};
constexpr int MATERIAL_FEATURES = 14;          // piece count, bare king, pawns per rank

struct Options {
    std::string positions = "positions.txt";
    std::string features = "features.csv";
    std::string weights = "weights.cpp";
    std::string heldout = "heldout.txt";
    double lambda = 5.0;
    long block = 1000;
    long every = 10;
    double max_rmse = 0; // 0: no check
};

// Normal equations of one piece count on one split. The class part is kept sparse: each row
// touches exactly one class, whose column holds +1 or -1.
struct Normal {
    std::vector<double> dense;       // DENSE x DENSE, lower triangle: [features, 1, score]
    std::vector<double> class_count; // per class: sum of sign^2
    std::vector<double> class_cross; // per class: sum of sign * [features, 1, score]
    long rows = 0;
};

struct Fit {
    std::vector<double> weights;     // 128
    std::vector<double> bias;        // per class
};

int classCount(int men) {
    return men >= 4 && men <= 6 ? CLASS_COUNT[men - 4] : 0;
}

void initNormal(Normal* normal, int men) {
    normal->dense.assign(DENSE * DENSE, 0.0);
    normal->class_count.assign(classCount(men), 0.0);
    normal->class_cross.assign(size_t(classCount(men)) * DENSE, 0.0);
}

void addRow(Normal* normal, const int* features, int material_class, int score) {
    double z[DENSE];
    int nonzero[DENSE];
    int count = 0;
    for (int i = 0; i < FEATURES; i++) {
        z[i] = features[i];
        if (features[i]) nonzero[count++] = i;
    }
    z[FEATURES] = 1.0;
    nonzero[count++] = FEATURES;
    z[WEIGHTS] = score;
    if (score) nonzero[count++] = WEIGHTS;
    // Most features are 0 in most positions, so the outer product only visits the others.
    for (int a = 0; a < count; a++) {
        int i = nonzero[a];
        double* row = &normal->dense[size_t(i) * DENSE];
        for (int b = 0; b <= a; b++) row[nonzero[b]] += z[i] * z[nonzero[b]];
    }
    if (material_class) {
        int c = std::abs(material_class);
        double sign = material_class > 0 ? 1.0 : -1.0;
        normal->class_count[c] += 1.0;
        double* cross = &normal->class_cross[size_t(c) * DENSE];
        for (int a = 0; a < count; a++) cross[nonzero[a]] += sign * z[nonzero[a]];
    }
    normal->rows++;
}

double denseAt(const Normal& normal, int i, int j) {
    return i >= j ? normal.dense[size_t(i) * DENSE + j] : normal.dense[size_t(j) * DENSE + i];
}

// The unknowns of a fit: a chosen subset of the 128 weights, then the classes if used.
std::vector<int> allWeights() {
    std::vector<int> v;
    for (int i = 0; i < WEIGHTS; i++) v.push_back(i);
    return v;
}

std::vector<int> materialWeights() {
    std::vector<int> v;
    for (int i = 0; i < MATERIAL_FEATURES; i++) v.push_back(i);
    v.push_back(FEATURES);
    return v;
}

// Solves the symmetric positive definite system a x = b in place (Cholesky, lower triangle).
bool choleskySolve(std::vector<double>& a, std::vector<double>& b, int n) {
    for (int j = 0; j < n; j++) {
        double d = a[size_t(j) * n + j];
        for (int k = 0; k < j; k++) d -= a[size_t(j) * n + k] * a[size_t(j) * n + k];
        if (!(d > 0)) return false;
        d = std::sqrt(d);
        a[size_t(j) * n + j] = d;
        for (int i = j + 1; i < n; i++) {
            double s = a[size_t(i) * n + j];
            const double* ri = &a[size_t(i) * n];
            const double* rj = &a[size_t(j) * n];
            for (int k = 0; k < j; k++) s -= ri[k] * rj[k];
            a[size_t(i) * n + j] = s / d;
        }
    }
    for (int i = 0; i < n; i++) {
        double s = b[i];
        for (int k = 0; k < i; k++) s -= a[size_t(i) * n + k] * b[k];
        b[i] = s / a[size_t(i) * n + i];
    }
    for (int i = n - 1; i >= 0; i--) {
        double s = b[i];
        for (int k = i + 1; k < n; k++) s -= a[size_t(k) * n + i] * b[k];
        b[i] = s / a[size_t(i) * n + i];
    }
    return true;
}

// Builds the matrix and right-hand side over the chosen unknowns. Returns the order.
int buildSystem(const Normal& normal, const std::vector<int>& chosen, bool classes,
                std::vector<double>* a, std::vector<double>* b) {
    int m = int(chosen.size());
    int classes_n = classes ? int(normal.class_count.size()) : 0;
    int n = m + classes_n;
    a->assign(size_t(n) * n, 0.0);
    b->assign(n, 0.0);
    for (int p = 0; p < m; p++) {
        for (int q = 0; q < m; q++) (*a)[size_t(p) * n + q] = denseAt(normal, chosen[p], chosen[q]);
        (*b)[p] = denseAt(normal, WEIGHTS, chosen[p]);
    }
    for (int c = 0; c < classes_n; c++) {
        const double* cross = &normal.class_cross[size_t(c) * DENSE];
        for (int p = 0; p < m; p++) {
            (*a)[size_t(m + c) * n + p] = cross[chosen[p]];
            (*a)[size_t(p) * n + m + c] = cross[chosen[p]];
        }
        (*a)[size_t(m + c) * n + m + c] = normal.class_count[c];
        (*b)[m + c] = cross[WEIGHTS];
    }
    return n;
}

bool solveFit(const Normal& normal, const std::vector<int>& chosen, bool classes, double lambda,
              Fit* fit) {
    std::vector<double> a, b;
    int n = buildSystem(normal, chosen, classes, &a, &b);
    for (int i = 0; i < n; i++) a[size_t(i) * n + i] += lambda;
    if (!choleskySolve(a, b, n)) return false;
    fit->weights.assign(WEIGHTS, 0.0);
    for (size_t p = 0; p < chosen.size(); p++) fit->weights[chosen[p]] = b[p];
    fit->bias.assign(normal.class_count.size(), 0.0);
    if (classes)
        for (size_t c = 0; c < normal.class_count.size(); c++) fit->bias[c] = b[chosen.size() + c];
    return true;
}

// Sum of squared errors of a fit on the rows behind these normal equations:
// y'y - 2 w'X'y + w'X'X w, with the weights rounded to the floats the engine stores.
double squaredError(const Normal& normal, const Fit& fit) {
    if (normal.rows == 0) return 0;
    std::vector<int> all = allWeights();
    bool classes = !normal.class_count.empty();
    std::vector<double> a, b;
    int n = buildSystem(normal, all, classes, &a, &b);
    std::vector<double> w(n, 0.0);
    for (int i = 0; i < WEIGHTS; i++) w[i] = float(fit.weights[i]);
    for (int c = 0; classes && c < n - WEIGHTS; c++) w[WEIGHTS + c] = float(fit.bias[c]);
    double quadratic = 0, linear = 0;
    for (int i = 0; i < n; i++) {
        linear += w[i] * b[i];
        double s = 0;
        for (int j = 0; j < n; j++) s += a[size_t(i) * n + j] * w[j];
        quadratic += w[i] * s;
    }
    double sse = denseAt(normal, WEIGHTS, WEIGHTS) - 2 * linear + quadratic;
    return sse > 0 ? sse : 0;
}

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
        if (*p == ';') { p++; continue; }
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

void printFloat(FILE* out, double value) {
    char text[32];
    float f = float(value);
    if (f == 0) f = 0; // no negative zeros in the table
    snprintf(text, sizeof text, "%.9g", f);
    if (!strpbrk(text, ".e")) strcat(text, ".0");
    fprintf(out, "%sf", text);
}

// Writes beside the target and renames, so that a failed run never leaves half a table behind.
bool writeWeights(const std::string& name, const Fit fits[COUNTS], long samples, double lambda) {
    std::string temporary = name + ".tmp";
    FILE* out = fopen(temporary.c_str(), "w");
    if (!out) return false;
    fprintf(out, "// Generated by tools/fit_model (ridge %g, fitted on %ld positions); regenerate with\n"
                 "// tools/train.sh. Do not edit by hand.\n"
                 "#include \"model.h\"\n\n", lambda, samples);
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
    if (ok && rename(temporary.c_str(), name.c_str()) == 0) return true;
    remove(temporary.c_str());
    return false;
}

bool parseOptions(int argc, char** argv, Options* options) {
    for (int i = 1; i < argc; i++) {
        const char* arg = argv[i];
        auto value = [&](const char* name) { return optionValue(arg, name); };
        const char* v;
        bool number_ok = true;
        if ((v = value("--positions="))) options->positions = v;
        else if ((v = value("--features="))) options->features = v;
        else if ((v = value("--weights="))) options->weights = v;
        else if ((v = value("--heldout="))) options->heldout = v;
        else if ((v = value("--lambda="))) number_ok = parseDouble(v, &options->lambda);
        else if ((v = value("--block="))) number_ok = parseLong(v, &options->block);
        else if ((v = value("--every="))) number_ok = parseLong(v, &options->every);
        else if ((v = value("--max-rmse="))) number_ok = parseDouble(v, &options->max_rmse);
        else {
            fprintf(stderr, "Unknown option '%s'\n", arg);
            return false;
        }
        if (!number_ok) {
            fprintf(stderr, "Bad number in '%s'\n", arg);
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

void printErrors(const Normal train[COUNTS], const Normal held[COUNTS], const Fit full[COUNTS],
                 const Fit material[COUNTS]) {
    printf("%-6s %9s %9s %12s %12s %12s %12s\n", "men", "train", "held-out", "train rmse", "held rmse",
           "train mat.", "held mat.");
    for (const Band& band : BANDS) {
        long rows[2] = {0, 0};
        double sse[2][2] = {{0, 0}, {0, 0}};
        for (int men = band.low; men <= band.high; men++) {
            int k = men - MIN_MEN;
            rows[0] += train[k].rows;
            rows[1] += held[k].rows;
            sse[0][0] += squaredError(train[k], full[k]);
            sse[1][0] += squaredError(held[k], full[k]);
            sse[0][1] += squaredError(train[k], material[k]);
            sse[1][1] += squaredError(held[k], material[k]);
        }
        auto rmse = [&](int split, int model) { return rows[split] ? std::sqrt(sse[split][model] / rows[split]) : 0.0; };
        printf("%-6s %9ld %9ld %12.2f %12.2f %12.2f %12.2f\n", band.name, rows[0], rows[1], rmse(0, 0),
               rmse(1, 0), rmse(0, 1), rmse(1, 1));
    }
}

double heldOutRmse(const Normal held[COUNTS], const Fit fits[COUNTS]) {
    long rows = 0;
    double sse = 0;
    for (int k = 0; k < COUNTS; k++) {
        rows += held[k].rows;
        sse += squaredError(held[k], fits[k]);
    }
    return rows ? std::sqrt(sse / rows) : 0.0;
}

void printTellingWeights(const Fit full[COUNTS]) {
    printf("\nweights   piece count  bare king  constant   pawn value (rel. ranks 2..7, not passed / passed)\n");
    for (int men : {4, 5, 6, 8, 10, 16, 24, 31, 32}) {
        const std::vector<double>& w = full[men - MIN_MEN].weights;
        printf("%2d men  %11.2f %10.2f %9.2f  ", men, w[0], w[1], w[FEATURES]);
        for (int r = 0; r < 6; r++) printf(" %4.0f/%-4.0f", w[0] + w[2 + 2 * r], w[0] + w[3 + 2 * r]);
        printf("\n");
    }
    const std::vector<double>& w = full[10 - MIN_MEN].weights;
    printf("10 men: pawn-rank weights 2..11 =");
    for (int i = 2; i < 12; i++) printf(" %.1f", w[i]);
    printf("\n10 men: knight/bishop/rook/queen on ring 3 = %.0f %.0f %.0f %.0f (with the piece-count weight)\n",
           w[0] + w[14 + 3], w[0] + w[21 + 3], w[0] + w[28 + 3], w[0] + w[35 + 3]);
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parseOptions(argc, argv, &options)) return 1;
    initColours();
    initSliders();

    FILE* positions = fopen(options.positions.c_str(), "r");
    if (!positions) {
        fprintf(stderr, "Cannot open '%s'\n", options.positions.c_str());
        return 1;
    }
    FILE* features = fopen(options.features.c_str(), "r");
    if (!features) {
        fprintf(stderr, "Cannot open '%s'\n", options.features.c_str());
        return 1;
    }
    FILE* heldout = fopen(options.heldout.c_str(), "w");
    if (!heldout) {
        fprintf(stderr, "Cannot open '%s'\n", options.heldout.c_str());
        return 1;
    }

    static Normal train[COUNTS], held[COUNTS];
    for (int k = 0; k < COUNTS; k++) {
        initNormal(&train[k], k + MIN_MEN);
        initNormal(&held[k], k + MIN_MEN);
    }

    std::string line, row_text;
    int fields[FEATURES + 3];
    bool have_row = false;
    long line_number = 0, skipped = 0, unmatched = 0, out_of_range = 0, stalemates = 0, samples = 0;
    while (readLine(positions, &line)) {
        long index = line_number++;
        bool is_held = (index / options.block) % options.every == options.every - 1;
        if (is_held) fputs(line.c_str(), heldout);
        if (line.back() != '\n' && is_held) fputc('\n', heldout);

        Position pos;
        int centipawns;
        if (!readPositionLine(line.c_str(), &pos, &centipawns)) {
            skipped++;
            continue;
        }
        if (!have_row) {
            if (!readLine(features, &row_text)) {
                unmatched++;
                continue;
            }
            have_row = true;
        }
        int n = parseRow(row_text.data(), fields, FEATURES + 3);
        if (n != FEATURES + 1 && n != FEATURES + 2) {
            fprintf(stderr, "Malformed row in '%s' (position line %ld)\n", options.features.c_str(), index + 1);
            return 1;
        }
        bool has_class = n == FEATURES + 2;
        const int* f = fields + has_class;
        int material_class = has_class ? fields[0] : 0;
        int reference = fields[n - 1];
        // The row belongs to this line only if it agrees on everything the line decides.
        // A bare king with every neighbouring square attacked (stalemate) has all features zeroed.
        bool zeroed = pos.men_to_move == 1 && std::all_of(f, f + FEATURES, [](int x) { return x == 0; });
        bool matches = (reference == centipawns || reference == 0) &&
                       (f[0] == 2 * pos.men_to_move - pos.men || zeroed) &&
                       has_class == (pos.men >= 4 && pos.men <= 6);
        if (!matches) {
            if (unmatched++ == 0)
                fprintf(stderr, "Position line %ld has no row (next row: score %d, feature 0 = %d, %d fields)\n",
                        index + 1, reference, f[0], n);
            continue;
        }
        have_row = false;
        // The engine scores those 0 without asking the model, so they would only bend the fit.
        if (zeroed) {
            stalemates++;
            continue;
        }
        if (pos.men < MIN_MEN || pos.men > MAX_MEN ||
            std::abs(material_class) >= classCount(pos.men) + (has_class ? 0 : 1)) {
            out_of_range++;
            continue;
        }
        Normal* normal = is_held ? &held[pos.men - MIN_MEN] : &train[pos.men - MIN_MEN];
        addRow(normal, f, material_class, reference);
        samples++;
    }
    bool extra_rows = have_row || readLine(features, &row_text);
    fclose(positions);
    fclose(features);
    if (fclose(heldout) != 0) {
        fprintf(stderr, "Cannot write '%s'\n", options.heldout.c_str());
        return 1;
    }
    printf("%ld position lines, %ld skipped like the engine does, %ld rows used, %ld without a row, "
           "%ld outside 4..32 men, %ld bare-king stalemates\n", line_number, skipped, samples, unmatched,
           out_of_range, stalemates);
    if (extra_rows || unmatched * 100 > line_number) {
        fprintf(stderr, "'%s' does not belong to '%s': rows and positions do not pair up\n",
                options.features.c_str(), options.positions.c_str());
        return 1;
    }

    static Fit full[COUNTS], material[COUNTS];
    for (int k = 0; k < COUNTS; k++) {
        bool classes = !train[k].class_count.empty();
        if (!solveFit(train[k], allWeights(), classes, options.lambda, &full[k]) ||
            !solveFit(train[k], materialWeights(), false, options.lambda, &material[k])) {
            fprintf(stderr, "The system of %d men cannot be solved\n", k + MIN_MEN);
            return 1;
        }
    }

    printf("\nrmse in centipawns, full model beside the material-only model (features 0-13)\n");
    printErrors(train, held, full, material);
    printTellingWeights(full);

    // Sanity checks: the features must earn their keep on data the fit has not seen.
    double rmse = heldOutRmse(held, full), material_rmse = heldOutRmse(held, material);
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
    long fitted = 0;
    for (int k = 0; k < COUNTS; k++) fitted += train[k].rows;
    if (!writeWeights(options.weights, full, fitted, options.lambda)) {
        fprintf(stderr, "Cannot write '%s'\n", options.weights.c_str());
        return 1;
    }
    printf("\nwrote %s and %s\n", options.weights.c_str(), options.heldout.c_str());
    return 0;
}
