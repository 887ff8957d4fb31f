// Frames on the canvas. A frame is combined under a region that leaves its transparent pixels out; for the usual case,
// byte pixels in memory of which nothing else is left out, the same result comes from one masked copy.
#include "animation/playback.h"

#include "colour/colour.h"
#include "core/row_kernels.h"
#include "regions/region.h"

#include <algorithm>

namespace vexo {

namespace {

constexpr unsigned kCopySource = CMB_DST_ONES | CMB_OP_AND;

// A frame's place, with what no canvas reaches cut so that sums with sizes cannot overflow.
POINT PlaceOf(const BitmapHandle &frame)
{
    constexpr int kFar = 1 << 29;
    return {std::clamp(frame.AnimLeft, -kFar, kFar), std::clamp(frame.AnimTop, -kFar, kFar)};
}

// The first stored row of the canvas that a frame covers.
int TopOnCanvas(const BitmapHandle &canvas, const BitmapHandle &frame)
{
    const int top = PlaceOf(frame).y;
    return canvas.Orientation == ORIENT_BOTTOM_UP ? canvas.Height - frame.Height - top : top;
}

int CopyOnto(BitmapHandle *canvas, BitmapHandle *picture, const BitmapHandle &frame)
{
    return V_CombineBitmap(canvas, PlaceOf(frame).x, TopOnCanvas(*canvas, frame), frame.Width, frame.Height, picture, 0,
                           0, kCopySource);
}

// Turns a rectangle of stored rows upside down.
RECT Mirrored(const RECT &rect, int height) { return {rect.left, height - rect.bottom, rect.right, height - rect.top}; }

bool HasSameFormat(const BitmapHandle &canvas, const BitmapHandle &frame)
{
    if (frame.BitsPerPixel != canvas.BitsPerPixel)
        return false;
    if (!IsPalettised(canvas.BitsPerPixel))
        return frame.ColorOrder == canvas.ColorOrder;
    RGBQUAD ours[256], theirs[256];
    const int count = frame.ColorCount;
    return V_GetPaletteEntries(canvas.Palette, 0, count, ours) == count &&
           V_GetPaletteEntries(frame.Palette, 0, count, theirs) == count &&
           std::equal(ours, ours + count, theirs, [](const RGBQUAD &a, const RGBQUAD &b) {
               return a.rgbBlue == b.rgbBlue && a.rgbGreen == b.rgbGreen && a.rgbRed == b.rgbRed;
           });
}

// A record that stands for a frame and may have a region of its own, which it frees.
class FrameAlias {
public:
    explicit FrameAlias(const BitmapHandle &frame) : m_record(frame) {}
    ~FrameAlias()
    {
        if (m_ownsRegion)
            FreeRegion(m_record.Region);
    }
    FrameAlias(const FrameAlias &) = delete;
    FrameAlias &operator=(const FrameAlias &) = delete;

    BitmapHandle *record() { return &m_record; }

    // Takes the pixels of the transparent colour out of the region.
    int LeaveOutTransparent()
    {
        if (m_record.Region) {
            BitmapRegion *own = DupRegion(*m_record.Region);
            if (!own)
                return ERR_NO_MEMORY;
            m_record.Region = own;
        }
        m_ownsRegion = true;
        return V_SetBitmapRgnColor(&m_record, m_record.AnimTransparent, COMBINE_OLD_MINUS_NEW);
    }

private:
    BitmapHandle m_record;
    bool m_ownsRegion = false;
};

// Draws a frame of another format by way of a copy in the canvas's.
int DrawConverted(BitmapHandle *canvas, BitmapHandle *picture, const BitmapHandle &frame)
{
    PendingBitmap copy;
    int status = V_CopyBitmap(copy.record(), picture);
    if (Failed(status))
        return status;
    if (IsPalettised(canvas->BitsPerPixel)) {
        RGBQUAD colors[256];
        if (!ReadPalette(canvas, colors))
            return ERR_INV_PARAMETER;
        status = V_ColorResBitmap(copy.record(), canvas->BitsPerPixel, COLORRES_CALLER_PALETTE | COLORRES_NO_DITHER,
                                  colors, canvas->ColorCount);
    } else {
        status = V_ColorResBitmap(copy.record(), canvas->BitsPerPixel,
                                  canvas->ColorOrder == COLOR_ORDER_BGR ? COLORRES_ORDER_BGR : 0, nullptr, 0);
    }
    return Failed(status) ? status : CopyOnto(canvas, copy.record(), frame);
}

// Byte pixels in memory with nothing but the transparent index left out, and nobody who watches row by row.
bool CanMask(const BitmapHandle &canvas, const BitmapHandle &frame)
{
    return canvas.BitsPerPixel == 8 && !canvas.Region && !frame.Region && HasRowsInMemory(&canvas) &&
           HasRowsInMemory(&frame) && !CurrentSettings().statusCallback;
}

void DrawMasked(BitmapHandle *canvas, BitmapHandle *picture, int transparentIndex)
{
    const BitmapLock canvasLock(canvas), pictureLock(picture);
    uint8_t *output = DirectRows(canvas);
    const uint8_t *input = DirectRows(picture);
    if (!output || !input)
        return;
    const POINT place = PlaceOf(*picture);
    const int left = std::max(0, int(place.x)), right = std::min(canvas->Width, int(place.x) + picture->Width);
    const int top = std::max(0, int(place.y)), bottom = std::min(canvas->Height, int(place.y) + picture->Height);
    for (int y = top; y < bottom && left < right; ++y) {
        const size_t to = size_t(StoredRow(canvas, y)) * size_t(canvas->BytesPerLine);
        const size_t from = size_t(StoredRow(picture, y - place.y)) * size_t(picture->BytesPerLine);
        rowKernels.copyOthers(output + to + left, input + from + (left - place.x), size_t(right - left),
                              uint8_t(transparentIndex));
    }
}

} // namespace

bool DrawFrame(const Playback &playback, const BitmapHandle &frame)
{
    BitmapHandle *canvas = playback.Canvas;
    FrameAlias alias(frame);
    const bool isSame = HasSameFormat(*canvas, frame);
    if (frame.Flags & FLAG_TRANSPARENT) {
        const int index = isSame && CanMask(*canvas, frame) ? IndexOfColor(&frame, frame.AnimTransparent) : -1;
        if (index >= 0) {
            DrawMasked(canvas, alias.record(), index);
            return true;
        }
        if (Failed(alias.LeaveOutTransparent()))
            return false;
    }
    return !Failed(isSame ? CopyOnto(canvas, alias.record(), frame) : DrawConverted(canvas, alias.record(), frame));
}

void SaveArea(Playback *playback, const BitmapHandle &frame)
{
    V_FreeBitmap(&playback->SavedArea);
    PendingBitmap area;
    BitmapHandle *canvas = playback->Canvas;
    if (!Failed(V_CopyBitmapRect(area.record(), canvas, PlaceOf(frame).x, TopOnCanvas(*canvas, frame), frame.Width,
                                 frame.Height)))
        area.MoveTo(&playback->SavedArea);
}

bool RestoreArea(Playback *playback, const BitmapHandle &frame)
{
    if (!IsAllocated(&playback->SavedArea))
        return false;
    CopyOnto(playback->Canvas, &playback->SavedArea, frame);
    V_FreeBitmap(&playback->SavedArea);
    return true;
}

void FillBackground(const Playback &playback, const BitmapHandle &frame)
{
    BitmapHandle *canvas = playback.Canvas;
    const int left = PlaceOf(frame).x, top = TopOnCanvas(*canvas, frame);
    const RECT rect = {left, top, left + frame.Width, top + frame.Height};
    BitmapRegion *own = canvas->Region;
    canvas->Region = nullptr;
    if (!Failed(V_SetBitmapRgnRect(canvas, nullptr, &rect, COMBINE_REPLACE)))
        V_FillBitmap(canvas, canvas->AnimBackground);
    ReplaceRegion(canvas, own);
}

void AddUpdate(Playback *playback, const BitmapHandle &bitmap)
{
    const BitmapHandle &canvas = *playback->Canvas;
    RECT area;
    if (Failed(V_GetBitmapRgnBounds(&bitmap, nullptr, &area)))
        return;
    if (bitmap.Orientation != ORIENT_TOP_DOWN)
        area = Mirrored(area, bitmap.Height);
    const POINT place = PlaceOf(bitmap);
    ::OffsetRect(&area, place.x, place.y);
    if (canvas.Orientation != ORIENT_TOP_DOWN)
        area = Mirrored(area, canvas.Height);
    const RECT whole = WholeRect(&canvas);
    RECT visible;
    ::IntersectRect(&visible, &area, &whole);
    ::UnionRect(&playback->UpdateRect, &playback->UpdateRect, &visible);
}

} // namespace vexo
