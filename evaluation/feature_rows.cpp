// Rows are formatted by hand into one buffer and written with a single call: the training
// tool writes a million of them, and a formatted call per field would dominate its run time.
#include "feature_rows.h"
#include "features.h"
#include "model.h"

namespace {
char* appendInt(char* out, int value) {
    unsigned magnitude = value < 0 ? 0u - unsigned(value) : unsigned(value);
    if (value < 0) *out++ = '-';
    char digits[12];
    int n = 0;
    do {
        digits[n++] = char('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude);
    while (n) *out++ = digits[--n];
    return out;
}
} // namespace

void writeFeatures(const Side* player, const Side* opponent, FILE* file, int reference) {
    char line[(NUM_FEATURES + 2) * 12 + 2];
    char* out = line;
    int men = popcount(player->pieces[0] | opponent->pieces[0]);
    if (men >= 4 && men <= 6) {
        out = appendInt(out, signedMaterialClass(player, opponent));
        *out++ = ';';
    }
    int count = _features_[MAX_FEATURES - 1];
    for (int i = 0; i < count; i++) {
        out = appendInt(out, _features_[i]);
        *out++ = ';';
    }
    out = appendInt(out, reference);
    *out++ = '\n';
    fwrite(line, 1, size_t(out - line), file);
}
