// What every way to paint refuses, and what none of them paints.
#include "tests/support/library_test.h"
#include "tests/support/memory_device.h"

namespace vexo::test {

namespace {

class PaintRefusals : public LibraryTest {};

struct Rects {
    const RECT *source, *sourceClip, *destination, *destinationClip;
};

uint8_t rows[120]; // all there is for the ways that are given rows

const struct {
    const char *name;
    int (*paint)(HDC dc, BitmapHandle *bitmap, const Rects &r);
    int missing;  // the status for no bitmap
    int unstored; // for one without storage; 0: it needs none
} kWays[] = {
    {"V_PaintDC",
     [](HDC dc, BitmapHandle *b, const Rects &r) {
         return V_PaintDC(dc, b, r.source, r.sourceClip, r.destination, r.destinationClip, SRCCOPY);
     },
     ERR_NO_BITMAP, ERR_NO_BITMAP},
    {"V_PaintDCEffect",
     [](HDC dc, BitmapHandle *b, const Rects &r) {
         return V_PaintDCEffect(dc, b, r.source, r.sourceClip, r.destination, r.destinationClip, SRCCOPY, 5);
     },
     ERR_INV_PARAMETER, ERR_INV_PARAMETER},
    {"V_PaintDCBuffer",
     [](HDC dc, BitmapHandle *b, const Rects &r) {
         return V_PaintDCBuffer(dc, b, r.source, r.sourceClip, r.destination, r.destinationClip, SRCCOPY, rows, 0, 10);
     },
     ERR_NO_BITMAP, 0},
    {"V_PaintRgnDC",
     [](HDC dc, BitmapHandle *b, const Rects &r) {
         return V_PaintRgnDC(dc, b, r.source, r.sourceClip, r.destination, r.destinationClip, SRCCOPY);
     },
     ERR_NO_BITMAP, ERR_NO_BITMAP},
    {"V_PaintRgnDCEffect",
     [](HDC dc, BitmapHandle *b, const Rects &r) {
         return V_PaintRgnDCEffect(dc, b, r.source, r.sourceClip, r.destination, r.destinationClip, SRCCOPY, 5);
     },
     ERR_NO_BITMAP, ERR_INV_PARAMETER},
    {"V_PaintRgnDCBuffer",
     [](HDC dc, BitmapHandle *b, const Rects &r) {
         return V_PaintRgnDCBuffer(dc, b, r.source, r.sourceClip, r.destination, r.destinationClip, SRCCOPY, rows, 0,
                                   10);
     },
     ERR_NO_BITMAP, 0},
};

} // namespace

TEST_F(PaintRefusals, OfEveryWayToPaint)
{
    memset(rows, 0x55, sizeof rows);
    Random random(141);
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 10, 10, 8));
    MemoryDevice device(20, 10, 32);
    const HDC dc = device.dc();
    const RECT target = {0, 0, 20, 10}, nowhere = {30, 0, 40, 10}, wide = {-0x7FFFFFFF, 0, 0x7FFFFFFF, 10},
               empty = {5, 5, 5, 9};
    BitmapHandle sized;
    V_InitBitmap(&sized, 10, 10, 8);
    for (const auto &way : kWays) {
        SCOPED_TRACE(way.name);
        EXPECT_EQ(way.missing, way.paint(dc, nullptr, {nullptr, nullptr, &target, nullptr}));
        if (way.unstored)
            EXPECT_EQ(way.unstored, way.paint(dc, &sized, {nullptr, nullptr, &target, nullptr}));
        EXPECT_EQ(ERR_INV_PARAMETER, way.paint(dc, bitmap.get(), {}));
        EXPECT_EQ(ERR_INV_PARAMETER, way.paint(nullptr, bitmap.get(), {nullptr, nullptr, &target, nullptr}));
        EXPECT_EQ(ERR_INV_RANGE, way.paint(dc, bitmap.get(), {nullptr, nullptr, &wide, &target}));
        EXPECT_EQ(RESULT_SUCCESS, way.paint(dc, bitmap.get(), {nullptr, &nowhere, &target, nullptr}));
        EXPECT_EQ(RESULT_SUCCESS, way.paint(dc, bitmap.get(), {nullptr, nullptr, &target, &nowhere}));
        EXPECT_EQ(RESULT_SUCCESS, way.paint(dc, bitmap.get(), {nullptr, nullptr, &empty, nullptr}));
        EXPECT_EQ(std::vector<COLORREF>(200, 0), device.ColorsFromTop());
    }
}

} // namespace vexo::test
