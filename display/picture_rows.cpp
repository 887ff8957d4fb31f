// Rows that show the bitmap's own colours. Pixels are sampled where they lie whenever the storage allows it, and lines
// that repeat are copied from the row before.
#include "display/picture_rows.h"

#include "colour/pixel_kernels.h"
#include "core/packed_pixels.h"
#include "core/row_kernels.h"
#include "display/dib.h"

namespace vexo {

void CopyPackedPixels(uint8_t *destination, const uint8_t *source, int first, int count, int bits)
{
    const int64_t firstBit = int64_t(first) * bits, length = int64_t(count) * bits;
    source += firstBit / 8;
    const int shift = int(firstBit % 8);
    const size_t bytes = size_t((length + 7) / 8), sourceBytes = size_t((shift + length + 7) / 8);
    if (shift == 0) {
        memcpy(destination, source, bytes);
    } else {
        const size_t pairs = std::min(bytes, sourceBytes - 1);
        rowKernels.shiftBits(destination, source, pairs, shift);
        if (pairs < bytes)
            destination[pairs] = uint8_t(source[pairs] << shift);
    }
    if (length % 8 != 0)
        destination[bytes - 1] &= uint8_t(0xFF00 >> length % 8);
}

namespace {

int SourceColumn(const PaintMapping &mapping, int column) { return int(mapping.x.SourceOf(column)); }

size_t WideBytes(int sourceBits, int bits, int count)
{
    if (sourceBits == bits || bits == 32)
        return 1;
    return size_t(count) * (sourceBits > 8 ? 4 : 1);
}

// Quads without their fourth bytes, from the same place or another.
void CopyColors(uint8_t *to, const uint8_t *from, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        uint32_t quad;
        memcpy(&quad, from + 4 * i, 4);
        quad &= 0xFFFFFF;
        memcpy(to + 4 * i, &quad, 4);
    }
}

} // namespace

PictureRows::PictureRows(BitmapHandle *bitmap, const PaintMapping &mapping, Span columns, const HeldRows &held,
                         int bits)
    : m_mapping(mapping), m_sourceBits(bitmap->BitsPerPixel), m_bits(bits), m_order(bitmap->ColorOrder),
      m_count(columns.count()),
      m_lines(bitmap, held, SourceColumn(mapping, columns.first), SourceColumn(mapping, columns.end - 1) + 1),
      m_firstPixel(SourceColumn(mapping, columns.first) - m_lines.firstColumn()),
      m_sampler(m_sourceBits, mapping.x.WalkFrom(columns.first, m_lines.firstColumn()),
                mapping.x.IsScaled() ? m_count : 0),
      m_stretched(size_t(PaddedRowBytes(m_count, m_sourceBits))), m_wide(WideBytes(m_sourceBits, bits, m_count))
{
}

const uint8_t *PictureRows::Stretch(uint8_t *row, int sourceLine)
{
    const uint8_t *line = m_lines.Line(sourceLine);
    if (!line)
        return nullptr;
    const int64_t firstBit = int64_t(m_firstPixel) * m_sourceBits;
    if (!m_mapping.x.IsScaled() && firstBit % 8 == 0)
        return line + firstBit / 8;
    uint8_t *target = m_bits == m_sourceBits && row ? row : m_stretched.data();
    if (m_mapping.x.IsScaled())
        m_sampler.Sample(target, 0, line);
    else
        CopyPackedPixels(target, line, m_firstPixel, m_count, m_sourceBits);
    return target;
}

// Brings stretched pixels, which may lie in the row already, to the depth and colour order of the row.
void PictureRows::Convert(uint8_t *row, const uint8_t *pixels)
{
    const size_t count = size_t(m_count);
    const bool swap = m_order == COLOR_ORDER_RGB;
    if (m_bits == 32) {
        const uint8_t *quads = UnpackQuads(row, pixels, count, m_sourceBits, swap);
        if (m_sourceBits == 32)
            CopyColors(row, quads, count);
        return;
    }
    if (m_sourceBits == m_bits) {
        if (pixels != row)
            memcpy(row, pixels, size_t(PackedBytes(m_count, m_bits)));
        if (m_bits == 24 && swap)
            pixelKernels.swap24(row, count);
        return;
    }
    uint8_t *wide = m_wide.data();
    switch (m_sourceBits) {
    case 16:
        pixelKernels.unpack16(wide, pixels, count, swap);
        pixelKernels.pack24(row, wide, count);
        break;
    case 32:
        if (swap) {
            memcpy(wide, pixels, 4 * count);
            pixelKernels.swap32(wide, count);
            pixels = wide;
        }
        pixelKernels.pack24(row, pixels, count);
        break;
    default:
        WithIndexDepth(m_sourceBits, [&](auto depth) { depth.Unpack(m_bits == 8 ? row : wide, pixels, count); });
        if (m_bits == 4)
            PackedPixels<4>::Pack(row, wide, count);
    }
}

int PictureRows::Make(uint8_t *row, int line)
{
    const int sourceLine = int(m_mapping.y.SourceOf(line));
    if (m_lastRow && sourceLine == m_lastLine) {
        memcpy(row, m_lastRow, size_t(PackedBytes(m_count, m_bits)));
        return RESULT_SUCCESS;
    }
    const uint8_t *pixels = Stretch(row, sourceLine);
    if (!pixels)
        return m_lines.status();
    Convert(row, pixels);
    m_lastLine = sourceLine;
    m_lastRow = row;
    return RESULT_SUCCESS;
}

// ---- Dithered rows --------------------------------------------------------------------------------------------

DitheredRows::DitheredRows(BitmapHandle *bitmap, const HeldRows &held, const PaintMapping &mapping, Span whole,
                           Span shown, int firstLine, const SegmentDither &dither, const RGBQUAD *palette)
    : m_rows(bitmap, mapping, whole, held, bitmap->BitsPerPixel),
      m_dither(dither), m_format{palette, bitmap->ColorOrder}, m_whole(whole), m_shown(shown), m_errors(whole.count()),
      m_dithered(size_t(PaddedRowBytes(whole.count(), dither.deviceBits()))), m_nextLine(firstLine)
{
}

int DitheredRows::DitherLine(uint8_t *row, int line)
{
    const uint8_t *pixels = m_rows.Stretch(nullptr, int(m_rows.m_mapping.y.SourceOf(line)));
    if (!pixels)
        return m_rows.m_lines.status();
    m_dither.Dither(row, pixels, 0, m_whole.count(), m_whole.first & 7, line & 7, m_errors, m_format);
    return RESULT_SUCCESS;
}

int DitheredRows::Make(uint8_t *row, int line)
{
    const bool isWhole = m_whole.count() == m_shown.count();
    for (; m_nextLine <= line; ++m_nextLine) {
        const bool intoRow = m_nextLine == line && isWhole;
        const int status = DitherLine(intoRow ? row : m_dithered.data(), m_nextLine);
        if (Failed(status))
            return status;
    }
    if (!isWhole)
        CopyPackedPixels(row, m_dithered.data(), m_shown.first - m_whole.first, m_shown.count(), m_dither.deviceBits());
    return RESULT_SUCCESS;
}

} // namespace vexo
