// The rows of a paint that shows a bitmap's own colours, as they are, widened or dithered: each is a line of the
// picture, stretched to the destination and then converted.
#ifndef VEXO_DISPLAY_PICTURE_ROWS_H
#define VEXO_DISPLAY_PICTURE_ROWS_H

#include "colour/dither.h"
#include "display/paint_lines.h"
#include "display/paint_mapping.h"

namespace vexo {

// Copies packed pixels of less than a byte, from any bit on, to the start of a row. The bits behind the last one in its
// byte become 0. Reads no byte beyond that of the last pixel.
void CopyPackedPixels(uint8_t *destination, const uint8_t *source, int first, int count, int bits);

class PictureRows {
public:
    // `bits` is the depth of the rows: the bitmap's or the wider one for it. Columns are those of the destination.
    PictureRows(BitmapHandle *bitmap, const PaintMapping &mapping, Span columns, const HeldRows &held, int bits);
    // False when there is no memory for them.
    explicit operator bool() const { return m_lines && m_sampler && m_stretched && m_wide; }

    void StartBand() { m_lastRow = nullptr; }
    int Make(uint8_t *row, int line);

private:
    friend class DitheredRows;

    // Where the pixels of a destination line start, in the bitmap's format; in `row` if they had to be put together and
    // go there unchanged. Null: the line could not be read.
    const uint8_t *Stretch(uint8_t *row, int sourceLine);
    void Convert(uint8_t *row, const uint8_t *pixels);

    const PaintMapping &m_mapping;
    const int m_sourceBits, m_bits, m_order, m_count;
    PaintLines m_lines;
    const int m_firstPixel; // of the lines, that the first column takes
    RowSampler m_sampler;
    Buffer<uint8_t> m_stretched; // a row in the bitmap's format
    Buffer<uint8_t> m_wide;      // indices or quads on their way to a wider depth
    int m_lastLine = 0;
    const uint8_t *m_lastRow = nullptr; // made from m_lastLine, in the current band
};

// The dithered rows of some columns and lines. Error diffusion needs the lines above and the columns beside what shows
// too: `whole` columns, from line `firstLine` on.
class DitheredRows {
public:
    DitheredRows(BitmapHandle *bitmap, const HeldRows &held, const PaintMapping &mapping, Span whole, Span shown,
                 int firstLine, const SegmentDither &dither, const RGBQUAD *palette);
    explicit operator bool() const { return m_rows && m_errors && m_dithered; }

    void StartBand() {}
    int Make(uint8_t *row, int line);

private:
    int DitherLine(uint8_t *row, int line);

    PictureRows m_rows;
    const SegmentDither m_dither;
    const PaintSource m_format;
    const Span m_whole, m_shown;
    PaintErrors m_errors;
    Buffer<uint8_t> m_dithered; // a row of the whole columns
    int m_nextLine;
};

} // namespace vexo

#endif
