// Gray scale and halftone in place, pixel by pixel against the colours that the bitmap showed before.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/library_test.h"

#include <climits>

namespace vexo::test {

namespace {

class GrayHalftone : public LibraryTest {
protected:
    ~GrayHalftone() override { V_SetStatusCallBack(nullptr); }
};

enum class Result { Gray, Clustered, Dispersed, Pair };
constexpr Result kResults[] = {Result::Gray, Result::Clustered, Result::Dispersed, Result::Pair};
constexpr RGBQUAD kPair[2] = {{90, 10, 20, 0}, {200, 255, 250, 0}};

int Replace(BitmapHandle *bitmap, Result result)
{
    switch (result) {
    case Result::Gray: return V_GrayScaleBitmap(bitmap);
    case Result::Clustered: return V_HalfToneBitmap(bitmap, HALFTONE_CLUSTERED);
    case Result::Dispersed: return V_HalfToneBitmap(bitmap, HALFTONE_DISPERSED);
    default: return V_HalfToneBitmapExt(bitmap, HALFTONE_DISPERSED, kPair, 0);
    }
}

// The thresholds by rule: the dispersed ones are bits of row and column woven together, times four, but for five cells;
// the clustered ones are printed in quarters, two of which repeat one up.
int Threshold(Result result, int row, int x)
{
    row &= 7, x &= 7;
    if (result == Result::Clustered) {
        constexpr int kA[4][4] = {{112, 40, 72, 104}, {88, 8, 16, 48}, {56, 24, 0, 80}, {96, 64, 32, 120}};
        constexpr int kB[4][4] = {
            {144, 176, 208, 136}, {192, 232, 240, 168}, {160, 224, 248, 200}, {128, 216, 184, 152}};
        constexpr int kLowerB[4][4] = {
            {148, 180, 212, 140}, {196, 236, 244, 172}, {164, 228, 252, 204}, {132, 220, 188, 156}};
        if (row < 4)
            return x < 4 ? kA[row][x] : kB[row][x - 4];
        return x < 4 ? kLowerB[row - 4][x] : kA[row - 4][x - 4] + 4;
    }
    struct Cell {
        int row, x, value;
    };
    for (const Cell &cell : {Cell{3, 0, 236}, {3, 4, 244}, {5, 2, 232}, {7, 0, 248}, {7, 4, 240}})
        if (cell.row == row && cell.x == x)
            return cell.value;
    int value = 0;
    for (int bit = 0; bit < 3; ++bit) {
        const int r = row >> bit & 1, c = x >> bit & 1;
        value = value << 2 | (r ^ c) << 1 | r;
    }
    return value * 4;
}

std::vector<int> percentages;
int stopAt = INT_MAX;
int VEXO_CALL Record(int percent)
{
    percentages.push_back(percent);
    return percent >= stopAt ? -77 : RESULT_SUCCESS;
}

} // namespace

TEST_F(GrayHalftone, PixelsFollowLuminanceForEveryFormat)
{
    Random random(51);
    for (const int bits : kAllDepths)
        for (const StorageKind kind : StorageKinds(bits))
            for (const Result what : kResults) {
                SCOPED_TRACE(testing::Message() << bits << " bits, " << kind << ", result " << int(what));
                const StorageScope scope(kind);
                const bool isWide = random.OneIn(4); // wider than the steps that rows are converted in
                const int width = random.Between(1, 67) + (isWide ? 1024 : 0), height = random.Between(1, 20);
                BitmapOptions options = {random.Below(2), random.Below(2) * 2, {}};
                if (bits <= 8)
                    options.palette = RandomPalette(random, 1 << bits);
                TestBitmap bitmap(kind, Image::Random(random, width, height, bits), options);
                bitmap->XResolution = 72;
                bitmap->AnimLeft = -3;
                bitmap->AnimTransparent = RGB(255, 255, 255);
                std::vector<int> luminances;
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x) {
                        const COLORREF color = V_GetPixelColor(bitmap.get(), y, x);
                        luminances.push_back((5 * GetGValue(color) + 2 * GetRValue(color) + GetBValue(color) + 4) / 8);
                    }
                const BitmapHandle before = *bitmap.get();
                ASSERT_EQ(RESULT_SUCCESS, Replace(bitmap.get(), what));

                EXPECT_EQ(what == Result::Gray ? 8 : 1, bitmap->BitsPerPixel);
                EXPECT_EQ(before.Orientation, bitmap->Orientation);
                EXPECT_EQ(72, bitmap->XResolution);
                EXPECT_EQ(-3, bitmap->AnimLeft);
                if (what != Result::Pair)
                    EXPECT_EQ(COLOR_INDEX(what == Result::Gray ? 255 : 1), bitmap->AnimTransparent);
                EXPECT_EQ(0u, bitmap->Flags & (FLAG_COMPRESSED | FLAG_LOCKED));
                if (what == Result::Gray)
                    EXPECT_EQ(GRAYSCALE_BLACK_FIRST, V_IsGrayScaleBitmap(bitmap.get()));
                else
                    EXPECT_EQ(1, V_CompareHandleToPalette(bitmap->Palette,
                                                          what == Result::Pair ? kPair : V_IntGetFixedPalette(1), 2));
                const Image result = Load(bitmap.get()); // checks the padding of rows too
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x) {
                        const int luminance = luminances[size_t(y * width + x)];
                        const int expected = what == Result::Gray ? luminance : luminance > Threshold(what, y, x);
                        ASSERT_EQ(uint32_t(expected), result.At(y, x)) << "row " << y << ", column " << x;
                    }
            }
}

TEST_F(GrayHalftone, RefusedStoppedAndFailedCallsChangeNothing)
{
    BitmapHandle empty = {};
    EXPECT_EQ(ERR_NO_BITMAP, V_GrayScaleBitmap(nullptr));
    EXPECT_EQ(ERR_NO_BITMAP, V_GrayScaleBitmap(&empty));
    EXPECT_EQ(ERR_NO_BITMAP, V_HalfToneBitmap(&empty, 2));
    Random random(52);
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 33, 40, 24));
    const BitmapSnapshot snapshot(bitmap.get());
    EXPECT_EQ(ERR_INV_PARAMETER, V_HalfToneBitmap(bitmap.get(), 2));
    EXPECT_EQ(ERR_INV_PARAMETER, V_HalfToneBitmap(bitmap.get(), -1));
    EXPECT_EQ(ERR_INV_PARAMETER, V_HalfToneBitmapExt(bitmap.get(), 0, kPair, 1));
    V_SetStatusCallBack(Record);
    for (const Result what : kResults)
        for (const int stop : {0, 50, 100}) {
            stopAt = stop;
            percentages.clear();
            EXPECT_EQ(-77, Replace(bitmap.get(), what));
            EXPECT_EQ(0, percentages.front());
            EXPECT_GE(percentages.back(), stop);
            snapshot.ExpectUnchanged();
        }
    stopAt = INT_MAX;
    percentages.clear();
    EXPECT_EQ(RESULT_SUCCESS, V_GrayScaleBitmap(bitmap.get()));
    EXPECT_EQ(41u, percentages.size()) << "0, and once a row";
    EXPECT_EQ(100, percentages.back());
    V_SetStatusCallBack(nullptr);

    TestBitmap bare(StorageKind::PageFile, Image::Random(random, 9, 9, 3));
    DeleteObject(bare->Palette);
    bare->Palette = CreateHalftonePalette(nullptr);
    EXPECT_EQ(RESULT_SUCCESS, V_GrayScaleBitmap(bare.get())) << "a palette with more entries serves";
    DeleteObject(bare->Palette);
    bare->Palette = V_CreatePalette(kPair, 2);
    EXPECT_EQ(ERR_NO_BITMAP, V_GrayScaleBitmap(bare.get()));
    DeleteObject(bare->Palette);
    bare->Palette = nullptr;
    EXPECT_EQ(ERR_NO_BITMAP, V_HalfToneBitmap(bare.get(), HALFTONE_DISPERSED));

    for (const int bits : {1, 5, 24})
        for (const StorageKind kind : StorageKinds(bits))
            for (const Result what : kResults) {
                const StorageScope scope(kind);
                ForEachFault(kFaultAll, [&](FaultInjector &faults) {
                    Random again(53);
                    TestBitmap victim(kind, Image::Random(again, 20, 4, bits));
                    const BitmapSnapshot before(victim.get());
                    const int status = faults.Run([&] { return Replace(victim.get(), what); });
                    EXPECT_TRUE(faults.struck() || status == RESULT_SUCCESS);
                    if (status != RESULT_SUCCESS)
                        before.ExpectUnchanged();
                });
            }
}

} // namespace vexo::test
