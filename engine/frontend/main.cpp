// Start-up: tables first, then either a training tool, the bench, or the engine with its command loop.
#include <cstdio>
#include <cstring>
#include "../engine.h"
#include "../board/notation.h"
#include "../search/alphabeta.h"
#include "../search/ordering.h"
#include "uci.h"
#include "../../sliders/sliders.h"
#include "../../transposition/tt.h"
#include "../../evaluation/syzygy.h"
#include "../../evaluation/training_tools.h"
#include "../../platform/processor.h"
#include "../../platform/stdin.h"

namespace {
void reportProcessor() {
    const char* names[4] = {"'popcnt'", "'avx1'", "'avx2'", "'bmi2'"};
    bool has[4];
    processorFeatures(has);
    printf("info debug Supported instructions : ");
    const char* separator = "";
    for (int i = 0; i < 4; i++)
        if (has[i]) printf("%s%s", separator, names[i]), separator = ", ";
    printf("\n");
}

// Reads the arguments that are not training tools: true when "bench" is among them. Anything else
// is named in a notice and otherwise ignored, since some GUIs pass arguments of their own.
bool readArguments(int argc, char** argv) {
    bool bench = false;
    for (int i = 1; i < argc; i++) {
        if (!strcmp(argv[i], "bench")) bench = true;
        else printf("info string Unknown argument '%s' (accepted: bench, -analyse=FILE, -score=FILE)\n", argv[i]);
    }
    return bench;
}
} // namespace

int main(int argc, char** argv) {
    setUpConsole();
    initColours();
    initSliders();
    initCentrality();
    for (int i = 1; i < argc; i++) {
        if (const char* p = strstr(argv[i], "-analyse=")) return analyseTool(p + strlen("-analyse="));
        if (const char* p = strstr(argv[i], "-score=")) return scoreTool(p + strlen("-score="));
    }
    printf("%s ('quit' to exit)\n", ENGINE_NAME);
    reportProcessor();
    bool bench = readArguments(argc, argv);
    initReductions();
    initSyzygy("<empty>");
    createTT(128);
    setPosition(START_FEN, nullptr, nullptr);
    newGame();
    if (bench) {
        // Nobody talks to a bench started from the command line, and its searches stop at waiting
        // input: stray input (a terminal, a test harness's pipe) must not cut them short.
        detachStandardInput();
        commandLineBench();
        quitEngine();
    }
    commandLoop();
}
