// The header of a Syzygy file declares, for each file of the leading pawn (one for tables without
// pawns) and each side to move it stores, the pieces and the order of their groups, then the
// parameters of its compressed data: block size, index span, block count, the code lengths and the
// pairs tree of the symbols. From those follow the sizes of the sparse index, of the block length
// table and of the data, and the file ends 16 bytes (a checksum) after the data, padded to 64 bytes. All of that is
// read and added up here without trusting a byte: a file whose parts do not add up is refused
// before the library maps it. This follows the layout that the library and other probing code read.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>
#include "syzygy_check.h"
#include "syzygy_path.h"
#include "../platform/files.h"

namespace {

constexpr uint8_t WDL_MAGIC[4] = {0x71, 0xe8, 0x23, 0x5d};
constexpr uint8_t DTZ_MAGIC[4] = {0xd7, 0x66, 0x0c, 0xa5};
constexpr int MAX_MEN = 7;
enum { PAWN = 1, KING = 6, BLACK_BIT = 8 };
enum { FLAG_SPLIT = 1, FLAG_PAWNS = 2 };
enum { PAIRS_MAPPED = 2, PAIRS_WIDE = 16, PAIRS_SINGLE_VALUE = 128 };

uint64_t binomial(int k, int n) {
    if (k < 0 || n < 0 || k > n) return 0;
    uint64_t r = 1;
    for (int i = 1; i <= k; i++) r = r * uint64_t(n - k + i) / uint64_t(i);
    return r;
}

// The number of ways to place `count` leading pawns, the first on file `file` (a..d), as the
// tables index them: the leading pawn is the one on the lowest square in their own ordering.
uint64_t leadPawnsSize(int count, int file) {
    int map[64] = {0};
    int available = 47;
    for (int f = 0; f < 4; f++)
        for (int r = 1; r <= 6; r++) {
            int sq = r * 8 + f;
            map[sq] = available--;
            map[sq ^ 7] = available--;
        }
    uint64_t size = 0;
    for (int r = 1; r <= 6; r++) size += binomial(count - 1, map[r * 8 + file]);
    return size;
}

// The material of a table from its name ("KRPvKR"): piece codes 1..6 for the left side (white),
// 9..14 for the right; false when the name is not one of a table.
struct Material {
    int count[16] = {0};
    int men = 0;
    bool symmetric = false;
};

bool readName(const char* name, Material* m) {
    const char* v = strchr(name, 'v');
    if (!v || name[0] != 'K' || v[1] != 'K') return false;
    if (strcmp(v + 1 + strcspn(v + 1, "."), ".rtbw") && strcmp(v + 1 + strcspn(v + 1, "."), ".rtbz")) return false;
    size_t left = size_t(v - name), right = strcspn(v + 1, ".");
    m->symmetric = left == right && !strncmp(name, v + 1, left);
    const char* letters = "PNBRQK";
    for (size_t i = 0; i < left + 1 + right; i++) {
        if (name + i == v) continue;
        const char* at = strchr(letters, name[i]);
        if (!at || !*at) return false;
        m->count[(at - letters + 1) | (name + i > v ? BLACK_BIT : 0)]++;
        m->men++;
    }
    return m->count[KING] == 1 && m->count[KING | BLACK_BIT] == 1 && m->men <= MAX_MEN;
}

class Reader {
public:
    Reader(const uint8_t* data, uint64_t size) : data_(data), size_(size) {}
    bool has(uint64_t n) const { return pos_ <= size_ && n <= size_ - pos_; }
    uint8_t byte() { return data_[pos_++]; }
    uint16_t word() {
        uint16_t w = uint16_t(data_[pos_] | data_[pos_ + 1] << 8);
        pos_ += 2;
        return w;
    }
    uint32_t dword() {
        uint32_t d = uint32_t(data_[pos_]) | uint32_t(data_[pos_ + 1]) << 8 | uint32_t(data_[pos_ + 2]) << 16 |
                     uint32_t(data_[pos_ + 3]) << 24;
        pos_ += 4;
        return d;
    }
    const uint8_t* here() const { return data_ + pos_; }
    uint64_t pos() const { return pos_; }
    // Moves on by n bytes; false when that passes the end.
    bool skip(uint64_t n) {
        if (!has(n)) return false;
        pos_ += n;
        return true;
    }
    bool align(uint64_t to) { return skip((to - pos_ % to) % to); }
    uint64_t size() const { return size_; }

private:
    const uint8_t* data_;
    uint64_t size_;
    uint64_t pos_ = 0;
};

// What the header declares for one file and side to move.
struct Pairs {
    uint8_t pieces[MAX_MEN];
    int group_len[MAX_MEN + 1];
    int groups;
    uint64_t table_size; // positions indexed
    uint8_t flags;
    uint64_t block_size, span, blocks, block_lengths;
};

// The groups of the pieces and the number of positions they index, in the order the header gives.
bool setGroups(Pairs* d, const Material& m, int men, bool pawns, int order0, int order1, int file, std::string* why) {
    bool unique = false;
    for (int c = 1; c < KING; c++) unique |= m.count[c] == 1 || m.count[c | BLACK_BIT] == 1;
    bool both_pawns = pawns && m.count[PAWN] && m.count[PAWN | BLACK_BIT];
    int first_len = pawns ? 0 : unique ? 3 : 2;
    int n = 0;
    d->group_len[0] = 1;
    for (int i = 1; i < men; i++)
        if (--first_len > 0 || d->pieces[i] == d->pieces[i - 1]) d->group_len[n]++;
        else d->group_len[++n] = 1;
    d->group_len[++n] = 0;
    d->groups = n;
    if (pawns && (d->pieces[0] & 7) != PAWN) return *why = "the leading piece is not a pawn", false;
    if (pawns && d->group_len[0] > 5) return *why = "too many leading pawns", false;
    if (both_pawns && (n < 2 || (d->pieces[d->group_len[0]] & 7) != PAWN))
        return *why = "no second group of pawns", false;
    if (order0 >= n || (both_pawns ? order1 >= n || order1 == order0 : order1 != 0xf))
        return *why = "a group order out of range", false;
    int next = both_pawns ? 2 : 1;
    int free_squares = 64 - d->group_len[0] - (both_pawns ? d->group_len[1] : 0);
    uint64_t idx = 1;
    for (int k = 0; next < n || k == order0 || k == order1; k++) {
        if (k > MAX_MEN) return *why = "a group order out of range", false;
        if (k == order0) idx *= pawns ? leadPawnsSize(d->group_len[0], file) : unique ? 31332 : 462;
        else if (k == order1) idx *= binomial(d->group_len[1], 48 - d->group_len[0]);
        else {
            idx *= binomial(d->group_len[next], free_squares);
            free_squares -= d->group_len[next++];
        }
    }
    if (next != n || idx == 0) return *why = "a group order out of range", false;
    d->table_size = idx;
    return true;
}

// Each symbol is a single value or a pair of two other symbols: the pairs must name symbols that
// exist and must not form a cycle, or expanding a symbol never ends.
bool pairsTreeSound(const uint8_t* tree, uint32_t symbols) {
    static uint8_t state[4096]; // 0 not seen, 1 being expanded, 2 done
    static uint32_t stack[2 * 4096 + 2];
    memset(state, 0, symbols);
    auto pair = [&](uint32_t s, uint32_t* left, uint32_t* right) {
        const uint8_t* w = tree + 3 * s;
        *right = uint32_t(w[2]) << 4 | w[1] >> 4;
        *left = uint32_t(w[1] & 0xf) << 8 | w[0];
        return *right != 0xfff;
    };
    for (uint32_t root = 0; root < symbols; root++) {
        if (state[root]) continue;
        int top = 0;
        stack[top++] = root;
        while (top) {
            uint32_t s = stack[top - 1], left, right;
            if (state[s] == 2) {
                top--;
                continue;
            }
            if (!pair(s, &left, &right)) {
                state[s] = 2;
                top--;
                continue;
            }
            if (left >= symbols || right >= symbols) return false;
            if (state[s] == 1) { // both halves are done now
                state[s] = 2;
                top--;
                continue;
            }
            state[s] = 1;
            for (uint32_t half : {left, right}) {
                if (state[half] == 1) return false;
                if (state[half] == 0) stack[top++] = half;
            }
        }
    }
    return true;
}

// The compression parameters and the pairs tree of one file and side.
bool setSizes(Pairs* d, Reader& r, std::string* why) {
    if (!r.has(1)) return *why = "the header ends early", false;
    d->flags = r.byte();
    d->blocks = d->block_lengths = d->block_size = d->span = 0;
    if (d->flags & PAIRS_SINGLE_VALUE) {
        if (!r.skip(1)) return *why = "the header ends early", false;
        return true;
    }
    if (!r.has(10)) return *why = "the header ends early", false;
    int block_bits = r.byte(), span_bits = r.byte();
    if (block_bits > 24 || span_bits > 40 || span_bits == 0)
        return *why = "a block size or index span out of range", false;
    d->block_size = uint64_t(1) << block_bits;
    d->span = uint64_t(1) << span_bits;
    uint8_t padding = r.byte();
    d->blocks = r.dword();
    d->block_lengths = d->blocks + padding;
    int max_len = r.byte(), min_len = r.byte();
    if (min_len < 1 || max_len < min_len || max_len > 32) return *why = "code lengths out of range", false;
    int lengths = max_len - min_len + 1;
    if (!r.has(uint64_t(lengths) * 2 + 2)) return *why = "the header ends early", false;
    const uint8_t* lowest = r.here();
    r.skip(uint64_t(lengths) * 2);
    uint32_t symbols = r.word();
    for (int i = 0; i < lengths; i++)
        if (uint32_t(lowest[2 * i] | lowest[2 * i + 1] << 8) > symbols) return *why = "a symbol out of range", false;
    if (symbols == 0 || symbols > 4096) return *why = "a symbol count out of range", false;
    if (!r.has(uint64_t(symbols) * 3 + (symbols & 1))) return *why = "the header ends early", false;
    if (!pairsTreeSound(r.here(), symbols)) return *why = "the pairs tree is broken", false;
    r.skip(uint64_t(symbols) * 3 + (symbols & 1));
    return true;
}

bool checkLayout(const uint8_t* data, uint64_t size, const Material& m, bool dtz, std::string* why) {
    Reader r(data, size);
    if (!r.has(5)) return *why = "shorter than its header", false;
    if (memcmp(data, dtz ? DTZ_MAGIC : WDL_MAGIC, 4)) return *why = "wrong magic number", false;
    r.skip(4);
    bool pawns = m.count[PAWN] || m.count[PAWN | BLACK_BIT];
    bool both_pawns = m.count[PAWN] && m.count[PAWN | BLACK_BIT];
    uint8_t flags = r.byte();
    if (bool(flags & FLAG_PAWNS) != pawns) return *why = "the pawn flag does not fit the material", false;
    if (!dtz && bool(flags & FLAG_SPLIT) == m.symmetric) return *why = "the side flag does not fit the material", false;
    int sides = !dtz && !m.symmetric ? 2 : 1, files = pawns ? 4 : 1;
    static Pairs pairs[4][2];
    for (int f = 0; f < files; f++) {
        if (!r.has(1 + both_pawns + m.men)) return *why = "the header ends early", false;
        uint8_t o0 = r.byte(), o1 = both_pawns ? r.byte() : 0xff;
        int order[2][2] = {{o0 & 0xf, both_pawns ? o1 & 0xf : 0xf}, {o0 >> 4, both_pawns ? o1 >> 4 : 0xf}};
        for (int k = 0; k < m.men; k++) {
            uint8_t b = r.byte();
            for (int i = 0; i < sides; i++) pairs[f][i].pieces[k] = i ? b >> 4 : b & 0xf;
        }
        for (int i = 0; i < sides; i++) {
            int seen[16] = {0};
            for (int k = 0; k < m.men; k++) seen[pairs[f][i].pieces[k]]++;
            if (memcmp(seen, m.count, sizeof seen)) return *why = "the pieces do not fit the name", false;
            if (!setGroups(&pairs[f][i], m, m.men, pawns, order[i][0], order[i][1], f, why)) return false;
        }
    }
    if (!r.align(2)) return *why = "the header ends early", false;
    for (int f = 0; f < files; f++)
        for (int i = 0; i < sides; i++)
            if (!setSizes(&pairs[f][i], r, why)) return false;
    if (dtz) {
        for (int f = 0; f < files; f++) {
            if (!(pairs[f][0].flags & PAIRS_MAPPED)) continue;
            bool wide = pairs[f][0].flags & PAIRS_WIDE;
            if (wide && !r.align(2)) return *why = "the header ends early", false;
            for (int i = 0; i < 4; i++) {
                if (!r.has(wide ? 2 : 1)) return *why = "the header ends early", false;
                uint64_t entries = wide ? r.word() : r.byte();
                if (!r.skip(wide ? 2 * entries : entries)) return *why = "the value map ends early", false;
            }
        }
        if (!r.align(2)) return *why = "the header ends early", false;
    }
    for (int f = 0; f < files; f++)
        for (int i = 0; i < sides; i++) {
            const Pairs& d = pairs[f][i];
            uint64_t entries = d.span ? (d.table_size + d.span - 1) / d.span : 0;
            if (!r.skip(entries * 6)) return *why = "the sparse index passes the end", false;
        }
    for (int f = 0; f < files; f++)
        for (int i = 0; i < sides; i++)
            if (!r.skip(pairs[f][i].block_lengths * 2)) return *why = "the block lengths pass the end", false;
    for (int f = 0; f < files; f++)
        for (int i = 0; i < sides; i++) {
            const Pairs& d = pairs[f][i];
            if (!r.align(64) || d.blocks > size / (d.block_size ? d.block_size : 1) || !r.skip(d.blocks * d.block_size))
                return *why = "the data passes the end", false;
        }
    // The data is padded to a multiple of 64 bytes; the checksum follows.
    if (!r.align(64) || size - r.pos() != 16) return *why = "its size does not match its header", false;
    return true;
}

} // namespace

bool checkTableFile(const std::string& path, std::string* reason) {
    const char* slash = strrchr(path.c_str(), '/');
#if defined(_WIN32)
    if (const char* backslash = strrchr(path.c_str(), '\\'); backslash && (!slash || backslash > slash))
        slash = backslash;
#endif
    const char* name = slash ? slash + 1 : path.c_str();
    Material m;
    if (!readName(name, &m)) return *reason = "not the name of a table", false;
    bool dtz = !strcmp(name + strlen(name) - 5, ".rtbz");
    FileMapping file = mapFile(path.c_str());
    if (!file.data) return *reason = "cannot be read", false;
    bool sound = checkLayout(file.data, file.size, m, dtz, reason);
    unmapFile(&file);
    return sound;
}

bool checkTableFiles(const std::string& path) {
    bool sound = true;
    for (const std::string& dir : syzygyDirectories(path)) {
        DIR* listing = opendir(dir.c_str());
        if (!listing) continue;
        while (dirent* entry = readdir(listing)) {
            Material m;
            if (!readName(entry->d_name, &m)) continue;
            std::string file = dir + "/" + entry->d_name;
            struct stat about;
            // The library refuses a file whose size is not 16 more than a multiple of 64 on its own.
            if (stat(file.c_str(), &about) || !S_ISREG(about.st_mode) || about.st_size % 64 != 16) continue;
            std::string reason;
            if (!checkTableFile(file, &reason)) {
                printf("info string Damaged tablebase file %s: %s\n", file.c_str(), reason.c_str());
                sound = false;
            }
        }
        closedir(listing);
    }
    return sound;
}
