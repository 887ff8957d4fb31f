// The rows of a colour reduction: how they are converted is settled once for a source and a target, then they follow
// one by one from the top of the picture down.
#ifndef VEXO_COLOUR_ROW_REDUCTION_H
#define VEXO_COLOUR_ROW_REDUCTION_H

#include "core/core.h"

namespace vexo {

// The palette that a reduction to 8 bits or fewer aims at.
struct TargetColors {
    RGBQUAD colors[256]; // padded with black
    int count;           // those that pixels may take
    bool keepsIndices;   // the source's own colours, all of them
    bool fitsExactly;    // holds every colour of the pixels: there is nothing to dither
};

class RowReduction {
public:
    RowReduction() = default;
    ~RowReduction() { V_StopDithering(&m_source); }
    RowReduction(const RowReduction &) = delete;
    RowReduction &operator=(const RowReduction &) = delete;

    // Settles how the rows of `source` become rows of `result`. `target` counts for results of 8 bits or fewer and must
    // live as long as this. Returns RESULT_SUCCESS, ERR_INV_PARAMETER for an unknown DitherMode, or ERR_NO_MEMORY.
    int Start(const BitmapHandle *source, const BitmapHandle *result, const TargetColors &target, bool dithers);

    // Converts the pixels of a row of the source. Bits behind the last pixel in its byte become 0.
    void Convert(uint8_t *target, const uint8_t *pixels);

private:
    enum class Way { Repack, Map, Match, Dither };

    int StartDithering(int method);
    void Repack(uint8_t *target, const uint8_t *pixels) const;
    void Map(uint8_t *target, const uint8_t *pixels) const;
    void Match(uint8_t *target, const uint8_t *pixels) const;

    Way m_way = Way::Repack;
    // A record of its own for the dithering state: the caller's may be in the middle of a run.
    BitmapHandle m_source = {};
    int m_bits = 0, m_order = 0; // of the result
    const TargetColors *m_target = nullptr;
    RGBQUAD m_own[256];
    uint8_t m_map[256];
};

} // namespace vexo

#endif
