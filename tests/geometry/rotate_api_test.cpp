// Rotation as it is seen: quarter and half turns pixel by pixel, other angles against the mapping in floating point,
// the region with the picture.
#include "tests/geometry/turned_images.h"
#include "tests/support/all_or_nothing.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/regions.h"
#include "tests/support/status_recorder.h"

#include <cmath>

namespace vexo::test {

namespace {

class Rotate : public LibraryTest {
private:
    const PageHeapScope m_pageHeap;
};

Image Turned(const Image &image, int quarters, int orientation)
{
    Image picture = Oriented(image, orientation);
    for (; quarters > 0; --quarters)
        picture = Turned(picture);
    return Oriented(picture, orientation);
}

// Compares a picture turned by any angle with its source. Places that lie closer to the edge of a pixel than the
// rounding of sine and cosine can move them may go either way.
void ExpectRotated(const Image &image, const Image &result, int angle, uint32_t fill)
{
    const double radians = angle * (std::acos(-1.0) / 18000), sine = std::sin(radians), cosine = std::cos(radians);
    const auto pixelAt = [&](double x, double y) {
        const int column = int(std::floor(x)), line = int(std::floor(y));
        const bool inside = column >= 0 && column < image.width && line >= 0 && line < image.height;
        return inside ? image.At(line, column) : fill;
    };
    for (int line = 0; line < result.height; ++line)
        for (int x = 0; x < result.width; ++x) {
            const double fromX = x + 0.5 - result.width / 2.0, fromY = line + 0.5 - result.height / 2.0;
            const double sourceX = fromX * cosine + fromY * sine + image.width / 2.0;
            const double sourceY = fromY * cosine - fromX * sine + image.height / 2.0;
            const double slack = (std::abs(fromX) + std::abs(fromY)) / 32000 + 1e-6;
            const uint32_t pixel = result.At(line, x);
            ASSERT_TRUE(pixel == pixelAt(sourceX - slack, sourceY - slack) ||
                        pixel == pixelAt(sourceX - slack, sourceY + slack) ||
                        pixel == pixelAt(sourceX + slack, sourceY - slack) ||
                        pixel == pixelAt(sourceX + slack, sourceY + slack))
                << "pixel " << x << " of line " << line << ", " << image.width << " x " << image.height << " to "
                << result.width << " x " << result.height;
        }
}

// The side of the box around a turned rectangle.
double BoxSide(int along, int across, int angle)
{
    const double radians = angle * (std::acos(-1.0) / 18000);
    return std::abs(along * std::cos(radians)) + std::abs(across * std::sin(radians));
}

} // namespace

TEST_F(Rotate, QuarterAndHalfTurnsMoveEveryPixel)
{
    Random random(81);
    ForEachVariant(random, 6, [&](const Variant &variant) {
        const auto &[bits, kind, options] = variant;
        const int width = random.Between(1, random.OneIn(5) ? 300 : 70);
        const Image image = Image::RandomRuns(random, width, random.OneIn(3) ? width : random.Between(1, 150), bits);
        TestBitmap bitmap(kind, image, options);
        SCOPED_TRACE(testing::Message() << image.width << " x " << image.height);
        bitmap->AnimDelay = 7;
        bitmap->DitherMode = 3;
        const BitmapHandle before = *bitmap.get();
        if (random.OneIn(2))
            SetRandomRegion(bitmap.get(), random);
        const Image mask = MaskOf(bitmap.get());
        const int quarters = random.Between(1, 3);
        const int angle = quarters * 9000 + random.Between(-2, 2) * 36000;
        if (random.OneIn(2))
            ASSERT_EQ(RESULT_SUCCESS, V_RotateBitmap(bitmap.get(), angle / 100, 1));
        else
            ASSERT_EQ(RESULT_SUCCESS, V_RotateBitmapFine(bitmap.get(), angle, 1, RGB(9, 9, 9)));
        ASSERT_EQ(Turned(image, quarters, before.Orientation), Load(bitmap.get()));
        ASSERT_EQ(Turned(mask, quarters, before.Orientation), MaskOf(bitmap.get()));
        ASSERT_EQ(RESULT_SUCCESS, V_RotateBitmap(bitmap.get(), -90 * quarters, 1));
        ASSERT_EQ(image, Load(bitmap.get()));
        ASSERT_EQ(mask, MaskOf(bitmap.get()));
        BitmapHandle after = *bitmap.get(); // all but where the rows are
        after.Region = before.Region;
        after.Handle = before.Handle;
        after.Data = before.Data;
        after.Size = before.Size;
        after.CachedRow = before.CachedRow;
        after.CachedRowOffset = before.CachedRowOffset;
        after.Flags ^= (after.Flags ^ before.Flags) & (FLAG_MEMORY | FLAG_DISK); // a file may become memory
        EXPECT_TRUE(SameRecord(before, after)) << Describe(before) << "\n" << Describe(after);
    });
}

TEST_F(Rotate, OtherAnglesTakeThePixelBelowTheMiddle)
{
    Random random(82);
    ForEachVariant(random, 4, [&](const Variant &variant) {
        const auto &[bits, kind, options] = variant;
        const Image image = Image::RandomRuns(random, random.Between(1, 60), random.Between(1, 60), bits);
        TestBitmap bitmap(kind, image, {COLOR_ORDER_BGR, options.orientation, options.palette});
        if (random.OneIn(2))
            SetRandomRegion(bitmap.get(), random);
        const bool hasRegion = V_BitmapHasRgn(bitmap.get()) != 0;
        const Image mask = MaskOf(bitmap.get());
        const bool isQuarter = random.OneIn(4); // which only those that keep the size sample
        const bool resize = !isQuarter && random.OneIn(2);
        const int angle = isQuarter ? 9000 * random.Between(-3, 3) : random.Between(-40000, 40000);
        SCOPED_TRACE(testing::Message() << "angle " << angle << (resize ? ", resized" : ""));
        const COLORREF fill = bits <= 8 ? COLOR_INDEX(1) : RGB(0, 0, 255);
        const uint32_t fillPixel = bits <= 8 ? 1 : bits == 16 ? 31 : 255;
        ASSERT_EQ(RESULT_SUCCESS, V_RotateBitmapFine(bitmap.get(), angle, resize, fill));
        const Image result = Load(bitmap.get());
        if (resize) {
            const double width = BoxSide(image.width, image.height, angle),
                         height = BoxSide(image.height, image.width, angle);
            EXPECT_TRUE(result.width >= width - 0.01 && result.width <= width + 1.01)
                << result.width << " for " << width;
            EXPECT_TRUE(result.height >= height - 0.01 && result.height <= height + 1.01) << result.height;
        } else {
            EXPECT_TRUE(result.width == image.width && result.height == image.height);
        }
        const auto picture = [&](const Image &rows) { return Oriented(rows, options.orientation); };
        ASSERT_NO_FATAL_FAILURE(ExpectRotated(picture(image), picture(result), angle, fillPixel));
        ASSERT_EQ(hasRegion, V_BitmapHasRgn(bitmap.get()));
        if (hasRegion)
            ASSERT_NO_FATAL_FAILURE(ExpectRotated(picture(mask), picture(MaskOf(bitmap.get())), angle, 0));
    });
}

// Sources that are not in memory are read in several windows when they are large.
TEST_F(Rotate, LargeFilesRotateLikeMemory)
{
    if (!IsAvailable(StorageKind::TemporaryFile, 32))
        return;
    Random random(84);
    const Image image = Image::Random(random, 1000, 1100, 32);
    for (int angle : {9000, 27000, 700, 20000}) {
        TestBitmap expected(StorageKind::PageFile, image);
        ASSERT_EQ(RESULT_SUCCESS, V_RotateBitmapFine(expected.get(), angle, 1, RGB(1, 2, 3)));
        const Image turned = Load(expected.get());
        const StorageScope scope(StorageKind::TemporaryFile);
        TestBitmap bitmap(StorageKind::TemporaryFile, image);
        const StatusRecorder recorder;
        ASSERT_EQ(RESULT_SUCCESS, V_RotateBitmapFine(bitmap.get(), angle, 1, RGB(1, 2, 3)));
        recorder.ExpectRising(0, 100);
        ASSERT_TRUE(turned == Load(bitmap.get())) << "angle " << angle;
    }
}

// A band of such rows, a byte for each pixel, is more than a block can hold.
TEST_F(Rotate, RowsOfManyMillionPixels)
{
    constexpr int kWidth = (1 << 27) + 64;
    TestBitmap bitmap(StorageKind::PageFile, kWidth, 1, 1);
    ASSERT_EQ(RESULT_SUCCESS, V_PutPixelColor(bitmap.get(), 0, kWidth / 2, COLOR_INDEX(1)));
    ASSERT_EQ(RESULT_SUCCESS, V_RotateBitmapFine(bitmap.get(), 1, 0, COLOR_INDEX(1)));
    const BYTE *row = static_cast<const BYTE *>(bitmap->Data);
    EXPECT_EQ(0xFF, row[0]);
    EXPECT_EQ(0x80, row[kWidth / 16]);
    EXPECT_EQ(0xFF, row[kWidth / 8 - 1]);
}

// The ways that turn blocks in place, or that a small picture does not take.
TEST_F(Rotate, StoppedAndFailedCallsOfLargerPicturesChangeNothing)
{
    const struct {
        int width, height, bits, angle;
        StorageKind kind;
    } kCases[] = {{258, 258, 24, 9000, StorageKind::PageFile},
                  {261, 261, 8, 27000, StorageKind::PageFile},
                  {140, 20, 32, 9000, StorageKind::PageFile},
                  {260, 20, 1, 27000, StorageKind::Compressed},
                  {70, 30, 3, 27000, StorageKind::TemporaryFile}};
    Random random(85);
    for (const auto &c : kCases) {
        if (!IsAvailable(c.kind, c.bits))
            continue;
        SCOPED_TRACE(testing::Message() << c.width << " x " << c.height << " x " << c.bits << ", angle " << c.angle);
        const StorageScope scope(c.kind);
        const Victim victim = {c.kind, Image::RandomRuns(random, c.width, c.height, c.bits), {}, random.Next()};
        const auto rotate = [&](BitmapHandle *bitmap) { return V_RotateBitmapFine(bitmap, c.angle, 1, 0); };
        ExpectAllOrNothingOnFailure(victim, rotate);
        ExpectAllOrNothingOnStop(victim, rotate);
    }
}

TEST_F(Rotate, ReportsTheRangeGiven)
{
    TestBitmap bitmap(StorageKind::PageFile, 20, 30, 24);
    const BitmapSnapshot before(bitmap.get());
    for (const int angle : {-72000, 9000, 18000, 4500})
        for (const auto &[from, to] : {std::pair(20, 45), std::pair(INT_MIN, INT_MAX)}) {
            const StatusRecorder recorder;
            EXPECT_EQ(RESULT_SUCCESS, V_IntRotateBitmapFine(bitmap.get(), angle, 0, 0, from, to));
            recorder.ExpectRising(from, to);
            if (angle == -72000)
                before.ExpectUnchanged();
        }
    const StatusRecorder recorder;
    EXPECT_EQ(RESULT_SUCCESS, V_RotateBitmap(bitmap.get(), 45, 0));
    EXPECT_EQ(31u, recorder.percentages().size()) << "the start and every row";
}

} // namespace vexo::test
