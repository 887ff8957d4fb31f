// Filtering along a row of 3 or 4 bytes a pixel: means of neighbouring pixels for a narrower row, straight lines
// between them for a wider one. What each result pixel is made of is worked out once for all rows.
#ifndef VEXO_GEOMETRY_ROW_RESAMPLER_H
#define VEXO_GEOMETRY_ROW_RESAMPLER_H

#include "geometry/row_sampler.h"
#include "geometry/size_kernels.h"

#include <algorithm>

namespace vexo {

// The largest factor of resampling; sums of so many bytes fit 32 bits.
inline constexpr int kMostFactor = 0xFFFFFF;

// Calls visit(x, a, step, steps) for the result pixels (or rows) of an enlargement in order: pixel x lies step / steps
// of the way from source pixel a to the next one. Each source pixel has a run of steps that begins with itself. Before
// the first run the first pixel is repeated half a run long, which centres the ramps and cuts off the end of the last
// run. visit returns false to stop.
template <class Visit>
void ForEachBlend(int oldSize, int newSize, Visit &&visit)
{
    int x = 0;
    for (const int lead = newSize / oldSize / 2; x < lead; ++x)
        if (!visit(x, 0, 0, 1))
            return;
    Stepping run = Stepping::Across(newSize, oldSize);
    for (int a = 0; a < oldSize; ++a) {
        const int start = run.position;
        run.Advance();
        const int steps = run.position - start;
        for (int step = 0; step < steps && x < newSize; ++step, ++x)
            if (!visit(x, a, step, steps))
                return;
    }
}

class RowResampler {
public:
    // Widths with a factor of at most kMostFactor between them.
    RowResampler(int oldWidth, int newWidth, int pixelBytes);

    // False when there is no memory for the tables.
    explicit operator bool() const { return m_pixels && m_windows && m_padded; }
    // The rows must not overlap.
    void Resample(uint8_t *destination, const uint8_t *source) const;

private:
    void PlanMeans();
    void PlanBlends();
    void Shrink(uint8_t *destination, const uint8_t *source) const;
    void Enlarge(uint8_t *destination, const uint8_t *source) const;

    bool enlarges() const { return m_newWidth > m_oldWidth; }
    bool CanUseWindows() const;

    const int m_oldWidth, m_newWidth;
    const size_t m_pixelBytes;
    MeanPlan m_plan = {};
    size_t m_fastPixels = 0; // from the left, that the kernel of means can make
    int m_shift = 0;
    Buffer<MeanPlan::Pixel> m_pixels; // shrinking
    Buffer<BlendWindow> m_windows;    // enlarging
    Buffer<uint8_t> m_padded;         // enlarging: the source row and its last pixel once more
};

} // namespace vexo

#endif
