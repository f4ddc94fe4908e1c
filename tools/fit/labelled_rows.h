// The labelled positions as rows of the fit: each line read by the engine's own line reader and its
// features computed by the evaluation's own code, so a row is exactly what "vireo -analyse=" writes
// for the line.
#pragma once
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>
#include "model_fit.h"
#include "../file_handle.h"
#include "../material_search.h"
#include "../../evaluation/features.h"
#include "../../evaluation/model.h"
#include "../../evaluation/training_tools.h"

namespace vireo_fit {

// One labelled position: the fields of its feature row and what the fit needs besides.
struct LabelledRow {
    int men = 0;
    int men_to_move = 0;    // men of the side to move, king included
    int material_class = 0; // signed, as the row writes it; 0 (no field) outside 4..6 men
    int features[FEATURES] = {};
    int label = 0; // the reference score in centipawns
};

// Sets up the position of a "FEN;score in pawns" line as curr_ply and computes its row; false for
// a line the engine's tools skip.
inline bool readLabelledRow(const char* line, LabelledRow* row) {
    if (!readLabelledPosition(line, &row->label)) return false;
    const Side *player = curr_ply->player, *opponent = curr_ply->opponent;
    row->men = popcount(curr_ply->occupancy);
    row->men_to_move = popcount(player->pieces[0]);
    computeFeatures(player, opponent);
    std::copy(_features_, _features_ + FEATURES, row->features);
    row->material_class = row->men >= 4 && row->men <= 6 ? signedMaterialClass(player, opponent) : 0;
    return true;
}

// A whole line of a file, however long.
inline bool readWholeLine(FILE* file, std::string* line) {
    line->clear();
    char buffer[4096];
    while (fgets(buffer, sizeof buffer, file)) {
        *line += buffer;
        if (!line->empty() && line->back() == '\n') return true;
    }
    return !line->empty();
}

// A bare king with every neighbouring square attacked (stalemate) has all features zeroed; the
// engine scores it 0 without asking the model, so it would only bend the fit.
inline bool isZeroedStalemate(const LabelledRow& row) {
    return row.men_to_move == 1 && std::all_of(row.features, row.features + FEATURES, [](int x) { return x == 0; });
}

// The row of the fit, or false (with a message) for a feature out of range.
inline bool makeRow(const LabelledRow& labelled, long line, Row* row) {
    for (int i = 0; i < FEATURES; i++) {
        if (labelled.features[i] < INT16_MIN || labelled.features[i] > INT16_MAX) {
            fprintf(stderr, "Feature %d out of range (position line %ld)\n", i, line);
            return false;
        }
        row->f[i] = int16_t(labelled.features[i]);
    }
    row->material_class = int16_t(labelled.material_class);
    row->label = labelled.label;
    row->men = uint8_t(labelled.men);
    return true;
}

struct RowCounts {
    long lines = 0, skipped = 0, out_of_range = 0, stalemates = 0, quiet = 0;
};

// Reads the position lines into rows and writes the held-out lines: every --every-th block of
// --block lines, unusable lines included. 0 on success, else the exit status. The held-out file is
// created only once the positions can be read.
inline int readRows(const Options& options, std::vector<Row>* rows) {
    FileHandle positions = openFile(options.positions, "r"), heldout;
    if (!positions || !(heldout = openFile(options.heldout, "w"))) {
        fprintf(stderr, "Cannot open '%s'\n", (positions ? options.heldout : options.positions).c_str());
        return 1;
    }
    std::string line;
    RowCounts counts;
    LabelledRow labelled;
    while (readWholeLine(positions.get(), &line)) {
        long index = counts.lines++;
        bool is_held = (index / options.block) % options.every == options.every - 1;
        if (is_held) fputs(line.c_str(), heldout.get());
        if (line.back() != '\n' && is_held) fputc('\n', heldout.get());

        if (!readLabelledRow(line.c_str(), &labelled)) {
            counts.skipped++;
            continue;
        }
        if (isZeroedStalemate(labelled)) {
            counts.stalemates++;
            continue;
        }
        if (labelled.men < MIN_MEN || labelled.men > MAX_MEN) {
            counts.out_of_range++;
            continue;
        }
        bool is_quiet = options.quiet_only && isQuiet();
        Row row;
        if (!makeRow(labelled, index + 1, &row)) return 1;
        row.held = is_held;
        row.quiet = !options.quiet_only || is_quiet;
        counts.quiet += row.quiet && options.quiet_only;
        rows->push_back(row);
    }
    if (!closeFile(heldout)) {
        fprintf(stderr, "Cannot write '%s'\n", options.heldout.c_str());
        return 1;
    }
    printf("%ld position lines, %ld skipped like the engine does, %zu rows used, %ld outside 4..32 men, "
           "%ld bare-king stalemates\n",
           counts.lines, counts.skipped, rows->size(), counts.out_of_range, counts.stalemates);
    if (options.quiet_only) printf("%ld rows are quiet\n", counts.quiet);
    return 0;
}

} // namespace vireo_fit
