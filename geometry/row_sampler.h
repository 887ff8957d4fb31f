// Nearest sampling along a row: which source pixel each destination pixel takes, and the copying itself. Positions move
// by a whole step and a remainder, so that nothing is divided per pixel; a sampler that serves many rows works the
// positions out once and keeps them in the form that the processor copies fastest from.
#ifndef VEXO_GEOMETRY_ROW_SAMPLER_H
#define VEXO_GEOMETRY_ROW_SAMPLER_H

#include "core/core.h"

namespace vexo {

// A walk over source pixels, one step per destination pixel (or over source rows, one step per destination row).
struct Stepping {
    int position;         // source pixel of the destination pixel that comes next
    unsigned remainder;   // below the denominator
    int whole;            // source pixels in a step; 0 when every step is a fraction of a pixel
    unsigned fraction;    // the rest of a step, over the denominator; at most the denominator
    unsigned denominator; // not 0

    // Destination pixel i takes source pixel floor(i x oldSize / newSize); the walk starts at destination pixel
    // `first`. Sizes are at least 1.
    static Stepping Across(int oldSize, int newSize, int first = 0)
    {
        const int64_t start = int64_t(first) * oldSize;
        return {int(start / newSize), unsigned(start % newSize), oldSize / newSize, unsigned(oldSize % newSize),
                unsigned(newSize)};
    }

    void Advance()
    {
        position += whole;
        remainder += fraction;
        if (remainder >= denominator) {
            remainder -= denominator;
            ++position;
        }
    }
    void StepBack()
    {
        position -= whole;
        if (remainder < fraction) {
            remainder += denominator;
            --position;
        }
        remainder -= fraction;
    }
    // The position that `steps` steps lead to.
    int64_t PositionAfter(int64_t steps) const
    {
        return position + steps * whole + (int64_t(remainder) + steps * fraction) / denominator;
    }
};

// Copies `count` pixels of 1 to 8, 16, 24 or 32 bits from one row to another, or within one row when no pixel moves to
// a higher place, as in shrinking. Other depths do nothing. The bits behind the last pixel in its byte and the bytes
// behind it, up to destinationBytes in all, become 0 after everything has been read. No byte of the source beyond the
// last pixel taken is read.
void SampleRow(int bits, size_t destinationBytes, Stepping stepping, const uint8_t *source, uint8_t *destination,
               int count);

// Stretches a row of oldWidth pixels to newWidth in its own buffer, from the last pixel to the first, so that none is
// overwritten before it has been read. newWidth is not below oldWidth; the buffer holds the stretched row.
void EnlargeRowInPlace(int bits, uint8_t *row, int oldWidth, int newWidth);

// SampleRow for many rows between the same places. Test it before use: false when there is no memory for its tables.
// The rows given to Sample must not overlap.
class RowSampler {
public:
    RowSampler(int bits, const Stepping &stepping, int count);

    explicit operator bool() const { return m_positions && m_plan; }
    void Sample(uint8_t *destination, size_t destinationBytes, const uint8_t *source) const;

private:
    enum class Method {
        Positions, // a pixel at a time, or gathered, through the table of positions
        Run,       // the pixels are neighbours already
        Windows,   // 16 bytes at a time, shuffled out of 16
        Halves,    // every second bit, from the start of a byte on
        BitPicks,  // 32 bits at a time, extracted from a few words
    };
    struct Choice {
        Method method;
        size_t steps;    // windows or result words
        size_t pieces;   // source words a result word is picked from at most
        size_t planSize; // words of 32 bits
    };

    static Choice Choose(int bits, const Stepping &stepping, int count);
    static Choice ChooseBitPicks(Stepping stepping, int count);
    // Of so many pixels, which are whole bytes. Their bits may be more than 32 bits count.
    size_t BytesOf(uint64_t pixels) const { return size_t(pixels * unsigned(m_bits) / 8); }
    void PlanWindows();
    void PlanBitPicks();
    void PickBits(uint8_t *destination, const uint8_t *source) const;
    size_t SampleFast(uint8_t *destination, const uint8_t *source) const;

    const int m_bits;
    const size_t m_count;
    const Choice m_choice;
    Buffer<uint32_t> m_positions;
    Buffer<uint32_t> m_plan;
};

} // namespace vexo

#endif
