// Paints that fail: every allocation and every read of a temporary file once. And paints that leave nothing behind.
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

TEST_F(PaintFaults, LeaveTheBitmapAloneAndKeepNothing)
{
    Random random(111);
    for (const Case &c : kCases)
        for (const StorageKind kind : StorageKinds(c.bits)) {
            const StorageScope scope(kind);
            const FakeDevice fake(c.deviceBits);
            V_SetDisplayMode(~0u, c.mode);
            TestBitmap bitmap(kind, Image::Random(random, 40, 30, c.bits),
                              {COLOR_ORDER_RGB, ORIENT_TOP_DOWN, PaletteFor(random, c.bits)});
            const BitmapSnapshot snapshot(bitmap.get());
            MemoryDevice device(60, 50, 32);
            // GDI's own failures go unnoticed by contract; the storage and the working memory count.
            ForEachFault(kFaultMemory | kFaultFiles, [&](FaultInjector &faults) {
                const int status = faults.Run([&] {
                    return V_PaintDC(device.dc(), bitmap.get(), nullptr, nullptr, &c.target, nullptr, SRCCOPY);
                });
                if (!faults.struck())
                    EXPECT_EQ(RESULT_SUCCESS, status);
                else
                    EXPECT_TRUE(status == ERR_NO_MEMORY || status == ERR_FILE_READ || status == ERR_FILE_SEEK)
                        << status << " after " << faults.function();
                snapshot.ExpectUnchanged();
            });
        }
}

TEST_F(PaintFaults, BuffersComeBackAsTheyWere)
{
    Random random(112);
    for (const Case &c : {kCases[1], kCases[8]}) {
        const FakeDevice fake(c.deviceBits);
        V_SetDisplayMode(~0u, c.mode);
        TestBitmap bitmap(StorageKind::PageFile, 40, 30, c.bits, {COLOR_ORDER_RGB, ORIENT_TOP_DOWN, {}});
        std::vector<uint8_t> rows(size_t(bitmap->BytesPerLine) * 30);
        random.Fill(rows.data(), rows.size());
        const std::vector<uint8_t> before = rows;
        MemoryDevice device(60, 50, 32);
        ForEachFault(kFaultMemory, [&](FaultInjector &faults) {
            const int status = faults.Run([&] {
                return V_PaintDCBuffer(device.dc(), bitmap.get(), nullptr, nullptr, &c.target, nullptr, SRCCOPY,
                                       rows.data(), 0, 30);
            });
            EXPECT_EQ(faults.struck() ? ERR_NO_MEMORY : RESULT_SUCCESS, status);
            EXPECT_EQ(before, rows);
        });
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

} // namespace vexo::test
