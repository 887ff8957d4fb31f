// Resampling against a plain model that works on numbers, one line of pixels after the other.
#include "tests/support/bitmaps.h"
#include "tests/support/library_test.h"
#include "tests/support/regions.h"

#include <algorithm>
#include <vector>

namespace vexo::test {

namespace {

using Resample = LibraryTest;

int FloorDiv(int a, int b) { return a >= 0 ? a / b : -((-a + b - 1) / b); }

std::vector<int> Filter(const std::vector<int> &line, int newSize)
{
    const int oldSize = int(line.size());
    std::vector<int> result;
    if (newSize <= oldSize) {
        for (int i = 0; i < newSize; ++i) {
            const int first = i * oldSize / newSize, end = (i + 1) * oldSize / newSize;
            int sum = 0;
            for (int x = first; x < end; ++x)
                sum += line[size_t(x)];
            result.push_back(sum / (end - first));
        }
        return result;
    }
    result.assign(size_t(newSize / oldSize / 2), line[0]);
    for (int i = 0; i < oldSize; ++i) {
        const int n = (i + 1) * newSize / oldSize - i * newSize / oldSize;
        const int a = line[size_t(i)], b = i + 1 < oldSize ? line[size_t(i) + 1] : a;
        for (int step = 0; step < n; ++step)
            result.push_back(a + FloorDiv(step * (b - a), n));
    }
    result.resize(size_t(newSize));
    return result;
}

// One channel as a matrix of numbers, by rows.
using Plane = std::vector<std::vector<int>>;

Plane Transposed(const Plane &plane)
{
    Plane result(plane[0].size(), std::vector<int>(plane.size()));
    for (size_t y = 0; y < plane.size(); ++y)
        for (size_t x = 0; x < plane[0].size(); ++x)
            result[x][y] = plane[y][x];
    return result;
}

Plane Filtered(Plane plane, int width, int height)
{
    for (auto &row : plane)
        row = Filter(row, width);
    plane = Transposed(plane);
    for (auto &column : plane)
        column = Filter(column, height);
    return Transposed(plane);
}

struct Back {
    bool dithers;
    int ditherMode;
};

// What becomes of a bitmap's pixels, by the conversions that the library offers on its own.
Image Expected(BitmapHandle *bitmap, const Image &image, int width, int height, const Back &back)
{
    const int bits = image.bits, workBits = bits == 32 ? 32 : 24, channels = workBits / 8;
    RGBQUAD palette[256] = {};
    if (bits <= 8)
        V_GetBitmapColors(bitmap, 0, 1 << bits, palette);
    const int order = bits <= 8 ? COLOR_ORDER_BGR : bitmap->ColorOrder;
    std::vector<Plane> planes(static_cast<size_t>(channels));
    for (int row = 0; row < image.height; ++row) {
        std::vector<uint8_t> bytes = image.PackedRow(row);
        bytes.resize(V_CalcConvertSize(image.width, bits, image.width, workBits));
        V_ConvertBuffer(bytes.data(), image.width, bits, workBits, bitmap->ColorOrder, order, palette, nullptr);
        for (int channel = 0; channel < channels; ++channel) {
            std::vector<int> line;
            for (int x = 0; x < image.width; ++x)
                line.push_back(bytes[size_t(x * channels + channel)]);
            planes[size_t(channel)].push_back(line);
        }
    }
    for (Plane &plane : planes)
        plane = Filtered(plane, width, height);

    BitmapHandle work = {};
    V_InitBitmap(&work, width, height, 24);
    work.DitherMode = back.ditherMode;
    if (back.dithers)
        EXPECT_EQ(RESULT_SUCCESS, V_StartDithering(&work, palette, 1 << bits));
    Image result(width, height, bits);
    for (int row = 0; row < height; ++row) {
        std::vector<uint8_t> bytes(V_CalcConvertSize(width, workBits, width, bits)), packed(bytes.size());
        for (int x = 0; x < width; ++x)
            for (int channel = 0; channel < channels; ++channel)
                bytes[size_t(x * channels + channel)] = uint8_t(planes[size_t(channel)][size_t(row)][size_t(x)]);
        if (back.dithers)
            V_DitherLine(&work, bytes.data(), packed.data());
        else
            V_ConvertBuffer(bytes.data(), width, workBits, bits, order, bitmap->ColorOrder, nullptr, palette);
        for (int x = 0; x < width; ++x)
            result.At(row, x) = PixelOf(back.dithers ? packed.data() : bytes.data(), size_t(x), bits);
    }
    V_StopDithering(&work);
    return result;
}

// Black first, or white.
std::vector<RGBQUAD> Grays(bool whiteFirst)
{
    std::vector<RGBQUAD> grays(256);
    V_GetFixedPalette(grays.data(), 0);
    if (whiteFirst)
        std::ranges::reverse(grays);
    return grays;
}

} // namespace

TEST_F(Resample, EveryDepthAndStorageFollowsTheModel)
{
    Random random(331);
    ForEachVariant(random, 12, [&](const Variant &variant) {
        const int bits = variant.bits, widest = random.OneIn(6) ? 900 : 60;
        const Image image = Image::Random(random, random.Between(1, widest), random.Between(1, 24), bits);
        const int width = random.OneIn(5) ? image.width : random.Between(1, random.OneIn(6) ? 900 : 70);
        const int height = random.OneIn(5) ? image.height : random.Between(1, 40);
        const bool gray = bits == 8 && random.OneIn(2);
        BitmapOptions options = variant.options;
        if (gray)
            options.palette = Grays(random.OneIn(2));
        TestBitmap bitmap(variant.kind, image, options);
        bitmap->DitherMode = random.Below(9);
        const Image expected = Expected(bitmap.get(), image, width, height, {bits <= 8 && !gray, bitmap->DitherMode});
        const bool hasRegion = random.OneIn(3);
        if (hasRegion)
            SetRandomRegion(bitmap.get(), random);
        TestBitmap sized; // its region is scaled alike
        ASSERT_EQ(RESULT_SUCCESS, V_CopyBitmap(sized.get(), bitmap.get()));
        ASSERT_EQ(RESULT_SUCCESS, V_SizeBitmap(sized.get(), width, height));
        const BitmapHandle before = *bitmap.get();
        ASSERT_EQ(RESULT_SUCCESS, V_ResampleBitmap(bitmap.get(), width, height));
        ASSERT_EQ(expected, Load(bitmap.get())) << image.width << " x " << image.height << " to " << width << " x "
                                                << height << ", dithering " << before.DitherMode;
        EXPECT_EQ(before.Orientation, bitmap->Orientation);
        EXPECT_EQ(before.DitherMode, bitmap->DitherMode);
        EXPECT_EQ(nullptr, bitmap->DitherState);
        EXPECT_EQ(hasRegion, V_BitmapHasRgn(bitmap.get()) == 1);
        EXPECT_EQ(RegionMask(sized.get()), RegionMask(bitmap.get()));
    });
}

TEST_F(Resample, LargeFactorsBothWays)
{
    Random random(332);
    const struct {
        int oldWidth, oldHeight, newWidth, newHeight;
    } kCases[] = {{1200, 3, 4, 700},        {5, 600, 1400, 2},     {900, 40, 7, 2}, {7, 2, 7 * 127 + 3, 2 * 128},
                  {6, 2, 6 * 128, 2 * 129}, {6, 1, 6 * 129 + 3, 1}};
    for (const auto &c : kCases)
        for (const int bits : {24, 32}) {
            const Image image = Image::Random(random, c.oldWidth, c.oldHeight, bits);
            TestBitmap bitmap(StorageKind::PageFile, image);
            const Image expected = Expected(bitmap.get(), image, c.newWidth, c.newHeight, {false, 0});
            ASSERT_EQ(RESULT_SUCCESS, V_ResampleBitmap(bitmap.get(), c.newWidth, c.newHeight));
            ASSERT_EQ(expected, Load(bitmap.get())) << c.oldWidth << " to " << c.newWidth << ", " << bits << " bits";
        }
}

} // namespace vexo::test
