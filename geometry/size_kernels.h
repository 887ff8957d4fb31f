// The inner loops of resizing and resampling that have vector forms.
#ifndef VEXO_GEOMETRY_SIZE_KERNELS_H
#define VEXO_GEOMETRY_SIZE_KERNELS_H

#include "core/core.h"

namespace vexo {

// ---- Nearest sampling -----------------------------------------------------------------------------------------

// 16 result bytes and where they come from: source bytes offset + order[i].
struct SampleWindow {
    uint32_t offset;
    uint8_t order[16];
};

// A kernel that a processor has no form of is null; SampleRow defines the result.
struct SampleKernels {
    // Pixels of 3 or 4 bytes at positions that grow by at least one from pixel to pixel. Return the pixels done; the
    // rest is the caller's. Nothing outside the pixels is read or written.
    size_t (*gather24)(uint8_t *destination, const uint8_t *source, const uint32_t *positions, size_t count);
    size_t (*gather32)(uint8_t *destination, const uint8_t *source, const uint32_t *positions, size_t count);
    // Window i goes to byte 16 i, the last one to the last 16 bytes.
    void (*windows)(uint8_t *destination, size_t bytes, const uint8_t *source, const SampleWindow *windows);
    // Words of 32 pixels of 1 bit, the first in the highest bit. The plan of a word is the byte offset of the first
    // source word and, for each of the `pieces` source words from there on, two numbers: the bits that are taken and
    // how far up they move when they are pushed together at the lower end.
    void (*bitPicks)(uint8_t *destination, size_t words, const uint8_t *source, const uint32_t *plan, size_t pieces);
    // The first bit of each two, for scanned pages at half their size: `bytes` bytes from twice as many.
    void (*halveBits)(uint8_t *destination, size_t bytes, const uint8_t *source);
};
extern SampleKernels sampleKernels;

// ---- Resampling -----------------------------------------------------------------------------------------------

// Means of n or n + 1 neighbouring pixels of 3 or 4 bytes.
struct MeanPlan {
    struct Pixel {
        uint32_t offset;  // of the first byte
        uint32_t variant; // 0: n pixels, 1: n + 1
    };
    size_t pixelBytes;
    size_t chunks;            // of 4 pixels
    uint8_t lastOrder[2][16]; // brings the bytes of each channel in the last chunk together; 0x80: none
    uint32_t reciprocal[2];   // 2^24 / n, rounded up
};
inline constexpr int kMostMeanPixels = 128;

// 16 bytes between two source pixels each: (byte * weight + byte of the next pixel * weight) / sum of the weights.
struct BlendWindow {
    uint32_t offset;
    uint8_t order[16];
    uint8_t weights[32];      // pairs
    uint16_t reciprocals[16]; // 2^(16 + shift) / sum, rounded up
};
inline constexpr int kMostBlendSteps = 128; // the largest sum of weights

inline constexpr int kMostMeanRows = 16;

struct ResampleKernels {
    // Means along a row, pixel by pixel. Reads 16 bytes at each of the chunks. `count` is a multiple of 8; of pixels
    // of 3 bytes the 8 result bytes behind the last one are written too. Null where there is no such kernel.
    void (*meanPixels)(uint8_t *destination, const uint8_t *source, const MeanPlan::Pixel *pixels, size_t count,
                       const MeanPlan &plan);
    // Blends along a row. Window i goes to byte 16 i, the last one to the last 16 bytes. Null where there is none.
    void (*blendPixels)(uint8_t *destination, size_t bytes, const uint8_t *source, const BlendWindow *windows,
                        size_t pixelBytes, int shift);
    // The mean of 2 to kMostMeanRows rows, byte by byte, truncated.
    void (*meanRows)(uint8_t *destination, const uint8_t *const *rows, int count, size_t bytes);
    // (a (steps - step) + b step) / steps, truncated; 2 to kMostBlendSteps steps, 0 < step < steps.
    void (*blendRows)(uint8_t *destination, const uint8_t *a, const uint8_t *b, size_t bytes, int step, int steps);
};
// What the vector forms of the last two must match; RowResampler's plain way defines the others.
extern const ResampleKernels plainResampleKernels;
extern ResampleKernels resampleKernels;

// ---- Choice ---------------------------------------------------------------------------------------------------

// Chooses the kernels for a processor, at process attach.
void SelectSizeKernels(CpuLevel level);

// Put in the kernels that have a vector form for the level (size_kernels_x86.cpp).
void UseVectorKernels(SampleKernels *kernels, CpuLevel level);
void UseVectorKernels(ResampleKernels *kernels, CpuLevel level);

// Division by n < 2^24 as a multiplication, exact for sums up to 255 n: the reciprocal is too large by less than
// n / 2^56, so that the quotient is by less than 1 / n.
class MeanDivider {
public:
    explicit MeanDivider(unsigned n) : m_reciprocal(((uint64_t(1) << 56) + n - 1) / n) {}
    uint8_t operator()(uint32_t sum) const { return uint8_t(sum * m_reciprocal >> 56); }

private:
    uint64_t m_reciprocal;
};

// Division in 16-bit lanes: x * multiplier >> (16 + shift) is x / n for n from 2 to 128 and x up to 255 n.
struct LaneDivision {
    // The same shift serves n and n + 1.
    static constexpr int Shift(int n)
    {
        int shift = 0;
        while (2 << shift < n)
            ++shift;
        return shift;
    }
    static constexpr uint16_t Multiplier(int n, int shift) { return uint16_t(((65536 << shift) + n - 1) / n); }
};

} // namespace vexo

#endif
