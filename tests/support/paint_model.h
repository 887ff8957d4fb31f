// What a paint should show, worked out pixel by pixel from the rules with no thought of speed.
#ifndef VEXO_TESTS_SUPPORT_PAINT_MODEL_H
#define VEXO_TESTS_SUPPORT_PAINT_MODEL_H

#include "tests/support/bitmaps.h"

#include <optional>

namespace vexo::test {

struct PaintRects {
    std::optional<RECT> source, sourceClip;
    RECT destination;
    std::optional<RECT> destinationClip;

    // Everything may be empty, outside or larger than what it is cut from; the destination may be upside down.
    static PaintRects Random(test::Random &random, int width, int height);
    // The same, with the destination as large as the source.
    static PaintRects RandomUnscaled(test::Random &random, int width, int height);
};
std::ostream &operator<<(std::ostream &out, const PaintRects &rects);

// The pixel of the bitmap that a device pixel shows.
struct PaintedPixel {
    int row, column; // stored
    int x, y;        // within the destination, from the corner where the top left of the picture is
};

class PaintModel {
public:
    PaintModel(const Image &image, const BitmapOptions &options, const PaintRects &rects);

    // Nothing: the device pixel is left alone.
    std::optional<PaintedPixel> PixelAt(int x, int y) const;
    COLORREF ColorOf(const PaintedPixel &pixel) const;

    bool IsScaled() const { return m_sourceWidth != m_width || m_sourceHeight != m_height; }
    bool IsSmaller() const { return m_width < m_sourceWidth && m_height < m_sourceHeight; }
    // 1-bit bitmaps: the gray level of a pixel, by whole source pixels or by area; whether it stays black.
    int ShrunkLevel(const PaintedPixel &pixel, bool blackIsOne) const;
    int BlendedLevel(const PaintedPixel &pixel, bool blackIsOne) const;
    bool StaysBlack(const PaintedPixel &pixel, bool blackIsOne) const;

private:
    int RowOf(int64_t line) const;
    bool IsInside(int64_t line, int64_t column) const;
    uint32_t At(int64_t line, int64_t column) const { return m_image.At(RowOf(line), int(column + m_source.left)); }

    const Image &m_image;
    const BitmapOptions &m_options;
    PaintRects m_rects;
    RECT m_source, m_target;
    bool m_mirrored;
    int m_sourceWidth, m_sourceHeight, m_width, m_height;
};

} // namespace vexo::test

#endif
