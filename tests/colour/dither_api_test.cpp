// The dithering interface: what it refuses, and when a run ends.
#include "tests/support/bitmaps.h"
#include "tests/support/library_test.h"

namespace vexo::test {

namespace {

class DitherInterface : public LibraryTest {};

} // namespace

TEST_F(DitherInterface, ChecksItsArguments)
{
    BitmapHandle bitmap;
    V_InitBitmap(&bitmap, 8, 8, 8);
    uint8_t source[8] = {}, row[8];
    EXPECT_EQ(ERR_NO_BITMAP, V_StartDithering(nullptr, nullptr, 2));
    EXPECT_EQ(ERR_NO_BITMAP, V_StopDithering(nullptr));
    EXPECT_EQ(RESULT_SUCCESS, V_StopDithering(&bitmap));
    EXPECT_EQ(ERR_INV_PARAMETER, V_DitherLine(&bitmap, source, row));
    EXPECT_EQ(ERR_INV_PARAMETER, V_DitherLine(nullptr, source, row));
    for (const int count : {-1, 0, 257})
        EXPECT_EQ(ERR_INV_PARAMETER, V_StartDithering(&bitmap, V_IntGetFixedPalette(8), count));
    bitmap.DitherMode = 9;
    EXPECT_EQ(ERR_INV_PARAMETER, V_StartDithering(&bitmap, nullptr, 2));
    EXPECT_EQ(nullptr, bitmap.DitherState);
    bitmap.DitherMode = 8;
    ASSERT_EQ(RESULT_SUCCESS, V_StartDithering(&bitmap, nullptr, 2));
    EXPECT_EQ(ERR_INV_PARAMETER, V_DitherLine(&bitmap, nullptr, row));
    EXPECT_EQ(ERR_INV_PARAMETER, V_DitherLine(&bitmap, source, nullptr));
    ASSERT_EQ(RESULT_SUCCESS, V_StartDithering(&bitmap, nullptr, 256)); // ends the run before
    EXPECT_EQ(RESULT_SUCCESS, V_StopDithering(&bitmap));
    EXPECT_EQ(nullptr, bitmap.DitherState);
    EXPECT_EQ(ERR_INV_PARAMETER, V_DitherLine(&bitmap, source, row));
    bitmap.Width = 0x7FFFFFFF; // more than memory holds
    bitmap.DitherMode = 5;
    EXPECT_EQ(ERR_NO_MEMORY, V_StartDithering(&bitmap, nullptr, 2));
}

TEST_F(DitherInterface, EndsWithTheBitmapItRunsOn)
{
    uint8_t source[64] = {}, row[64];
    const auto size = [](BitmapHandle *bitmap) { return V_SizeBitmap(bitmap, 20, 4); };
    const auto shear = [](BitmapHandle *bitmap) { return V_ShearBitmap(bitmap, 1000, 1, 0); };
    const auto reduce = [](BitmapHandle *bitmap) { return V_ColorResBitmap(bitmap, 4, 0, nullptr, 0); };
    for (int (*const replace)(BitmapHandle *) : {+size, +shear, +reduce}) {
        TestBitmap bitmap(StorageKind::PageFile, 9, 7, 8);
        ASSERT_EQ(RESULT_SUCCESS, V_StartDithering(bitmap.get(), nullptr, 2));
        ASSERT_EQ(RESULT_SUCCESS, replace(bitmap.get()));
        EXPECT_EQ(ERR_INV_PARAMETER, V_DitherLine(bitmap.get(), source, row));
    }
}

} // namespace vexo::test
