// Frames of regions. The outline is worked out once for a scale, on rows of bits and eight pixels at a time, and kept
// with the region as a mask, so that each frame after the first is one blit with another brush.
#include "regions/shape_builder.h"

namespace vexo {

namespace {

constexpr DWORD kBrushWhereMaskIsSet = 0x00E20746; // a raster operation; elsewhere the destination stays

// ---- The mask -------------------------------------------------------------------------------------------------

// A picture of 1-bit pixels, at first all 0, the most significant bit of a byte first.
class BitPlane {
public:
    BitPlane(int64_t width, int64_t height)
        : m_lineBytes(size_t((width + 15) / 16 * 2)), m_height(size_t(height)),
          m_bits(SizeFits(width, height) ? m_lineBytes * m_height : SIZE_MAX, Buffer<uint8_t>::Fill::Zero)
    {
    }
    explicit operator bool() const { return bool(m_bits); }

    uint8_t *Line(size_t y) const { return m_bits.data() + y * m_lineBytes; }
    // Bytes from line to line: what bitmaps made from bits expect.
    size_t lineBytes() const { return m_lineBytes; }
    size_t height() const { return m_height; }

    void Fill(const RECT &rect) const
    {
        const size_t first = size_t(rect.left) / 8, last = size_t(rect.right - 1) / 8;
        const int firstBits = 0xFF >> rect.left % 8, lastBits = 0xFF << (7 - (rect.right - 1) % 8);
        for (LONG y = rect.top; y < rect.bottom; ++y) {
            uint8_t *line = Line(size_t(y));
            if (first == last) {
                line[first] |= uint8_t(firstBits & lastBits);
                continue;
            }
            line[first] |= uint8_t(firstBits);
            memset(line + first + 1, 0xFF, last - first - 1);
            line[last] |= uint8_t(lastBits);
        }
    }

private:
    static bool SizeFits(int64_t width, int64_t height)
    {
        return width > 0 && width <= INT32_MAX && height > 0 && (width + 15) / 16 * 2 <= INT32_MAX / height;
    }

    size_t m_lineBytes, m_height;
    Buffer<uint8_t> m_bits;
};

// The pixels of a byte that have a pixel on both sides, which may lie in the bytes beside it.
inline uint8_t BetweenTwo(unsigned before, unsigned here, unsigned behind)
{
    return uint8_t(here & (before << 7 | here >> 1) & (here << 1 | behind >> 7));
}

// The same for the two or more bytes of a line.
void PixelsBetweenTwo(uint8_t *result, const uint8_t *line, size_t bytes)
{
    const size_t last = bytes - 1;
    result[0] = BetweenTwo(0, line[0], line[1]);
    for (size_t i = 1; i < last; ++i)
        result[i] = BetweenTwo(line[i - 1], line[i], line[i + 1]);
    result[last] = BetweenTwo(line[last - 1], line[last], 0);
}

// Clears the pixels whose eight neighbours are all set. False: no memory.
bool ClearInside(const BitPlane &plane)
{
    const size_t bytes = plane.lineBytes();
    const Buffer<uint8_t> work(3 * bytes, Buffer<uint8_t>::Fill::Zero);
    if (!work)
        return false;
    uint8_t *above = work.data(), *here = above + bytes, *below = here + bytes;
    PixelsBetweenTwo(here, plane.Line(0), bytes);
    for (size_t y = 0; y < plane.height(); ++y) {
        if (y + 1 < plane.height())
            PixelsBetweenTwo(below, plane.Line(y + 1), bytes);
        else
            memset(below, 0, bytes);
        uint8_t *line = plane.Line(y);
        for (size_t i = 0; i < bytes; ++i)
            line[i] = uint8_t(line[i] & ~(above[i] & here[i] & below[i]));
        uint8_t *const freed = above;
        above = here;
        here = below;
        below = freed;
    }
    return true;
}

// Where the mask lies on the device.
RECT FrameRect(const BitmapHandle *bitmap, const RegionTransform &transform)
{
    return Ordered(TransformRect(bitmap, transform, bitmap->Region->Bounds));
}

// A 1-bit bitmap as large as the region in the space of the transform, 1 where the frame is. Null: it is empty there,
// or there is no memory.
HBITMAP MakeFrameMask(const BitmapHandle *bitmap, const RegionTransform &transform)
{
    const RECT bounds = FrameRect(bitmap, transform);
    const int64_t width = int64_t(bounds.right) - bounds.left, height = int64_t(bounds.bottom) - bounds.top;
    const BitPlane plane(width, height);
    if (!plane)
        return nullptr;
    ForEachTransformedRect(bitmap, transform, [&](const RECT &rect) {
        plane.Fill(
            {rect.left - bounds.left, rect.top - bounds.top, rect.right - bounds.left, rect.bottom - bounds.top});
    });
    return ClearInside(plane) ? ::CreateBitmap(int(width), int(height), 1, 1, plane.Line(0)) : nullptr;
}

// Makes the mask that the record keeps the one of a transform. False: there is none.
bool UpdateFrameMask(const BitmapHandle *bitmap, const RegionTransform &transform)
{
    BitmapRegion &region = *bitmap->Region;
    if (region.GdiRegion2 && !SameButOffsets(region.GdiTransform2, transform)) {
        ::DeleteObject(region.GdiRegion2);
        region.GdiRegion2 = nullptr;
    }
    if (!region.GdiRegion2)
        region.GdiRegion2 = MakeFrameMask(bitmap, transform);
    region.GdiTransform2 = transform;
    return region.GdiRegion2 != nullptr;
}

// ---- Drawing --------------------------------------------------------------------------------------------------

// Black for 0 and white for 1 in a DC for a scope. The mask and the stripes both have bits for pixels: the mask must
// not be coloured, and stripes that come with it cannot be.
class PlainColors {
public:
    explicit PlainColors(HDC dc)
        : m_dc(dc), m_text(::SetTextColor(dc, RGB(0, 0, 0))), m_background(::SetBkColor(dc, RGB(255, 255, 255)))
    {
    }
    ~PlainColors()
    {
        ::SetBkColor(m_dc, m_background);
        ::SetTextColor(m_dc, m_text);
    }
    PlainColors(const PlainColors &) = delete;
    PlainColors &operator=(const PlainColors &) = delete;

private:
    HDC m_dc;
    COLORREF m_text, m_background;
};

// False where the device has no memory DCs, as a metafile, or no memory.
bool DrawFrameMask(HDC dc, const BitmapHandle *bitmap, const RegionTransform &transform, HBRUSH brush)
{
    const gdi::MemoryDC maskDC(dc);
    if (!maskDC)
        return false;
    const gdi::Selection mask(maskDC.get(), bitmap->Region->GdiRegion2);
    const gdi::Selection stripes(dc, brush);
    const RECT rect = FrameRect(bitmap, transform);
    return mask && stripes &&
           ::BitBlt(dc, rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top, maskDC.get(), 0, 0,
                    kBrushWhereMaskIsSet);
}

int DrawFrame(HDC dc, const BitmapHandle *bitmap, const RegionTransform &transform, HBRUSH brush)
{
    const PlainColors colors(dc);
    if (bitmap->Region && UpdateFrameMask(bitmap, transform) && DrawFrameMask(dc, bitmap, transform, brush))
        return RESULT_SUCCESS;
    HRGN region;
    bool owned;
    const int status = RegionToGdi(bitmap, &transform, &region, &owned);
    if (Failed(status))
        return status;
    const gdi::Region owner(owned ? region : nullptr);
    ::FrameRgn(dc, region, brush, 1, 1);
    return RESULT_SUCCESS;
}

} // namespace

} // namespace vexo

using namespace vexo;

int VEXO_CALL V_FrameBitmapRgn(HDC hdc, BitmapHandle *bitmap, const RegionTransform *transform, unsigned frameType)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    if (!hdc || frameType >= unsigned(kFrameBrushCount))
        return ERR_INV_PARAMETER;
    const int status = CheckTransform(transform);
    if (Failed(status) || (bitmap->Region && IsEmptyRegion(*bitmap->Region)))
        return status;
    const HBRUSH brush = process.frameBrushes[frameType];
    if (!brush)
        return ERR_NO_MEMORY; // GDI had none to give at start-up
    return DrawFrame(hdc, bitmap, transform ? *transform : IdentityTransform(bitmap), brush);
}
