// Start-up: tables first, then either a training tool or the engine with its command loop.
#include <cstdio>
#include <cstring>
#include "../board/board.h"
#include "../board/notation.h"
#include "../search/alphabeta.h"
#include "../search/ordering.h"
#include "../search/search.h"
#include "uci.h"
#include "../../sliders/sliders.h"
#include "../../transposition/tt.h"
#include "../../evaluation/evaluation.h"

namespace {
void reportProcessor() {
    const char* names[4] = {"'popcnt'", "'avx1'", "'avx2'", "'bmi2'"};
    bool has[4] = {(bool)__builtin_cpu_supports("popcnt"), (bool)__builtin_cpu_supports("avx"),
                   (bool)__builtin_cpu_supports("avx2"), (bool)__builtin_cpu_supports("bmi2")};
    printf("info debug Supported instructions : ");
    const char* separator = "";
    for (int i = 0; i < 4; i++)
        if (has[i]) printf("%s%s", separator, names[i]), separator = ", ";
    printf("\n");
}
} // namespace

int main(int argc, char** argv) {
    setvbuf(stdout, nullptr, _IONBF, 0);
    initColours();
    initSliders();
    initCentrality();
    for (int i = 1; i < argc; i++) {
        if (const char* p = strstr(argv[i], "-analyse=")) return analyseTool(p + strlen("-analyse="));
        if (const char* p = strstr(argv[i], "-score=")) return scoreTool(p + strlen("-score="));
    }
    printf("%s ('quit' to exit)\n", ENGINE_NAME);
    reportProcessor();
    initReductions();
    initSyzygy("<empty>");
    createTT(128);
    setPosition(START_FEN, nullptr, nullptr);
    newGame();
    commandLoop();
}
