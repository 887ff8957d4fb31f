// Shearing against the long way round: a quarter turn for vertical shears, a mirroring for negative angles, a shear of
// the lines to the right, and both undone.
#include "tests/geometry/turned_images.h"
#include "tests/support/library_test.h"
#include "tests/support/regions.h"

#include <cmath>

namespace vexo::test {

namespace {

using Shear = LibraryTest;

int Sine(int hundredths) { return int(std::lround(16384 * std::sin(hundredths * 3.14159265358979323846 / 18000))); }

// Lines from the bottom up, in a picture whose first row is the top line.
Image ShearedRight(const Image &image, int angle, uint32_t fill)
{
    const int sine = Sine(angle), cosine = Sine(9000 - angle);
    Image result(image.width + sine * image.height / cosine, image.height, image.bits);
    std::fill(result.pixels.begin(), result.pixels.end(), fill);
    for (int line = 0; line < image.height; ++line)
        for (int x = 0; x < image.width; ++x)
            result.At(image.height - 1 - line, x + sine * line / cosine) = image.At(image.height - 1 - line, x);
    return result;
}

Image Sheared(Image picture, int angle, bool horizontal, uint32_t fill)
{
    if (!horizontal)
        picture = Turned(picture);
    if (angle < 0)
        picture = Reversed(picture);
    picture = ShearedRight(picture, std::abs(angle), fill);
    if (angle < 0)
        picture = Reversed(picture);
    return horizontal ? picture : Turned(Turned(Turned(picture)));
}

} // namespace

TEST_F(Shear, EveryDepthAndStorageGoesTheLongWay)
{
    Random random(341);
    constexpr int kAngles[] = {0, 1, 4500, -4500, 300, -4499};
    for (const bool horizontal : {false, true})
        ForEachVariant(random, 8, [&](const Variant &variant) {
            const int bits = variant.bits, orientation = variant.options.orientation;
            const Image image = Image::Random(random, random.Between(1, 90), random.Between(1, 90), bits);
            const int angle = random.OneIn(2) ? kAngles[random.Below(6)] : random.Between(-4500, 4500);
            TestBitmap bitmap(variant.kind, image, variant.options);
            const uint32_t fill = bits <= 8 ? uint32_t(random.Below(1 << bits)) : 0;
            const COLORREF color = bits <= 8 ? COLOR_INDEX(fill) : RGB(0, 0, 0);
            const bool hasRegion = random.OneIn(2);
            if (hasRegion)
                SetRandomRegion(bitmap.get(), random);
            const Image mask = MaskOf(bitmap.get());
            const auto expected = [&](const Image &stored, uint32_t background) {
                return Oriented(Sheared(Oriented(stored, orientation), angle, horizontal, background), orientation);
            };
            ASSERT_EQ(RESULT_SUCCESS, V_ShearBitmap(bitmap.get(), angle, horizontal, color));
            ASSERT_EQ(expected(image, fill), Load(bitmap.get())) << "angle " << angle << ", horizontal " << horizontal;
            ASSERT_EQ(hasRegion, V_BitmapHasRgn(bitmap.get()) == 1);
            if (hasRegion)
                ASSERT_EQ(expected(mask, 0), MaskOf(bitmap.get())) << "angle " << angle;
        });
}

TEST_F(Shear, ColoursOfDeepPixelsAndLimits)
{
    TestBitmap bitmap(StorageKind::PageFile, 10, 4, 24);
    ASSERT_EQ(RESULT_SUCCESS, V_ShearBitmap(bitmap.get(), 4500, 1, RGB(1, 2, 3)));
    EXPECT_EQ(14, bitmap->Width);
    EXPECT_EQ(RGB(1, 2, 3), V_GetPixelColor(bitmap.get(), 0, 13));

    // Rows of 32768 bytes are not too long, and columns are held to the same.
    TestBitmap wide(StorageKind::PageFile, 8192, 1, 32), tall(StorageKind::PageFile, 1, 8192, 32);
    EXPECT_EQ(ERR_INV_RANGE, V_ShearBitmap(wide.get(), 4500, 1, 0));
    EXPECT_EQ(ERR_INV_RANGE, V_ShearBitmap(tall.get(), 4500, 0, 0));
    EXPECT_EQ(RESULT_SUCCESS, V_ShearBitmap(wide.get(), 4499, 1, 0));
    EXPECT_EQ(RESULT_SUCCESS, V_ShearBitmap(tall.get(), 4499, 0, 0));
    EXPECT_EQ(8192, wide->Width);
    EXPECT_EQ(8192, tall->Height);
}

} // namespace vexo::test
