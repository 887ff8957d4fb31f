// Rows of regions: set operations, regions by colour, fills, and the case with the most segments.
#include "bench/bench.h"

namespace vexo::bench {

namespace {

unsigned Area(const BitmapHandle *bitmap)
{
    unsigned area = 0;
    V_GetBitmapRgnArea(bitmap, &area);
    return area;
}

// Calls visit(start, end) for every segment.
template <class Visit>
void ForEachSegment(const BitmapHandle *bitmap, Visit &&visit)
{
    unsigned most = 0, count = 0;
    V_GetBitmapClipSegmentsMax(bitmap, &most);
    std::vector<int> segments(most);
    for (int row = 0; row < bitmap->Height; ++row) {
        V_GetBitmapClipSegments(bitmap, row, segments.data(), &count);
        for (unsigned i = 0; i < count; i += 2)
            visit(segments[i], segments[i + 1]);
    }
}

void EllipseUnionXor()
{
    Picture bitmap(PhotoSize, PhotoSize, 1);
    const RECT a = {0, 0, 3000, 4096}, b = {1096, 0, 4096, 4096};
    unsigned unionArea = 0, xorArea = 0;
    Report(
        "region_ellipse_union_xor", PhotoSize,
        [&] {
            V_SetBitmapRgnEllipse(&bitmap, nullptr, &a, COMBINE_REPLACE);
            V_SetBitmapRgnEllipse(&bitmap, nullptr, &b, COMBINE_UNION);
            unionArea = Area(&bitmap);
            V_SetBitmapRgnEllipse(&bitmap, nullptr, &b, COMBINE_XOR);
            xorArea = Area(&bitmap);
        },
        [&] { return uint64_t(unionArea) << 32 | xorArea; });
}

void RegionByColour()
{
    Picture bitmap(PhotoSize, PhotoSize, 24, Photo24());
    Report(
        "region_by_colour_24", kPhotoPixels, [&] { V_SetBitmapRgnColor(&bitmap, RGB(32, 96, 160), COMBINE_REPLACE); },
        [&] {
            uint64_t segments = 0;
            ForEachSegment(&bitmap, [&](int, int) { ++segments; });
            return segments << 32 | Area(&bitmap);
        });
}

void FillRegion()
{
    Picture bitmap(PhotoSize, PhotoSize, 24);
    const RECT rect = {0, 0, PhotoSize, PhotoSize};
    V_SetBitmapRgnEllipse(&bitmap, nullptr, &rect, COMBINE_REPLACE);
    Report(
        "fill_region_24", Area(&bitmap), [&] { V_FillBitmap(&bitmap, RGB(90, 200, 20)); },
        [&] { return bitmap.Hash(); });
}

// ---- A checkerboard of single pixels --------------------------------------------------------------------------

constexpr int kBoardSize = 2000;
constexpr double kBoardSegments = double(kBoardSize) * kBoardSize / 2;

void MakeBoard(BitmapHandle *bitmap)
{
    Bytes row(size_t(bitmap->BytesPerLine));
    for (int y = 0; y < bitmap->Height; ++y) {
        memset(row.data(), y % 2 ? 0x55 : 0xAA, row.size());
        V_PutBitmapRow(bitmap, row.data(), y, bitmap->BytesPerLine);
    }
}

// All white pixels, and that XOR a rectangle: nanoseconds a segment.
void CheckerboardXor()
{
    Picture bitmap(kBoardSize, kBoardSize, 1);
    MakeBoard(&bitmap);
    const RECT rect = {100, 100, kBoardSize - 100, kBoardSize - 100};
    Report(
        "region_checkerboard_xor", kBoardSegments,
        [&] {
            V_SetBitmapRgnColor(&bitmap, COLOR_INDEX(1), COMBINE_REPLACE);
            V_SetBitmapRgnRect(&bitmap, nullptr, &rect, COMBINE_XOR);
        },
        [&] { return Area(&bitmap); });
}

// The GDI region of all white pixels: nanoseconds a segment.
void CheckerboardToGdi()
{
    Picture bitmap(kBoardSize, kBoardSize, 1);
    MakeBoard(&bitmap);
    V_SetBitmapRgnColor(&bitmap, COLOR_INDEX(1), COMBINE_REPLACE);
    int orientation = ORIENT_TOP_DOWN;
    uint64_t bytes = 0;
    Report(
        "region_checkerboard_to_gdi", kBoardSegments,
        [&] {
            orientation ^= ORIENT_BOTTOM_UP; // another transform each time, or the record's copy is given
            const RegionTransform transform = {orientation, 1, 1, 1, 1, 0, 0};
            HRGN region;
            if (V_GetBitmapRgnHandle(&bitmap, &transform, &region) != RESULT_SUCCESS)
                return;
            bytes = GetRegionData(region, 0, nullptr);
            DeleteObject(region);
        },
        [&] { return bytes; });
}

constexpr Workload kRows[] = {
    {"region_ellipse_union_xor", EllipseUnionXor},
    {"region_by_colour_24", RegionByColour},
    {"fill_region_24", FillRegion},
    {"region_checkerboard_xor", CheckerboardXor},
    {"region_checkerboard_to_gdi", CheckerboardToGdi},
};

} // namespace

std::span<const Workload> RegionRows() { return kRows; }

} // namespace vexo::bench
