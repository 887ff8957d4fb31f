// Paints that fail or are refused: every allocation and every read of a temporary file once. And paints that leave
// nothing behind.
#include "tests/support/bitmaps.h"
#include "tests/support/fake_device.h"
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/memory_device.h"

namespace vexo::test {

namespace {

class PaintFaults : public LibraryTest {};

struct Case {
    int bits, deviceBits;
    unsigned mode;
    RECT target;
};
// One of each kind of rows, scaled and not.
constexpr Case kCases[] = {
    {24, 24, 0, {0, 0, 40, 30}},
    {24, 24, 0, {0, 0, 60, 20}},
    {32, 24, 0, {0, 0, 30, 50}},
    {5, 24, 0, {0, 30, 40, 0}},
    {1, 8, DISPLAYMODE_SCALE_TO_GRAY, {0, 0, 40, 30}},
    {1, 8, DISPLAYMODE_SCALE_TO_GRAY, {0, 0, 9, 8}},
    {1, 8, DISPLAYMODE_SCALE_TO_GRAY, {0, 0, 60, 50}},
    {1, 8, DISPLAYMODE_KEEP_BLACK, {0, 0, 20, 10}},
    {24, 4, DISPLAYMODE_DITHER, {0, 0, 60, 20}},
    {24, 8, DISPLAYMODE_DITHER | DISPLAYMODE_BIT0, {0, 0, 40, 30}},
};

std::vector<RGBQUAD> PaletteFor(Random &random, int bits)
{
    return bits == 1 ? std::vector<RGBQUAD>{{0, 0, 0, 0}, {255, 255, 255, 0}}
                     : RandomPalette(random, bits <= 8 ? 1 << bits : 0);
}

} // namespace

TEST_F(PaintFaults, LeaveBitmapsAndBuffersAlone)
{
    Random random(111);
    for (const Case &c : kCases) {
        const FakeDevice fake(c.deviceBits);
        V_SetDisplayMode(~0u, c.mode);
        MemoryDevice device(60, 50, 32);
        const auto paint = [&](BitmapHandle *bitmap, void *rows) {
            return rows ? V_PaintDCBuffer(device.dc(), bitmap, nullptr, nullptr, &c.target, nullptr, SRCCOPY, rows, 0,
                                          30)
                        : V_PaintDC(device.dc(), bitmap, nullptr, nullptr, &c.target, nullptr, SRCCOPY);
        };
        for (const StorageKind kind : StorageKinds(c.bits)) {
            const StorageScope scope(kind);
            TestBitmap bitmap(kind, Image::Random(random, 40, 30, c.bits),
                              {COLOR_ORDER_RGB, ORIENT_TOP_DOWN, PaletteFor(random, c.bits)});
            const BitmapSnapshot snapshot(bitmap.get());
            std::vector<uint8_t> rows(size_t(bitmap->BytesPerLine) * 30, 0x3C);
            const std::vector<uint8_t> rowsBefore = rows;
            for (void *given : {static_cast<void *>(nullptr), static_cast<void *>(rows.data())})
                // GDI's own failures go unnoticed by contract; the storage and the working memory count.
                ForEachFault(
                    kFaultMemory | kFaultFiles,
                    [&](FaultInjector &faults) {
                        const int status = faults.Run([&] { return paint(bitmap.get(), given); });
                        if (!faults.struck())
                            EXPECT_EQ(RESULT_SUCCESS, status);
                        else
                            EXPECT_TRUE(status == ERR_NO_MEMORY || status == ERR_FILE_READ || status == ERR_FILE_SEEK)
                                << status << " after " << faults.function();
                        snapshot.ExpectUnchanged();
                        EXPECT_EQ(rowsBefore, rows);
                    },
                    given == nullptr);
        }
    }
}

// The fixture counts what is left.
TEST_F(PaintFaults, TenThousandPaintsLeaveNothingBehind)
{
    Random random(113);
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 9, 7, 4));
    MemoryDevice device(20, 20, 32);
    const unsigned before = CountGdiObjects();
    for (int i = 0; i < 10000; ++i) {
        const RECT target = {0, 0, 3 + i % 9, 5 + i % 4};
        V_PaintDC(device.dc(), bitmap.get(), nullptr, nullptr, &target, nullptr, SRCCOPY);
        if (i % 10 == 0)
            DeleteObject(V_CreatePaintPalette(device.dc(), bitmap.get()));
    }
    EXPECT_EQ(before, CountGdiObjects());
}

namespace {

struct Rects {
    const RECT *source, *sourceClip, *destination, *destinationClip;
};

uint8_t rows[120]; // all there is for the ways that are given rows

struct Way {
    decltype(&V_PaintDC) plain; // one of three
    decltype(&V_PaintDCEffect) withEffect;
    decltype(&V_PaintDCBuffer) ofRows;
    int missing;  // the status for no bitmap
    int unstored; // for one without storage; 0: it needs none

    int Paint(HDC dc, BitmapHandle *b, const Rects &r) const
    {
        const auto paint = [&](auto function, auto... more) {
            return function(dc, b, r.source, r.sourceClip, r.destination, r.destinationClip, SRCCOPY, more...);
        };
        return plain ? paint(plain) : withEffect ? paint(withEffect, 5u) : paint(ofRows, rows, 0, 10);
    }
};
const Way kWays[] = {
    {V_PaintDC, nullptr, nullptr, ERR_NO_BITMAP, ERR_NO_BITMAP},
    {nullptr, V_PaintDCEffect, nullptr, ERR_INV_PARAMETER, ERR_INV_PARAMETER},
    {nullptr, nullptr, V_PaintDCBuffer, ERR_NO_BITMAP, 0},
    {V_PaintRgnDC, nullptr, nullptr, ERR_NO_BITMAP, ERR_NO_BITMAP},
    {nullptr, V_PaintRgnDCEffect, nullptr, ERR_NO_BITMAP, ERR_INV_PARAMETER},
    {nullptr, nullptr, V_PaintRgnDCBuffer, ERR_NO_BITMAP, 0},
};

} // namespace

// What every way to paint refuses, and what none of them paints.
TEST_F(PaintFaults, RefusalsOfEveryWayToPaint)
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
        SCOPED_TRACE(&way - kWays);
        EXPECT_EQ(way.missing, way.Paint(dc, nullptr, {nullptr, nullptr, &target, nullptr}));
        if (way.unstored)
            EXPECT_EQ(way.unstored, way.Paint(dc, &sized, {nullptr, nullptr, &target, nullptr}));
        EXPECT_EQ(ERR_INV_PARAMETER, way.Paint(dc, bitmap.get(), {}));
        EXPECT_EQ(ERR_INV_PARAMETER, way.Paint(nullptr, bitmap.get(), {nullptr, nullptr, &target, nullptr}));
        EXPECT_EQ(ERR_INV_RANGE, way.Paint(dc, bitmap.get(), {nullptr, nullptr, &wide, &target}));
        EXPECT_EQ(RESULT_SUCCESS, way.Paint(dc, bitmap.get(), {nullptr, &nowhere, &target, nullptr}));
        EXPECT_EQ(RESULT_SUCCESS, way.Paint(dc, bitmap.get(), {nullptr, nullptr, &target, &nowhere}));
        EXPECT_EQ(RESULT_SUCCESS, way.Paint(dc, bitmap.get(), {nullptr, nullptr, &empty, nullptr}));
        EXPECT_EQ(std::vector<COLORREF>(200, 0), device.ColorsFromTop());
    }
}

} // namespace vexo::test
