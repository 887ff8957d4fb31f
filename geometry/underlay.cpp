// Laying one bitmap under another. Pixels of the transparent colour are found as a region, so that they are copied run
// by run in any format; alpha is mixed pixel by pixel. The underlay is first brought into the bitmap's format, in a
// copy, unless it has it already.
#include "colour/colour.h"
#include "core/bit_copy.h"
#include "core/row_io.h"
#include "regions/region.h"

#include <algorithm>

using namespace vexo;

namespace {

// Keeps the steps of the preparation from reporting percentages of their own.
class QuietScope {
public:
    QuietScope() : m_callback(V_SetStatusCallBack(nullptr)) {}
    ~QuietScope() { V_SetStatusCallBack(m_callback); }
    QuietScope(const QuietScope &) = delete;
    QuietScope &operator=(const QuietScope &) = delete;

private:
    VexoStatusCallback m_callback;
};

// ---- The underlay ---------------------------------------------------------------------------------------------

bool HasFormatOf(const BitmapHandle *underlay, const BitmapHandle *bitmap, const RGBQUAD *colors)
{
    if (underlay->BitsPerPixel != bitmap->BitsPerPixel)
        return false;
    if (!IsPalettised(bitmap->BitsPerPixel))
        return underlay->ColorOrder == bitmap->ColorOrder;
    RGBQUAD own[256];
    ReadColors(underlay, own);
    const auto isSame = [](const RGBQUAD &a, const RGBQUAD &b) {
        return a.rgbRed == b.rgbRed && a.rgbGreen == b.rgbGreen && a.rgbBlue == b.rgbBlue;
    };
    return std::equal(own, own + bitmap->ColorCount, colors, isSame);
}

int Convert(BitmapHandle *copy, const BitmapHandle *bitmap, const RGBQUAD *colors)
{
    if (HasFormatOf(copy, bitmap, colors))
        return RESULT_SUCCESS;
    unsigned flags = COLORRES_CALLER_PALETTE;
    if (!IsPalettised(bitmap->BitsPerPixel))
        flags = bitmap->ColorOrder == COLOR_ORDER_RGB ? 0 : COLORRES_ORDER_BGR;
    return V_ColorResBitmap(copy, bitmap->BitsPerPixel, flags, colors, bitmap->ColorCount);
}

// Makes a copy of the underlay in the bitmap's format and, when it is stretched, size. Colours are interpolated while
// there are most of them: before a reduction to indices, after a conversion from them.
int Prepare(PendingBitmap *copy, BitmapHandle *underlay, const BitmapHandle *bitmap, const RGBQUAD *colors,
            bool stretch)
{
    const QuietScope quiet;
    int status = V_CopyBitmap(copy->record(), underlay);
    if (Failed(status))
        return status;
    ReplaceRegion(copy->record(), nullptr);
    if (!IsPalettised(bitmap->BitsPerPixel))
        status = Convert(copy->record(), bitmap, colors);
    if (!Failed(status) && stretch)
        status = V_ResampleBitmap(copy->record(), bitmap->Width, bitmap->Height);
    return Failed(status) ? status : Convert(copy->record(), bitmap, colors);
}

// ---- Rows -----------------------------------------------------------------------------------------------------

// Mixes the bitmap's pixels with those below them, which leaves them opaque.
void MixAlpha32(uint8_t *pixels, const uint8_t *below, int count)
{
    for (; count > 0; --count, pixels += 4, below += 4) {
        const unsigned alpha = pixels[3];
        for (int i = 0; i < 3; ++i)
            pixels[i] = uint8_t((pixels[i] * alpha + below[i] * (255 - alpha) + 127) / 255);
        pixels[3] = 255;
    }
}

void MixAlpha16(uint8_t *pixels, const uint8_t *below, int count)
{
    for (; count > 0; --count, pixels += 2, below += 2)
        if (!(pixels[1] & 0x80)) {
            pixels[0] = below[0];
            pixels[1] = uint8_t(below[1] | 0x80);
        }
}

class Underlayer {
public:
    // `transparent` is the bitmap with a region of its transparent pixels, or null when it has no transparent colour.
    Underlayer(BitmapHandle *bitmap, const BitmapHandle *transparent, BitmapHandle *underlay)
        : m_bitmap(bitmap), m_transparent(transparent), m_underlay(underlay), m_row(bitmap), m_underlayRow(underlay),
          m_isTiled(underlay->Width < bitmap->Width), m_tiles(m_isTiled ? size_t(bitmap->BytesPerLine) : 1)
    {
    }

    explicit operator bool() const { return m_row && m_underlayRow && m_tiles; }

    int LayRow(int row)
    {
        bool any = false;
        ForEachSegment(m_bitmap, row, 0, m_bitmap->Width, [&](int, int) { any = true; });
        if (!any)
            return RESULT_SUCCESS;
        uint8_t *pixels;
        const uint8_t *below;
        int status = m_row.Edit(row, &pixels);
        if (!Failed(status))
            status = FetchLine(StoredRow(m_bitmap, row), &below); // the row's line: counting is mirrored either way
        if (Failed(status))
            return status;
        const int bits = m_bitmap->BitsPerPixel;
        if (m_transparent)
            ForEachSegment(m_transparent, row, 0, m_bitmap->Width,
                           [&](int start, int end) { CopyPixels(pixels, start, below, start, end - start, bits); });
        if (bits == 16 || bits == 32)
            ForEachSegment(m_bitmap, row, 0, m_bitmap->Width, [&](int start, int end) {
                const size_t offset = size_t(start) * size_t(bits) / 8;
                (bits == 16 ? MixAlpha16 : MixAlpha32)(pixels + offset, below + offset, end - start);
            });
        return m_row.Write(row);
    }

private:
    // What lies below a line of the picture, tiled to its width.
    int FetchLine(int line, const uint8_t **below)
    {
        const int status = m_underlayRow.Read(StoredRow(m_underlay, line % m_underlay->Height), below);
        if (Failed(status) || !m_isTiled)
            return status;
        const int width = m_bitmap->Width, bits = m_bitmap->BitsPerPixel;
        for (int x = 0; x < width; x += m_underlay->Width)
            CopyPixels(m_tiles.data(), x, *below, 0, std::min(m_underlay->Width, width - x), bits);
        *below = m_tiles.data();
        return RESULT_SUCCESS;
    }

    BitmapHandle *m_bitmap;
    const BitmapHandle *m_transparent;
    BitmapHandle *m_underlay;
    RowWriter m_row;
    RowReader m_underlayRow;
    bool m_isTiled;
    Buffer<uint8_t> m_tiles; // a row of the bitmap's width
};

int LayRows(BitmapHandle *bitmap, const BitmapHandle *transparent, BitmapHandle *underlay)
{
    const BitmapLock lock(bitmap), underlayLock(underlay);
    Underlayer underlayer(bitmap, transparent, underlay);
    if (!underlayer)
        return ERR_NO_MEMORY;
    Progress progress(bitmap->Height);
    int status = progress.Start();
    for (int row = 0; row < bitmap->Height && !Failed(status); ++row) {
        status = underlayer.LayRow(row);
        if (!Failed(status))
            status = progress.Step();
    }
    return status;
}

// Shares a bitmap's storage but has a region of its own: the pixels of the bitmap's region that have its transparent
// colour.
class TransparentPixels {
public:
    explicit TransparentPixels(const BitmapHandle *bitmap) : m_record(*bitmap) { m_record.Region = nullptr; }
    ~TransparentPixels() { ReplaceRegion(&m_record, nullptr); }
    TransparentPixels(const TransparentPixels &) = delete;
    TransparentPixels &operator=(const TransparentPixels &) = delete;

    const BitmapHandle *record() const { return &m_record; }

    int Find(const BitmapHandle *bitmap)
    {
        if (bitmap->Region) {
            m_record.Region = DupRegion(*bitmap->Region);
            if (!m_record.Region)
                return ERR_NO_MEMORY;
        }
        return V_SetBitmapRgnColor(&m_record, bitmap->AnimTransparent, COMBINE_INTERSECT);
    }

private:
    BitmapHandle m_record;
};

} // namespace

int VEXO_CALL V_UnderlayBitmap(BitmapHandle *bitmap, BitmapHandle *underlay, unsigned flags)
{
    if (!IsAllocated(bitmap) || !IsAllocated(underlay))
        return ERR_NO_BITMAP;
    if (flags > UNDERLAY_STRETCH)
        return ERR_INV_PARAMETER;
    const bool hasColor = (bitmap->Flags & FLAG_TRANSPARENT) != 0;
    if (!hasColor && bitmap->BitsPerPixel != 16 && bitmap->BitsPerPixel != 32)
        return RESULT_SUCCESS; // nothing is transparent

    const BitmapLock lock(bitmap);
    TransparentPixels transparent(bitmap);
    int status = hasColor ? transparent.Find(bitmap) : RESULT_SUCCESS;
    if (Failed(status))
        return status;
    RGBQUAD colors[256];
    ReadColors(bitmap, colors);
    const bool stretch =
        flags == UNDERLAY_STRETCH && (underlay->Width != bitmap->Width || underlay->Height != bitmap->Height);
    PendingBitmap copy;
    // A bitmap below itself would be read and written at once. Compressed ones have no handle and are copied, too.
    if (stretch || !HasFormatOf(underlay, bitmap, colors) || underlay->Handle == bitmap->Handle) {
        status = Prepare(&copy, underlay, bitmap, colors, stretch);
        if (Failed(status))
            return status;
        underlay = copy.record();
    }
    return LayRows(bitmap, hasColor ? transparent.record() : nullptr, underlay);
}
