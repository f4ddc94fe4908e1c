// The weight fitter, run as a program on data made from a known model: it must pair rows with
// their positions, give the class term its sign, split off the held-out blocks and write the
// tables back with the weights it was given.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/engine_run.h"

namespace {

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

} // namespace

TEST(FitModel, RecoversTheWeightsOfAKnownModel) {
    std::string tool = buildDirectory() + "/fit_model";
    if (access(tool.c_str(), X_OK) != 0) GTEST_SKIP() << "fit_model is not built next to the engine";
    ScratchDir scratch;
    ASSERT_FALSE(scratch.path().empty());
    const std::string& dir = scratch.path();

    // Four positions: rook ending (4 men, class field), 5 and 10 men, and the initial position.
    struct Sample {
        const char* fen;
        int men, men_to_move, material_class;
    };
    const Sample samples[] = {
        {"4k3/4r3/8/8/8/8/3R4/3K4 w - - 0 1", 4, 2, 16},
        {"4k3/4r3/8/8/8/8/3RP3/3K4 b - - 0 1", 5, 2, -40},
        {"4k3/pp2r1p1/8/8/8/8/PPRP4/3K4 w - - 0 1", 10, 5, 0},
        {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", 32, 16, 0},
    };
    // The known model: weights of features 1..126 and the two class values.
    std::vector<double> truth(127);
    for (int i = 1; i < 127; i++) truth[i] = (i % 13) * 7 - 40;
    const double bias4 = 300, bias5 = -120;

    std::mt19937 rng(7);
    std::ofstream positions(dir + "/positions.txt"), features(dir + "/features.csv");
    const int rows = 8000;
    for (int n = 0; n < rows; n++) {
        // An unusable line first now and then: the engine writes no row for it.
        if (n % 97 == 0) positions << "this is no position;1.0\n";
        const Sample& s = samples[n % 4];
        std::vector<int> f(127);
        f[0] = 2 * s.men_to_move - s.men;
        for (int i = 1; i < 127; i++) f[i] = int(rng() % 7) - 3;
        double score = 0;
        for (int i = 1; i < 127; i++) score += truth[i] * f[i];
        int material_class = s.material_class;
        if (s.men == 4) {
            material_class = rng() % 2 ? 16 : -16;
            score += material_class > 0 ? bias4 : -bias4;
        } else if (s.men == 5) {
            material_class = rng() % 2 ? 40 : -40;
            score += material_class > 0 ? bias5 : -bias5;
        }
        int cp = int(std::lround(score));
        positions << s.fen << ";" << cp / 100.0 << "\n";
        if (material_class) features << material_class << ";";
        for (int i = 0; i < 127; i++) features << f[i] << ";";
        features << cp << "\n";
    }
    positions.close();
    features.close();

    std::string command = tool + " --positions=" + dir + "/positions.txt --features=" + dir +
                          "/features.csv --weights=" + dir + "/weights.cpp --heldout=" + dir +
                          "/heldout.txt --block=10 --every=5 --lambda=0.01 --max-rmse=1 > " + dir + "/log.txt";
    ASSERT_EQ(system(command.c_str()), 0) << scratch.read("log.txt");

    std::string source = scratch.read("weights.cpp");
    std::vector<double> weights = tableValues(source, "eval_weights");
    ASSERT_EQ(weights.size(), 29u * 128u);
    for (int men : {4, 5, 10, 32})
        for (int i = 1; i < 127; i++)
            EXPECT_NEAR(weights[(men - 4) * 128 + i], truth[i], 0.05) << men << " men, weight " << i;
    // The piece count never varies among 32 men: the ridge leaves its weight at 0.
    EXPECT_EQ(weights[28 * 128], 0.0);
    // Rows of a piece count that never occurs keep all-zero weights.
    for (int i = 0; i < 128; i++) EXPECT_EQ(weights[(20 - 4) * 128 + i], 0.0);

    std::vector<double> bias = tableValues(source, "endgame_bias");
    ASSERT_EQ(bias.size(), 31u + 111u + 366u);
    EXPECT_NEAR(bias[16], bias4, 1.0);
    EXPECT_NEAR(bias[31 + 40], bias5, 1.0);
    EXPECT_EQ(bias[0], 0.0);

    // Every fifth block of ten position lines is held out, unusable lines included.
    std::ifstream held(dir + "/heldout.txt");
    std::string line;
    int held_lines = 0;
    while (std::getline(held, line)) held_lines++;
    int all_lines = rows + (rows + 96) / 97;
    EXPECT_EQ(held_lines, (all_lines / 50) * 10 + std::max(0, all_lines % 50 - 40));

    // A target that is not a regular file is written in place, not replaced by a file.
    std::string pipe = dir + "/weights.pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    // The test holds a writer end of its own, so that the reader sees the end of the data only once
    // the tool is done with the pipe, whether it wrote to it or not.
    int read_end = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    int own_writer = open(pipe.c_str(), O_WRONLY | O_NONBLOCK);
    ASSERT_TRUE(read_end >= 0 && own_writer >= 0);
    fcntl(read_end, F_SETFL, 0);
    std::string piped;
    std::thread reader([&] {
        char buffer[4096];
        for (ssize_t n; (n = read(read_end, buffer, sizeof buffer)) > 0;) piped.append(buffer, size_t(n));
    });
    command.replace(command.find(dir + "/weights.cpp"), (dir + "/weights.cpp").size(), pipe);
    int status = system(command.c_str());
    close(own_writer);
    reader.join();
    close(read_end);
    EXPECT_EQ(status, 0);
    struct stat after;
    ASSERT_EQ(stat(pipe.c_str(), &after), 0);
    EXPECT_TRUE(S_ISFIFO(after.st_mode));
    EXPECT_EQ(piped, source);
}

// The rows come from the engine's own "-analyse=": lines that the engine reads in its own way (a
// stalemate with any score, a side letter other than "w") must still pair with their rows.
TEST(FitModel, PairsWithTheRowsTheEngineWrites) {
    std::string tool = buildDirectory() + "/fit_model";
    if (access(tool.c_str(), X_OK) != 0) GTEST_SKIP() << "fit_model is not built next to the engine";
    ScratchDir scratch;
    ASSERT_FALSE(scratch.path().empty());
    const std::string& dir = scratch.path();

    std::ofstream positions(dir + "/positions.txt");
    const char* fens[] = {"4k3/4r3/8/8/8/8/3R4/3K4 w - - 0 1", "4k3/pp2r1p1/8/8/8/8/PPRP4/3K4 w - - 0 1",
                          "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"};
    for (int n = 0; n < 300; n++) {
        positions << fens[n % 3] << ";" << (n % 17) / 10.0 << "\n";
        if (n == 100) positions << "7k/5K2/6Q1/8/8/8/P7/8 b - - 0 1;400\n";
        if (n == 200) positions << "7k/5K2/6Q1/8/8/8/P7/8 B - - 0 1;0.5\n";
        if (n == 250) positions << "4k3/8/8/8/8/8/8/4K2R w K - 0 1 extra;0.5\n";
    }
    positions.close();

    ASSERT_EQ(runEngine(scratch, "-analyse=positions.txt").status, 0);
    std::string command = "cd " + dir + " && " + tool + " > log.txt 2>&1";
    EXPECT_EQ(system(command.c_str()), 0) << scratch.read("log.txt");
    EXPECT_NE(scratch.read("log.txt").find("303 position lines, 0 skipped like the engine does, 300 rows used, "
                                           "0 without a row, 1 outside 4..32 men, 2 bare-king stalemates"),
              std::string::npos)
        << scratch.read("log.txt");
}

// What the fit aims at: only positions where no exchange is pending (--quiet-only), win
// expectations rather than centipawns (the logistic loss), and a scale over the whole table.
TEST(FitModel, QuietPositionsLogisticLossAndScale) {
    std::string tool = buildDirectory() + "/fit_model";
    if (access(tool.c_str(), X_OK) != 0) GTEST_SKIP() << "fit_model is not built next to the engine";
    ScratchDir scratch;
    ASSERT_FALSE(scratch.path().empty());
    const std::string& dir = scratch.path();

    // Quiet: the initial position, a rook ending, a pawn that only a losing capture can take (the
    // knight would be taken back by the d6 pawn). Not quiet: a hanging queen, a rook that wins a
    // knight, a pawn that promotes.
    const char* quiet[] = {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
                           "4k3/4r3/8/8/8/8/3R4/3K4 w - - 0 1", "4k3/8/3p4/4p3/8/5N2/8/4K3 w - - 0 1"};
    const char* busy[] = {"4k3/8/8/3q4/8/8/8/3RK3 w - - 0 1", "4k3/8/8/3n4/8/8/8/3RK3 w - - 0 1",
                          "4k3/1P6/8/8/8/8/7p/4K3 w - - 0 1"};
    {
        std::ofstream positions(dir + "/positions.txt");
        for (int n = 0; n < 600; n++) positions << (n % 2 ? busy : quiet)[n / 2 % 3] << ";" << (n % 7) / 10.0 << "\n";
    }
    ASSERT_EQ(runEngine(scratch, "-analyse=positions.txt").status, 0);
    auto fit = [&](const std::string& options) {
        std::string command = "cd " + dir + " && " + tool + " " + options + " > log.txt 2>&1";
        EXPECT_EQ(system(command.c_str()), 0) << scratch.read("log.txt");
        return scratch.read("log.txt");
    };
    std::string log = fit("--quiet-only --loss=mse");
    EXPECT_NE(log.find("600 rows used"), std::string::npos) << log;
    EXPECT_NE(log.find("300 rows are quiet"), std::string::npos) << log;
    EXPECT_NE(scratch.read("weights.cpp").find("least squares, quiet positions, ridge 5; fitted on 300 positions"),
              std::string::npos);

    // A known linear model with scores of a few pawns: the logistic fit finds it again, and
    // --scale multiplies every weight and class value it writes.
    std::vector<double> truth(127);
    for (int i = 1; i < 127; i++) truth[i] = (i % 5) * 6 - 12;
    std::mt19937 rng(11);
    {
        std::ofstream positions(dir + "/positions.txt"), features(dir + "/features.csv");
        for (int n = 0; n < 6000; n++) {
            std::vector<int> f(127);
            f[0] = 0;
            for (int i = 1; i < 127; i++) f[i] = int(rng() % 5) - 2;
            double score = 0;
            for (int i = 1; i < 127; i++) score += truth[i] * f[i];
            int material_class = rng() % 2 ? 16 : -16;
            score += material_class > 0 ? 150 : -150;
            int cp = int(std::lround(score));
            positions << "4k3/4r3/8/8/8/8/3R4/3K4 w - - 0 1;" << cp / 100.0 << "\n";
            features << material_class << ";";
            for (int i = 0; i < 127; i++) features << f[i] << ";";
            features << cp << "\n";
        }
    }
    for (double scale : {1.0, 1.5}) {
        log = fit("--loss=logistic --sigmoid=300 --lambda=0.01 --block=10 --every=5 --scale=" + std::to_string(scale));
        std::string source = scratch.read("weights.cpp");
        EXPECT_NE(source.find("logistic loss, sigmoid 300 cp"), std::string::npos);
        std::vector<double> weights = tableValues(source, "eval_weights");
        ASSERT_EQ(weights.size(), 29u * 128u);
        for (int i = 1; i < 127; i++) EXPECT_NEAR(weights[i], scale * truth[i], 0.2 * scale) << "weight " << i;
        EXPECT_NEAR(tableValues(source, "endgame_bias")[16], scale * 150, 2 * scale);
    }

    // tools/train.sh made the committed tables with its RECIPE: passed as the script passes it, with
    // the paths in either spelling, it must still give the settings that evaluation/weights.cpp names.
    auto text = [](const std::string& path) {
        std::ifstream in(path);
        return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    };
    auto settings = [](const std::string& source) {
        size_t open = source.find('(');
        return source.substr(open, source.find(';') - open);
    };
    std::string script = text(VIREO_SOURCE_DIR "/tools/train.sh");
    size_t at = script.find("\nRECIPE=\"");
    ASSERT_NE(at, std::string::npos);
    std::string recipe = script.substr(at + 9, script.find('"', at + 9) - at - 9);
    std::string committed = settings(text(VIREO_SOURCE_DIR "/evaluation/weights.cpp"));
    ASSERT_GT(committed.size(), 1u) << "no settings in evaluation/weights.cpp";
    for (const char* paths : {"--positions=positions.txt --features=features.csv --weights=weights.cpp",
                              "--positions positions.txt --features features.csv --weights weights.cpp"}) {
        fit(std::string(paths) + " --heldout=heldout.txt " + recipe);
        EXPECT_EQ(settings(scratch.read("weights.cpp")), committed) << paths;
    }
}

// --smooth pulls the vectors of neighbouring piece counts together. Rows of 10 and 12 men from one
// known model: smoothed, every count (also 11 and the others without a single row) takes that
// model, and the vectors of neighbours end up nearly equal; without smoothing the counts without
// rows keep zero weights. --smooth=0 is the fit of old, byte for byte, with the committed recipe.
TEST(FitModel, SmoothingAcrossPieceCounts) {
    std::string tool = buildDirectory() + "/fit_model";
    if (access(tool.c_str(), X_OK) != 0) GTEST_SKIP() << "fit_model is not built next to the engine";
    ScratchDir scratch;
    ASSERT_FALSE(scratch.path().empty());
    const std::string& dir = scratch.path();
    const char* fens[] = {"4k3/pp2r1p1/8/8/8/8/PPRP4/3K4 w - - 0 1", "4k3/ppp1r1p1/8/8/8/8/PPRPP3/3K4 w - - 0 1"};
    std::vector<double> truth(127);
    for (int i = 1; i < 127; i++) truth[i] = (i % 11) * 5 - 25;
    std::mt19937 rng(5);
    {
        std::ofstream positions(dir + "/positions.txt"), features(dir + "/features.csv");
        for (int n = 0; n < 4000; n++) {
            std::vector<int> f(127);
            for (int i = 1; i < 127; i++) f[i] = int(rng() % 5) - 2;
            double score = 0;
            for (int i = 1; i < 127; i++) score += truth[i] * f[i];
            int cp = int(std::lround(score));
            positions << fens[n % 2] << ";" << cp / 100.0 << "\n";
            for (int i = 0; i < 127; i++) features << f[i] << ";";
            features << cp << "\n";
        }
    }
    auto fit = [&](const std::string& options) {
        std::string command = "cd " + dir + " && " + tool + " " + options + " > log.txt 2>&1";
        EXPECT_EQ(system(command.c_str()), 0) << scratch.read("log.txt");
        return tableValues(scratch.read("weights.cpp"), "eval_weights");
    };
    std::vector<double> alone = fit("--loss=mse --lambda=0.01");
    std::vector<double> smoothed = fit("--loss=mse --lambda=0.01 --smooth=1000");
    EXPECT_NE(scratch.read("weights.cpp").find("smoothed across piece counts 1000"), std::string::npos);
    ASSERT_EQ(alone.size(), 29u * 128u);
    ASSERT_EQ(smoothed.size(), 29u * 128u);
    for (int i = 1; i < 127; i++) {
        EXPECT_NEAR(alone[(10 - 4) * 128 + i], truth[i], 0.05) << "weight " << i;
        EXPECT_EQ(alone[(11 - 4) * 128 + i], 0.0) << "weight " << i;
        for (int men : {4, 10, 11, 12, 20, 32})
            EXPECT_NEAR(smoothed[(men - 4) * 128 + i], truth[i], 0.5) << men << " men, weight " << i;
    }
    double widest = 0;
    for (int k = 0; k + 1 < 29; k++)
        for (int i = 0; i < 128; i++)
            widest = std::max(widest, std::abs(smoothed[k * 128 + i] - smoothed[(k + 1) * 128 + i]));
    EXPECT_LT(widest, 0.1);

    // The logistic steps are smoothed too.
    std::vector<double> logistic = fit("--sigmoid=400 --lambda=0.01 --smooth=1000");
    for (int i = 1; i < 127; i++) EXPECT_NEAR(logistic[(11 - 4) * 128 + i], truth[i], 1.0) << "weight " << i;

    std::string script;
    {
        std::ifstream in(VIREO_SOURCE_DIR "/tools/train.sh");
        script.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    size_t at = script.find("\nRECIPE=\"");
    ASSERT_NE(at, std::string::npos);
    std::string recipe = script.substr(at + 9, script.find('"', at + 9) - at - 9);
    // The recipe without its own smoothing, against the same with --smooth=0.
    size_t smooth = recipe.find(" --smooth=");
    if (smooth != std::string::npos) recipe.erase(smooth, recipe.find(' ', smooth + 1) - smooth);
    fit(recipe);
    std::string plain = scratch.read("weights.cpp");
    fit(recipe + " --smooth=0");
    EXPECT_EQ(scratch.read("weights.cpp"), plain);
    std::string refused = "cd " + dir + " && " + tool + " --smooth=-1 > log.txt 2>&1";
    EXPECT_NE(system(refused.c_str()), 0);
    EXPECT_NE(scratch.read("log.txt").find("Bad value for '--smooth'"), std::string::npos);
}
