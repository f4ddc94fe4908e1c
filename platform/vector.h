// Short vectors in the compiler's generic vector types: SSE on x86-64, NEON on ARM64, plain lanes
// in WebAssembly, one source for all. Lane-wise arithmetic rounds as scalar arithmetic does, and
// the build never fuses a multiplication with an addition, so every processor gets the same sums
// to the last bit, and with them the same search tree.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>

typedef float Float4 __attribute__((vector_size(16)));
typedef int32_t Int4 __attribute__((vector_size(16)));
typedef int32_t Int8 __attribute__((vector_size(32)));
typedef int8_t Bytes8 __attribute__((vector_size(8)));
typedef uint8_t Bytes16 __attribute__((vector_size(16)));
// Unaligned and free to alias anything, as a byte copy is.
typedef int32_t UnalignedInt4 __attribute__((vector_size(16), aligned(1), may_alias));
typedef float UnalignedFloat4 __attribute__((vector_size(16), aligned(1), may_alias));
typedef int32_t UnalignedInt8 __attribute__((vector_size(32), aligned(1), may_alias));

inline Int4 loadInt4(const int32_t* p) { return *reinterpret_cast<const UnalignedInt4*>(p); }
inline Float4 loadFloat4(const float* p) { return *reinterpret_cast<const UnalignedFloat4*>(p); }
inline Float4 toFloat4(Int4 v) { return __builtin_convertvector(v, Float4); }

// The four lanes added as (0 + 2) + (1 + 3): halves first, then the pair.
inline float sumLanes(Float4 v) { return (v[0] + v[2]) + (v[1] + v[3]); }

// Copies BYTES bytes (a multiple of 16) in 16-byte moves, unrolled: for blocks of a few hundred
// bytes a library copy or a string instruction costs more in start-up than the copy itself.
template <size_t BYTES>
inline void copyBlocks(void* to, const void* from) {
    static_assert(BYTES % 16 == 0);
    auto* t = static_cast<char*>(to);
    auto* f = static_cast<const char*>(from);
#pragma GCC unroll 32
    for (size_t i = 0; i < BYTES; i += 16) {
        Bytes16 block;
        memcpy(&block, f + i, 16);
        memcpy(t + i, &block, 16);
    }
}

// The eight byte-wise differences a - b (each wrapped to a signed byte), widened to 32 bits.
inline void byteDifferences(uint64_t a, uint64_t b, int32_t* out) {
    Bytes8 x, y;
    memcpy(&x, &a, 8);
    memcpy(&y, &b, 8);
    Bytes8 difference = x - y;
    *reinterpret_cast<UnalignedInt8*>(out) = __builtin_convertvector(difference, Int8);
}
