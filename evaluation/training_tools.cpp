// The two command-line tools for fitting the evaluation: "-analyse=FILE" writes the feature rows
// of the positions of FILE to "features.csv", "-score=FILE" compares the evaluation with the
// reference scores. Each input line is a FEN, ";" and a reference score in pawns.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include "evaluation.h"
#include "training_tools.h"
#include "feature_rows.h"
#include "features.h"
#include "../engine/board/movegen.h"
#include "../engine/board/notation.h"
#include "../platform/files.h"

namespace {

constexpr int LINE_SIZE = 256; // longer lines are read in pieces, each taken as a line of its own

// An input that reads as a file of lines: fopen also opens a directory, whose first read then fails.
FILE* openInput(const char* name) {
    FILE* file = fopen(name, "r");
    struct stat about;
    bool readable = file && fstat(fileno(file), &about) == 0 && !S_ISDIR(about.st_mode);
    if (readable) {
        int first = getc(file);
        readable = !ferror(file);
        if (first != EOF) ungetc(first, file);
    }
    if (!readable) {
        fprintf(stderr, "Cannot open '%s'\n", name);
        if (file) fclose(file);
        return nullptr;
    }
    return file;
}

void reportIgnored(unsigned long long lines, unsigned long long samples) {
    if (lines != samples) printf("Warning, %llu positions ignored\n", lines - samples);
}

} // namespace

bool readLabelledPosition(const char* line, int* stock_eval) {
    const char* separator = strchr(line, ';');
    if (!separator) return false;
    // The FEN reader takes its fields from the front; cutting at ";" keeps the score out of them.
    char fen[LINE_SIZE];
    size_t length = size_t(separator - line);
    if (length >= sizeof fen) return false;
    memcpy(fen, line, length);
    fen[length] = 0;
    if (!parseFen(fen)) return false;
    computeAttacks();
    if (curr_ply->player->attacks->checkers) return false;
    double pawns;
    if (sscanf(separator + 1, "%lf", &pawns) != 1) return false;
    generateMoves(GEN_ALL);
    if (curr_ply->generated == 0) { // stalemate
        *stock_eval = 0;
        return true;
    }
    double centipawns = std::round(pawns * 100); // halves away from zero
    if (!(centipawns >= INT16_MIN && centipawns <= INT16_MAX)) return false;
    *stock_eval = int(centipawns);
    return true;
}

int analyseTool(const char* file_name) {
    const char* output_name = "features.csv";
    FILE* file_in = openInput(file_name);
    if (!file_in) return 1;
    // The output is created only now that the input is known to be readable, and never over it.
    FILE* file_ou = isSameFile(file_in, output_name) ? nullptr : fopen(output_name, "w");
    if (!file_ou) {
        fprintf(stderr, "Cannot open '%s'\n", output_name);
        fclose(file_in);
        return 1;
    }
    static char output_buffer[1 << 20];
    setvbuf(file_ou, output_buffer, _IOFBF, sizeof output_buffer);

    unsigned long long lines = 0, samples = 0;
    char line[LINE_SIZE];
    while (fgets(line, sizeof line, file_in)) {
        lines++;
        int stock_eval;
        if (!readLabelledPosition(line, &stock_eval)) continue;
        computeFeatures(curr_ply->player, curr_ply->opponent);
        writeFeatures(curr_ply->player, curr_ply->opponent, file_ou, stock_eval);
        samples++;
    }
    fclose(file_in);
    fclose(file_ou);
    reportIgnored(lines, samples);
    return 0;
}

int scoreTool(const char* file_name) {
    FILE* file_in = openInput(file_name);
    if (!file_in) return 1;
    // One line per disagreement: buffer them rather than write each on its own.
    static char output_buffer[1 << 16];
    fflush(stdout);
    setvbuf(stdout, output_buffer, _IOFBF, sizeof output_buffer);

    unsigned long long lines = 0, samples = 0, error = 0;
    char line[LINE_SIZE];
    while (fgets(line, sizeof line, file_in)) {
        lines++;
        int stock_eval;
        if (!readLabelledPosition(line, &stock_eval)) continue;
        int e = evaluate(curr_ply);
        int delta = e - stock_eval;
        if (delta) printf("delta = %i, vireo = %i, stock = %i : %s", delta, e, stock_eval, line);
        error += unsigned(delta) * unsigned(delta);
        samples++;
    }
    fclose(file_in);
    reportIgnored(lines, samples);
    double mse = samples ? double(error) / double(samples) : 0.0;
    printf("Samples = %llu, error = %llu, mse = %0.3f, rmse = %0.3f\n", samples, error, mse, std::sqrt(mse));
    fflush(stdout);
    return 0;
}
