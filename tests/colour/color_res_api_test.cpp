// Colour reduction in place: what becomes of pixels, palettes and attributes for every pair of depths, and that a
// refused, failed or cancelled call changes nothing.
#include "tests/support/faults.h"
#include "tests/support/import_hooks.h"
#include "tests/support/library_test.h"
#include "tests/support/regions.h"
#include "tests/support/status_recorder.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <set>
#include <vector>

namespace vexo::test {

namespace {

class ColorRes : public LibraryTest {
protected:
    ~ColorRes() override { V_SetUserMatchTable(nullptr); }
};

COLORREF Color(const RGBQUAD &quad) { return RGB(quad.rgbRed, quad.rgbGreen, quad.rgbBlue); }

// The colours that a bitmap shows, stored row by stored row.
std::vector<COLORREF> ColorsOf(BitmapHandle *bitmap)
{
    std::vector<COLORREF> colors;
    for (int y = 0; y < bitmap->Height; ++y)
        for (int x = 0; x < bitmap->Width; ++x)
            colors.push_back(V_GetPixelColor(bitmap, y, x));
    return colors;
}

struct Palette {
    unsigned flag;
    std::vector<RGBQUAD> colors; // that pixels may take
};

Palette RandomTarget(Random &random, int bits)
{
    const int count = 1 << bits;
    switch (random.Below(3)) {
    case 0: return {COLORRES_FIXED_PALETTE, {V_IntGetFixedPalette(bits), V_IntGetFixedPalette(bits) + count}};
    case 1: {
        std::vector<RGBQUAD> grays;
        for (int i = 0; i < count; ++i)
            grays.push_back({BYTE(i * 255 / (count - 1)), BYTE(i * 255 / (count - 1)), BYTE(i * 255 / (count - 1)), 0});
        return {COLORRES_GRAY_PALETTE, grays};
    }
    default: return {COLORRES_CALLER_PALETTE, RandomPalette(random, random.Between(count / 2 + 1, count))};
    }
}

// The indices by the row-by-row interface, from the top of the picture down.
Image Dithered(BitmapHandle *bitmap, const Image &image, const std::vector<RGBQUAD> &colors, int bits)
{
    Image result(image.width, image.height, bits);
    EXPECT_EQ(RESULT_SUCCESS, V_StartDithering(bitmap, colors.data(), int(colors.size())));
    std::vector<uint8_t> row(size_t(image.width) + 4);
    for (int y = 0; y < image.height; ++y) {
        const int stored = bitmap->Orientation == ORIENT_BOTTOM_UP ? image.height - 1 - y : y;
        EXPECT_EQ(RESULT_SUCCESS, V_DitherLine(bitmap, image.PackedRow(stored).data(), row.data()));
        for (int x = 0; x < image.width; ++x)
            result.At(stored, x) = PixelOf(row.data(), size_t(x), bits);
    }
    V_StopDithering(bitmap);
    return result;
}

Image Nearest(const std::vector<COLORREF> &shown, const Image &image, const std::vector<RGBQUAD> &colors, int bits)
{
    Image result(image.width, image.height, bits);
    for (size_t i = 0; i < shown.size(); ++i)
        result.pixels[i] = uint32_t(V_FindPaletteIndex(colors.data(), int(colors.size()), GetRValue(shown[i]),
                                                       GetGValue(shown[i]), GetBValue(shown[i])));
    return result;
}

// Whether a palette holds all colours of another.
bool Holds(const std::vector<RGBQUAD> &colors, const std::vector<RGBQUAD> &others)
{
    return std::ranges::all_of(others, [&](const RGBQUAD &c) {
        return std::ranges::any_of(colors, [&](const RGBQUAD &d) { return Color(c) == Color(d); });
    });
}

// A smooth picture in three channels with some noise.
Image Scene(Random &random, int width, int height)
{
    Image image(width, height, 24);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.At(y, x) = uint32_t(x * 223 / width + random.Below(30)) | uint32_t(y * 200 / height) << 8 |
                             uint32_t((x + y) / 2 % 90 + random.Below(20) + 40) << 16;
    return image;
}

// The summed squared distance of two pictures' colours.
double ErrorOf(const std::vector<COLORREF> &a, const std::vector<COLORREF> &b)
{
    double error = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        const int red = GetRValue(a[i]) - GetRValue(b[i]), green = GetGValue(a[i]) - GetGValue(b[i]),
                  blue = GetBValue(a[i]) - GetBValue(b[i]);
        error += red * red + green * green + blue * blue;
    }
    return error;
}

// The list of bitmaps that a test owns.
struct TestList {
    HGLOBAL handle = nullptr;
    TestList() { EXPECT_EQ(RESULT_SUCCESS, V_CreateBitmapList(&handle)); }
    ~TestList() { V_DestroyBitmapList(handle); }

    void Add(const Image &image, const BitmapOptions &options = {})
    {
        BitmapHandle record;
        V_CreateBitmap(&record, STORAGE_MEMORY, image.width, image.height, image.bits, options.colorOrder,
                       options.palette.empty() ? nullptr : options.palette.data(), options.orientation);
        Store(&record, image);
        V_InsertBitmapListItem(handle, UINT_MAX, &record);
    }
    BitmapHandle At(unsigned index) const
    {
        BitmapHandle record;
        EXPECT_EQ(RESULT_SUCCESS, V_GetBitmapListItem(handle, index, &record));
        return record;
    }
};

} // namespace

TEST_F(ColorRes, EveryPairOfDepths)
{
    Random random(41);
    for (const int to : kAllDepths)
        ForEachVariant(random, 2, [&](const Variant &variant) {
            const int from = variant.bits;
            const bool dithers = random.OneIn(2);
            const int width = random.Between(1, 70) + (random.OneIn(8) ? 4096 : 0);
            const Image image = Image::Random(random, width, random.Between(1, 6), from);
            SCOPED_TRACE(testing::Message() << "to " << to << " bits, dither " << dithers);
            TestBitmap bitmap(variant.kind, image, variant.options);
            SetRandomRegion(bitmap.get(), random);
            bitmap->DitherMode = random.Below(9);
            bitmap->YResolution = 99;
            bitmap->AnimDelay = 70;
            bitmap->AnimTransparent = RGB(255, 255, 255);
            const BitmapHandle before = *bitmap.get();
            const std::vector<COLORREF> shown = ColorsOf(bitmap.get());
            const Palette target = to <= 8 ? RandomTarget(random, to) : Palette{0, {}};
            Image expected(image.width, image.height, to);
            if (to <= 8)
                expected = dithers && !(from <= 8 && Holds(target.colors, variant.options.palette))
                               ? Dithered(bitmap.get(), image, target.colors, to)
                               : Nearest(shown, image, target.colors, to);
            for (int y = 0; y < image.height && to > 8; ++y) {
                std::vector<uint8_t> row = image.PackedRow(y);
                row.resize(V_CalcConvertSize(image.width, from, image.width, to));
                V_ConvertBuffer(row.data(), image.width, from, to, before.ColorOrder, COLOR_ORDER_BGR,
                                variant.options.palette.data(), nullptr);
                for (int x = 0; x < image.width; ++x)
                    expected.At(y, x) = PixelOf(row.data(), size_t(x), to);
            }
            const unsigned flags = target.flag | COLORRES_ORDER_BGR | (dithers ? 0 : COLORRES_NO_DITHER);
            ASSERT_EQ(RESULT_SUCCESS,
                      V_ColorResBitmap(bitmap.get(), to, flags, target.colors.data(), int(target.colors.size())));
            ASSERT_EQ(expected, Load(bitmap.get()));
            EXPECT_EQ(before.Region, bitmap->Region);
            EXPECT_EQ(before.Orientation, bitmap->Orientation);
            EXPECT_EQ(before.DitherMode, bitmap->DitherMode);
            EXPECT_EQ(99, bitmap->YResolution);
            EXPECT_EQ(70u, bitmap->AnimDelay);
            EXPECT_EQ(to > 8 ? COLOR_ORDER_BGR : 0, bitmap->ColorOrder);
            EXPECT_EQ(to > 8, bitmap->AnimTransparent == RGB(255, 255, 255));
            EXPECT_EQ(to == 1 && variant.kind == StorageKind::Compressed, (bitmap->Flags & FLAG_COMPRESSED) != 0);
            const std::vector<RGBQUAD> palette = PaletteOf(*bitmap.get());
            ASSERT_EQ(to > 8 ? 0 : size_t(1) << to, palette.size());
            for (size_t i = 0; i < palette.size(); ++i)
                EXPECT_EQ(i < target.colors.size() ? Color(target.colors[i]) : 0, Color(palette[i]));
        });
}

TEST_F(ColorRes, RedFirstWithoutTheFlagAndOwnIndicesKept)
{
    Random random(42);
    TestBitmap deep(StorageKind::PageFile, Image::Random(random, 30, 3, 24));
    const std::vector<COLORREF> shown = ColorsOf(deep.get());
    ASSERT_EQ(RESULT_SUCCESS, V_ColorResBitmap(deep.get(), 32, 0, nullptr, 0));
    EXPECT_EQ(COLOR_ORDER_RGB, deep->ColorOrder);
    EXPECT_EQ(shown, ColorsOf(deep.get()));

    const Image image = Image::Random(random, 20, 3, 3);
    std::vector<RGBQUAD> own = RandomPalette(random, 8);
    own[5] = own[2]; // indices of equal colours are not mixed up
    TestBitmap bitmap(StorageKind::PageFile, image, {.palette = own});
    ASSERT_EQ(RESULT_SUCCESS, V_ColorResBitmap(bitmap.get(), 4, COLORRES_OWN_PALETTE, nullptr, 0));
    EXPECT_EQ(image.pixels, Load(bitmap.get()).pixels);
    const std::vector<RGBQUAD> palette = PaletteOf(*bitmap.get());
    for (size_t i = 0; i < 16; ++i)
        EXPECT_EQ(i < 8 ? Color(own[i]) : 0, Color(palette[i]));
    // Cut to four colours, the pixels take the nearest of these.
    const std::vector<COLORREF> before = ColorsOf(bitmap.get());
    ASSERT_EQ(RESULT_SUCCESS, V_ColorResBitmap(bitmap.get(), 2, COLORRES_OWN_PALETTE | COLORRES_NO_DITHER, nullptr, 0));
    EXPECT_EQ(Nearest(before, image, {own.begin(), own.begin() + 4}, 2), Load(bitmap.get()));
}

TEST_F(ColorRes, AUserMatchTableChoosesTheEntries)
{
    Random random(43);
    const std::vector<RGBQUAD> colors = RandomPalette(random, 16);
    std::vector<unsigned> table(32768);
    for (unsigned key = 0; key < table.size(); ++key)
        table[key] = key % 16 + 1;
    V_SetUserMatchTable(table.data());
    for (const int from : kAllDepths) {
        TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 50, 5, from), RandomOptions(random, from));
        const std::vector<COLORREF> shown = ColorsOf(bitmap.get());
        ASSERT_EQ(RESULT_SUCCESS,
                  V_ColorResBitmap(bitmap.get(), 4, COLORRES_CALLER_PALETTE | COLORRES_NO_DITHER, colors.data(), 16));
        const Image result = Load(bitmap.get());
        for (size_t i = 0; i < shown.size(); ++i)
            ASSERT_EQ(unsigned(GetBValue(shown[i])) >> 3 & 15, result.pixels[i]) << from << " bits";
    }
    std::ranges::fill(table, 8u);
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 40, 5, 24));
    bitmap->DitherMode = DITHER_FLOYD_STEINBERG;
    ASSERT_EQ(RESULT_SUCCESS, V_ColorResBitmap(bitmap.get(), 4, COLORRES_CALLER_PALETTE, colors.data(), 16));
    EXPECT_EQ(std::vector<uint32_t>(200, 7), Load(bitmap.get()).pixels);
}

TEST_F(ColorRes, OptimizedPalettesKeepFewColoursExactly)
{
    Random random(44);
    for (const int from : kAllDepths)
        for (const int to : {1, 2, 4, 6, 8}) {
            // Few different pixels, whatever the palette; some of its entries are equal.
            Image image = Image::Random(random, random.Between(2, 60), 9, from);
            const size_t count = size_t(random.Between(1, std::min(1 << to, image.width)));
            for (size_t i = count; i < image.pixels.size(); ++i)
                image.pixels[i] = image.pixels[size_t(random.Below(int(count)))];
            TestBitmap bitmap(StorageKind::PageFile, image, RandomOptions(random, from));
            const std::vector<COLORREF> shown = ColorsOf(bitmap.get());
            const std::set<COLORREF> different(shown.begin(), shown.end());
            ASSERT_EQ(RESULT_SUCCESS, V_ColorResBitmap(bitmap.get(), to, COLORRES_OPTIMIZED_PALETTE, nullptr, 0));
            ASSERT_EQ(shown, ColorsOf(bitmap.get())) << from << " to " << to;
            const std::vector<RGBQUAD> palette = PaletteOf(*bitmap.get());
            for (size_t i = different.size(); i < palette.size(); ++i)
                EXPECT_EQ(0u, Color(palette[i]));
        }
}

TEST_F(ColorRes, OptimizedPalettesComeNearToPlainKMeans)
{
    Random random(45);
    const Image image = Scene(random, 96, 64);
    for (const int bits : {1, 3, 4, 6}) {
        TestBitmap bitmap(StorageKind::PageFile, image);
        const std::vector<COLORREF> shown = ColorsOf(bitmap.get());
        ASSERT_EQ(RESULT_SUCCESS,
                  V_ColorResBitmap(bitmap.get(), bits, COLORRES_OPTIMIZED_PALETTE | COLORRES_NO_DITHER, nullptr, 0));
        const double error = ErrorOf(shown, ColorsOf(bitmap.get()));
        // The best of a few plain runs from random colours of the picture.
        double best = 1e300;
        for (int run = 0; run < 3; ++run) {
            std::vector<RGBQUAD> means;
            for (int i = 0; i < 1 << bits; ++i) {
                const COLORREF c = shown[size_t(random.Below(int(shown.size())))];
                means.push_back({GetBValue(c), GetGValue(c), GetRValue(c), 0});
            }
            for (int iteration = 0; iteration < 15; ++iteration) {
                const Image nearest = Nearest(shown, image, means, bits);
                std::vector<COLORREF> chosen;
                std::vector<std::array<unsigned, 4>> sums(means.size());
                for (size_t i = 0; i < shown.size(); ++i) {
                    const uint32_t index = nearest.pixels[i];
                    chosen.push_back(Color(means[index]));
                    sums[index][0] += GetBValue(shown[i]);
                    sums[index][1] += GetGValue(shown[i]);
                    sums[index][2] += GetRValue(shown[i]);
                    ++sums[index][3];
                }
                for (size_t i = 0; i < means.size(); ++i)
                    if (const unsigned n = sums[i][3])
                        means[i] = {BYTE(sums[i][0] / n), BYTE(sums[i][1] / n), BYTE(sums[i][2] / n), 0};
                best = std::min(best, ErrorOf(shown, chosen));
            }
        }
        EXPECT_LT(error, 1.05 * best) << bits << " bits";
    }
}

// A display with a palette: entry i of 256 is i, 255 - i, 7.
TEST_F(ColorRes, SystemColoursStandAtBothEnds)
{
    Random random(46);
    constexpr int kReserved = 20;
    const auto caps = Replace<decltype(GetDeviceCaps)>("gdi32.dll", "GetDeviceCaps", [](auto next, HDC dc, int index) {
        if (index == RASTERCAPS)
            return next(dc, index) | RC_PALETTE;
        return index == SIZEPALETTE ? 256 : index == NUMRESERVED ? kReserved : next(dc, index);
    });
    const auto system = Replace<decltype(GetSystemPaletteEntries)>(
        "gdi32.dll", "GetSystemPaletteEntries", [](auto, HDC, UINT first, UINT count, PALETTEENTRY *entries) {
            for (UINT i = 0; i < count; ++i)
                entries[i] = {BYTE(first + i), BYTE(255 - first - i), 7, 0};
            return count;
        });
    for (const int bits : {3, 4, 5, 8}) {
        TestBitmap bitmap(StorageKind::PageFile, Scene(random, 50, 50));
        ASSERT_EQ(RESULT_SUCCESS, V_ColorResBitmap(bitmap.get(), bits,
                                                   COLORRES_OPTIMIZED_PALETTE | COLORRES_SYSTEM_COLORS, nullptr, 0));
        const std::vector<RGBQUAD> palette = PaletteOf(*bitmap.get());
        const size_t count = palette.size(), placed = std::min<size_t>(count, kReserved);
        for (size_t i = 0; i < placed; ++i) {
            const size_t entry = i < placed / 2 ? i : 256 - placed + i;
            EXPECT_EQ(RGB(BYTE(entry), BYTE(255 - entry), 7), Color(palette[i < placed / 2 ? i : count - placed + i]));
        }
        std::set<COLORREF> made;
        for (size_t i = placed / 2; i < count - (placed - placed / 2); ++i)
            made.insert(Color(palette[i]));
        EXPECT_EQ(count - placed, made.size()) << "different colours between";
    }
}

TEST_F(ColorRes, AListGetsOnePaletteForAll)
{
    Random random(47);
    TestList list;
    list.Add(Scene(random, 40, 30));
    list.Add(Image::Random(random, 33, 5, 4), {COLOR_ORDER_RGB, ORIENT_TOP_DOWN, RandomPalette(random, 16)});
    list.Add(Image::Random(random, 7, 7, 16));
    const auto shown = [&] {
        std::vector<std::vector<COLORREF>> colors;
        for (unsigned i = 0; i < 3; ++i) {
            BitmapHandle record = list.At(i);
            colors.push_back(ColorsOf(&record));
        }
        return colors;
    };
    const auto reduce = [&](int bits, unsigned flags) {
        return V_ColorResBitmapList(list.handle, bits, flags, nullptr, 0);
    };
    const std::vector<std::vector<COLORREF>> before = shown();
    for (const int stop : {0, 10, 25, 40}) {
        const StatusRecorder recorder(stop);
        EXPECT_EQ(StatusRecorder::kStopped, reduce(5, COLORRES_OPTIMIZED_PALETTE));
    }
    EXPECT_EQ(ERR_INV_PARAMETER, reduce(2, COLORRES_OWN_PALETTE)) << "not every item has a palette";
    EXPECT_EQ(ERR_INV_PARAMETER, V_ColorResBitmapList(nullptr, 5, 0, nullptr, 0));
    EXPECT_EQ(before, shown());

    ASSERT_EQ(RESULT_SUCCESS, reduce(5, COLORRES_OPTIMIZED_PALETTE));
    double error = 0;
    const std::vector<RGBQUAD> palette = PaletteOf(list.At(0));
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_EQ(1, V_CompareHandleToPalette(list.At(i).Palette, palette.data(), 32));
        error += ErrorOf(before[i], shown()[i]);
    }
    EXPECT_LT(error / 1200, 6000) << "dithered, but by the right colours";
    ForEachFault(kFaultAll, [&](FaultInjector &faults) {
        const auto colors = shown();
        if (faults.Run([&] { return reduce(4, COLORRES_OPTIMIZED_PALETTE); }) != RESULT_SUCCESS)
            EXPECT_EQ(colors, shown());
    });
    TestList empty;
    EXPECT_EQ(RESULT_SUCCESS, V_ColorResBitmapList(empty.handle, 5, COLORRES_OPTIMIZED_PALETTE, nullptr, 0));
    EXPECT_EQ(ERR_BAD_BITS_PER_PIXEL, V_ColorResBitmapList(empty.handle, 9, 0, nullptr, 0));
}

TEST_F(ColorRes, PalettesExcludeEachOther)
{
    TestBitmap bitmap(StorageKind::PageFile, 33, 40, 24);
    const BitmapSnapshot before(bitmap.get());
    for (const unsigned flags :
         {COLORRES_FIXED_PALETTE | COLORRES_GRAY_PALETTE, COLORRES_OPTIMIZED_PALETTE | COLORRES_OWN_PALETTE,
          COLORRES_SYSTEM_COLORS | 0u, COLORRES_SYSTEM_COLORS | COLORRES_GRAY_PALETTE, COLORRES_OWN_PALETTE | 0u})
        EXPECT_EQ(ERR_INV_PARAMETER, V_ColorResBitmap(bitmap.get(), 8, flags, nullptr, 0)) << flags;
    before.ExpectUnchanged();
}

} // namespace vexo::test
