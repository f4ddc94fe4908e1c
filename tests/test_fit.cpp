// The weight fitter: the rows it reads are the rows "vireo -analyse=" writes; on rows of a known
// model it finds the model again, gives the class term its sign, fits quiet positions only, the
// logistic loss, a scale and smoothing across piece counts, and writes the tables it found.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/engine_run.h"
#include "tests/position_fixture.h"
#include "tests/shared_data.h"
#include "tools/fit/labelled_rows.h"
#include "tools/fit/model_fit.h"

namespace {

using namespace vireo_fit;

std::string buildDirectory() {
    std::string binary = VIREO_BINARY;
    return binary.substr(0, binary.find_last_of('/'));
}

// The numbers of the tables "name...[...] = { ... };" in the generated source, in order of
// appearance (the class values may be one table or one per piece count).
std::vector<double> tableValues(const std::string& source, const std::string& name) {
    std::vector<double> values;
    for (size_t at = source.find(name); at != std::string::npos; at = source.find(name, at + 1)) {
        size_t bracket = source.find_first_not_of("abcdefghijklmnopqrstuvwxyz_0123456789", at);
        size_t equals = source.find('=', at), semicolon = source.find(';', at);
        if (source[bracket] != '[' || equals > semicolon) continue;
        size_t open = source.find('{', equals);
        size_t end = source.find("};", open);
        std::string body = source.substr(open, end - open);
        for (size_t i = 0; i < body.size();) {
            if (body.compare(i, 2, "//") == 0) {
                i = body.find('\n', i);
                if (i == std::string::npos) break;
                continue;
            }
            char c = body[i];
            if ((c >= '0' && c <= '9') || c == '-') {
                char* stop;
                values.push_back(strtod(body.c_str() + i, &stop));
                i = size_t(stop - body.c_str()) + 1;
            } else {
                i++;
            }
        }
        at = end;
    }
    return values;
}

// A row of a known model: features drawn at random, the label the model's score.
struct KnownModel {
    std::vector<double> weights; // features 1..126; feature 0 stays 0
    double class_value = 0;      // for the class given to the rows
    int material_class = 0;
    int men = 10;
    int spread = 7; // features are drawn from -spread/2..spread/2

    Row row(std::mt19937& rng, bool held) const {
        Row r{};
        double score = 0;
        for (int i = 1; i < FEATURES; i++) {
            r.f[i] = int16_t(int(rng() % unsigned(spread)) - spread / 2);
            score += weights[i] * r.f[i];
        }
        if (material_class) {
            r.material_class = int16_t(rng() % 2 ? material_class : -material_class);
            score += r.material_class > 0 ? class_value : -class_value;
        }
        r.label = int32_t(std::lround(score));
        r.men = uint8_t(men);
        r.held = held;
        r.quiet = true;
        return r;
    }
};

// Fits the rows in-process with the options, the tables written into the directory; returns what
// the fit printed and the exit status it gave.
std::string fitRows(const std::vector<Row>& rows, Options options, const std::string& dir, int* status) {
    if (options.weights == "weights.cpp") options.weights = dir + "/weights.cpp";
    return printedBy([&] { *status = fitAndWrite(options, rows); });
}

std::string fitProgram() { return buildDirectory() + "/fit_model"; }

// Runs the program in the directory with the options; its exit status, its output in *log.
int runFitProgram(const ScratchDir& scratch, const std::string& options, std::string* log) {
    int status =
        std::system(("cd " + scratch.path() + " && " + fitProgram() + " " + options + " > log.txt 2>&1").c_str());
    *log = scratch.read("log.txt");
    return status;
}

// The recipe of the committed tables, as tools/train.sh gives it.
std::string trainRecipe() {
    std::string script = fileBytes(VIREO_SOURCE_DIR "/tools/train.sh");
    size_t at = script.find("\nRECIPE=\"");
    if (at == std::string::npos) return "";
    return script.substr(at + 9, script.find('"', at + 9) - at - 9);
}

} // namespace

// The rows the fitter takes from the position lines are the rows "vireo -analyse=" writes for
// them, field for field: the same lines skipped, the class field where it belongs.
TEST(FitModel, ReadsTheRowsTheEngineWrites) {
    initTables();
    ScratchDir scratch;
    std::vector<std::string> lines = {"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1;-0.25",
                                      "4k3/8/8/r7/8/8/7R/4K3 b - - 0 1;0.1",
                                      "4k3/8/8/8/3n4/8/4P3/4K3 w - - 0 1 ; 1",
                                      "4k3/8/4K3/4P3/8/8/8/8 w - - 0 1;9.5",
                                      "7k/5K2/6Q1/8/8/8/P7/8 b - - 0 1;-20",
                                      "7k/5K2/6Q1/8/8/8/P7/8 B - - 0 1;0.5",
                                      "4k3/8/8/8/8/8/8/4K2R w K - 0 1 extra;0.5",
                                      "4k3/8/8/8/8/8/4q3/4K3 w - - 0 1;-9",
                                      "this is no position;1.0",
                                      "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1;abc"};
    for (const char* fen : CLASSIC_FENS) lines.push_back(std::string(fen) + ";0.3");
    const std::vector<std::string>& labelled = trainingFens();
    for (size_t i = 0; i < labelled.size() && i < 200000; i += 100)
        lines.push_back(labelled[i] + ";" + std::to_string(i % 700 / 100.0 - 3));
    std::string input;
    for (const std::string& line : lines) input += line + "\n";
    scratch.write("positions.txt", input);
    ASSERT_EQ(runEngine(scratch, "-analyse=positions.txt").status, 0);

    std::istringstream written(scratch.read("features.csv"));
    std::string row_text;
    int rows = 0;
    for (const std::string& line : lines) {
        LabelledRow row;
        if (!readLabelledRow(line.c_str(), &row)) continue;
        std::string expected = row.men >= 4 && row.men <= 6 ? std::to_string(row.material_class) + ";" : "";
        for (int f : row.features) expected += std::to_string(f) + ";";
        expected += std::to_string(row.label);
        ASSERT_TRUE(std::getline(written, row_text)) << "no row for " << line;
        EXPECT_EQ(row_text, expected) << line;
        rows++;
    }
    EXPECT_FALSE(std::getline(written, row_text)) << "a row the fitter does not read: " << row_text;
    EXPECT_GE(rows, 10);
}

// What the program reads and counts, and the held-out blocks it writes: every fifth block of ten
// position lines, unusable lines included.
TEST(FitModel, CountsLinesAndHoldsOutBlocks) {
    if (access(fitProgram().c_str(), X_OK) != 0) GTEST_SKIP() << "fit_model is not built next to the engine";
    ScratchDir scratch;
    std::string input;
    const char* fens[] = {"4k3/4r3/8/8/8/8/3R4/3K4 w - - 0 1", "4k3/pp2r1p1/8/8/8/8/PPRP4/3K4 w - - 0 1",
                          "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"};
    for (int n = 0; n < 300; n++) {
        input += std::string(fens[n % 3]) + ";" + std::to_string((n % 17) / 10.0) + "\n";
        // Stalemates of a bare king (any side letter but "w" is Black's) are left out, as are three men.
        if (n == 100) input += "7k/5K2/6Q1/8/8/8/P7/8 b - - 0 1;400\n";
        if (n == 200) input += "7k/5K2/6Q1/8/8/8/P7/8 B - - 0 1;0.5\n";
        if (n == 250) input += "4k3/8/8/8/8/8/8/4K2R w K - 0 1 extra;0.5\n";
    }
    scratch.write("positions.txt", input);
    std::string log;
    // Labels without a model behind them: the guard refuses the tables, after the counts and the
    // held-out file.
    runFitProgram(scratch, "--block=10 --every=5", &log);
    EXPECT_NE(log.find("303 position lines, 0 skipped like the engine does, 300 rows used, 1 outside 4..32 men, "
                       "2 bare-king stalemates"),
              std::string::npos)
        << log;
    std::istringstream held(scratch.read("heldout.txt"));
    int held_lines = 0;
    for (std::string line; std::getline(held, line);) held_lines++;
    EXPECT_EQ(held_lines, (303 / 50) * 10 + std::max(0, 303 % 50 - 40));
    // A missing input is named and leaves the held-out file as it was.
    std::string before = scratch.read("heldout.txt");
    EXPECT_NE(runFitProgram(scratch, "--positions=missing.txt", &log), 0);
    EXPECT_NE(log.find("Cannot open 'missing.txt'"), std::string::npos) << log;
    EXPECT_EQ(scratch.read("heldout.txt"), before);
}

TEST(FitModel, RecoversTheWeightsOfAKnownModel) {
    ScratchDir scratch;
    // Rows of 4 men (with the class of rook against rook), 5 men (class 40) and 10 and 32 men, from
    // one set of weights and two class values; every fifth block of ten rows held out.
    KnownModel model;
    model.weights.assign(FEATURES, 0);
    for (int i = 1; i < FEATURES; i++) model.weights[i] = (i % 13) * 7 - 40;
    std::mt19937 rng(7);
    std::vector<Row> rows;
    for (int n = 0; n < 8000; n++) {
        const int men[4] = {4, 5, 10, 32}, classes[4] = {16, 40, 0, 0};
        const double values[4] = {300, -120, 0, 0};
        model.men = men[n % 4];
        model.material_class = classes[n % 4];
        model.class_value = values[n % 4];
        rows.push_back(model.row(rng, n / 10 % 5 == 4));
    }
    Options options;
    options.lambda = 0.01;
    options.max_rmse = 1;
    int status = -1;
    std::string log = fitRows(rows, options, scratch.path(), &status);
    ASSERT_EQ(status, 0) << log;

    std::string source = scratch.read("weights.cpp");
    std::vector<double> weights = tableValues(source, "eval_weights");
    ASSERT_EQ(weights.size(), 29u * 128u);
    for (int men : {4, 5, 10, 32})
        for (int i = 1; i < 127; i++)
            EXPECT_NEAR(weights[(men - 4) * 128 + i], model.weights[i], 0.05) << men << " men, weight " << i;
    // The piece count never varies in these rows: the ridge leaves its weight at 0.
    EXPECT_EQ(weights[28 * 128], 0.0);
    // Rows of a piece count that never occurs keep all-zero weights.
    for (int i = 0; i < 128; i++) EXPECT_EQ(weights[(20 - 4) * 128 + i], 0.0);
    std::vector<double> bias = tableValues(source, "endgame_bias");
    ASSERT_EQ(bias.size(), 31u + 111u + 366u);
    EXPECT_NEAR(bias[16], 300, 1.0);
    EXPECT_NEAR(bias[31 + 40], -120, 1.0);
    EXPECT_EQ(bias[0], 0.0);

    // A target that is not a regular file is written in place, not replaced by a file.
    std::string pipe = scratch.path() + "/weights.pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    // The test holds a writer end of its own, so that the reader sees the end of the data only once
    // the fit is done with the pipe, whether it wrote to it or not.
    int read_end = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    int own_writer = open(pipe.c_str(), O_WRONLY | O_NONBLOCK);
    ASSERT_TRUE(read_end >= 0 && own_writer >= 0);
    fcntl(read_end, F_SETFL, 0);
    std::string piped;
    std::thread reader([&] {
        char buffer[4096];
        for (ssize_t n; (n = read(read_end, buffer, sizeof buffer)) > 0;) piped.append(buffer, size_t(n));
    });
    options.weights = pipe;
    fitRows(rows, options, scratch.path(), &status);
    close(own_writer);
    reader.join();
    close(read_end);
    EXPECT_EQ(status, 0);
    struct stat after;
    ASSERT_EQ(stat(pipe.c_str(), &after), 0);
    EXPECT_TRUE(S_ISFIFO(after.st_mode));
    EXPECT_EQ(piped, source);
}

// What the fit aims at: only positions where no exchange is pending (--quiet-only), win
// expectations rather than centipawns (the logistic loss), and a scale over the whole table.
TEST(FitModel, QuietPositionsLogisticLossAndScale) {
    if (access(fitProgram().c_str(), X_OK) != 0) GTEST_SKIP() << "fit_model is not built next to the engine";
    ScratchDir scratch;
    // Quiet: the initial position, a rook ending, a pawn that only a losing capture can take (the
    // knight would be taken back by the d6 pawn). Not quiet: a hanging queen, a rook that wins a
    // knight, a pawn that promotes.
    const char* quiet[] = {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
                           "4k3/4r3/8/8/8/8/3R4/3K4 w - - 0 1", "4k3/8/3p4/4p3/8/5N2/8/4K3 w - - 0 1"};
    const char* busy[] = {"4k3/8/8/3q4/8/8/8/3RK3 w - - 0 1", "4k3/8/8/3n4/8/8/8/3RK3 w - - 0 1",
                          "4k3/1P6/8/8/8/8/7p/4K3 w - - 0 1"};
    std::string input;
    for (int n = 0; n < 600; n++)
        input += std::string((n % 2 ? busy : quiet)[n / 2 % 3]) + ";" + std::to_string((n % 7) / 10.0) + "\n";
    scratch.write("positions.txt", input);
    std::string log;
    EXPECT_EQ(runFitProgram(scratch, "--quiet-only --loss=mse", &log), 0) << log;
    EXPECT_NE(log.find("600 rows used"), std::string::npos) << log;
    EXPECT_NE(log.find("300 rows are quiet"), std::string::npos) << log;
    EXPECT_NE(scratch.read("weights.cpp").find("least squares, quiet positions, ridge 5; fitted on 300 positions"),
              std::string::npos);

    // tools/train.sh made the committed tables with its RECIPE: passed as the script passes it, with
    // the paths in either spelling, it must still give the settings that evaluation/weights.cpp names.
    auto settings = [](const std::string& source) {
        size_t open = source.find('(');
        return source.substr(open, source.find(';') - open);
    };
    std::string recipe = trainRecipe();
    ASSERT_FALSE(recipe.empty());
    std::string committed = settings(fileBytes(VIREO_SOURCE_DIR "/evaluation/weights.cpp"));
    ASSERT_GT(committed.size(), 1u) << "no settings in evaluation/weights.cpp";
    for (const char* paths :
         {"--positions=positions.txt --weights=weights.cpp", "--positions positions.txt --weights weights.cpp"}) {
        EXPECT_EQ(runFitProgram(scratch, std::string(paths) + " --heldout=heldout.txt " + recipe, &log), 0) << log;
        EXPECT_EQ(settings(scratch.read("weights.cpp")), committed) << paths;
    }

    // A known linear model with scores of a few pawns: the logistic fit finds it again, and
    // --scale multiplies every weight and class value it writes.
    KnownModel model;
    model.weights.assign(FEATURES, 0);
    for (int i = 1; i < FEATURES; i++) model.weights[i] = (i % 5) * 6 - 12;
    model.men = 4;
    model.material_class = 16;
    model.class_value = 150;
    model.spread = 5;
    std::mt19937 rng(11);
    std::vector<Row> rows;
    for (int n = 0; n < 6000; n++) rows.push_back(model.row(rng, n / 10 % 5 == 4));
    for (double scale : {1.0, 1.5}) {
        Options options;
        options.sigmoid = 300;
        options.lambda = 0.01;
        options.scale = scale;
        int status = -1;
        log = fitRows(rows, options, scratch.path(), &status);
        ASSERT_EQ(status, 0) << log;
        std::string source = scratch.read("weights.cpp");
        EXPECT_NE(source.find("logistic loss, sigmoid 300 cp"), std::string::npos);
        std::vector<double> weights = tableValues(source, "eval_weights");
        ASSERT_EQ(weights.size(), 29u * 128u);
        for (int i = 1; i < 127; i++) EXPECT_NEAR(weights[i], scale * model.weights[i], 0.2 * scale) << "weight " << i;
        EXPECT_NEAR(tableValues(source, "endgame_bias")[16], scale * 150, 2 * scale);
    }
}

// --smooth pulls the vectors of neighbouring piece counts together. Rows of 10 and 12 men from one
// known model: smoothed, every count (also 11 and the others without a single row) takes that
// model, and the vectors of neighbours end up nearly equal; without smoothing the counts without
// rows keep zero weights. --smooth=0 is the fit of old, byte for byte, with the committed recipe.
TEST(FitModel, SmoothingAcrossPieceCounts) {
    ScratchDir scratch;
    KnownModel model;
    model.weights.assign(FEATURES, 0);
    for (int i = 1; i < FEATURES; i++) model.weights[i] = (i % 11) * 5 - 25;
    model.spread = 5;
    std::mt19937 rng(5);
    std::vector<Row> rows;
    for (int n = 0; n < 4000; n++) {
        model.men = n % 2 ? 12 : 10;
        rows.push_back(model.row(rng, false));
    }
    auto fit = [&](double smooth, bool logistic) {
        Options options;
        options.logistic = logistic;
        options.lambda = 0.01;
        options.smooth = smooth;
        int status = -1;
        std::string log = fitRows(rows, options, scratch.path(), &status);
        EXPECT_EQ(status, 0) << log;
        return tableValues(scratch.read("weights.cpp"), "eval_weights");
    };
    std::vector<double> alone = fit(0, false);
    std::vector<double> smoothed = fit(1000, false);
    EXPECT_NE(scratch.read("weights.cpp").find("smoothed across piece counts 1000"), std::string::npos);
    ASSERT_EQ(alone.size(), 29u * 128u);
    ASSERT_EQ(smoothed.size(), 29u * 128u);
    for (int i = 1; i < 127; i++) {
        EXPECT_NEAR(alone[(10 - 4) * 128 + i], model.weights[i], 0.05) << "weight " << i;
        EXPECT_EQ(alone[(11 - 4) * 128 + i], 0.0) << "weight " << i;
        for (int men : {4, 10, 11, 12, 20, 32})
            EXPECT_NEAR(smoothed[(men - 4) * 128 + i], model.weights[i], 0.5) << men << " men, weight " << i;
    }
    double widest = 0;
    for (int k = 0; k + 1 < 29; k++)
        for (int i = 0; i < 128; i++)
            widest = std::max(widest, std::abs(smoothed[k * 128 + i] - smoothed[(k + 1) * 128 + i]));
    EXPECT_LT(widest, 0.1);

    // The logistic steps are smoothed too.
    std::vector<double> logistic = fit(1000, true);
    for (int i = 1; i < 127; i++) EXPECT_NEAR(logistic[(11 - 4) * 128 + i], model.weights[i], 1.0) << "weight " << i;

    // The recipe without its own smoothing, against the same with --smooth=0, through the program.
    if (access(fitProgram().c_str(), X_OK) != 0) GTEST_SKIP() << "fit_model is not built next to the engine";
    std::string recipe = trainRecipe();
    size_t smooth = recipe.find(" --smooth=");
    if (smooth != std::string::npos) recipe.erase(smooth, recipe.find(' ', smooth + 1) - smooth);
    scratch.write("positions.txt",
                  "4k3/pp2r1p1/8/8/8/8/PPRP4/3K4 w - - 0 1;0.5\n4k3/ppp1r1p1/8/8/8/8/PPRPP3/3K4 w - - 0 1;-0.2\n");
    std::string log;
    EXPECT_EQ(runFitProgram(scratch, recipe, &log), 0) << log;
    std::string plain = scratch.read("weights.cpp");
    EXPECT_EQ(runFitProgram(scratch, recipe + " --smooth=0", &log), 0) << log;
    EXPECT_EQ(scratch.read("weights.cpp"), plain);
    EXPECT_NE(runFitProgram(scratch, "--smooth=-1", &log), 0);
    EXPECT_NE(log.find("Bad value for '--smooth'"), std::string::npos);
}
