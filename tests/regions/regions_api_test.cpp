// Regions against masks: set operations, every shape, transforms in and out, colours, moves, and what a region does to
// the bitmap that carries it.
#include "tests/support/faults.h"
#include "tests/support/import_hooks.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/regions.h"

#include <climits>

namespace vexo::test {

namespace {

class Regions : public LibraryTest {
private:
    const PageHeapScope m_pageHeap;
};

TestBitmap &Bare(TestBitmap &bitmap, int width, int height, int orientation = ORIENT_BOTTOM_UP)
{
    V_FreeBitmapRgn(bitmap.get());
    V_InitBitmap(bitmap.get(), width, height, 1); // regions need no storage
    bitmap->Orientation = orientation;
    return bitmap;
}

struct OwnedRegion {
    HRGN handle;
    explicit OwnedRegion(HRGN region = CreateRectRgn(0, 0, 0, 0)) : handle(region) {}
    ~OwnedRegion() { DeleteObject(handle); }
    OwnedRegion(const OwnedRegion &) = delete;
    OwnedRegion &operator=(const OwnedRegion &) = delete;
    operator HRGN() const { return handle; }
};

Image WholeMask(int width, int height)
{
    Image mask(width, height, 1);
    std::ranges::fill(mask.pixels, 1u);
    return mask;
}

void AddRect(HRGN region, const RECT &rect)
{
    const OwnedRegion part(CreateRectRgnIndirect(&rect));
    CombineRgn(region, region, part, RGN_OR);
}

// A GDI region as a mask, asked point by point.
Image PointsOf(HRGN region, int width, int height)
{
    Image mask(width, height, 1);
    for (int row = 0; row < height; ++row)
        for (int x = 0; x < width; ++x)
            mask.At(row, x) = PtInRegion(region, x, row) != 0;
    return mask;
}

} // namespace

// ---- Set operations -------------------------------------------------------------------------------------------

TEST_F(Regions, SetOperationsMatchMasks)
{
    Random random(40);
    for (int round = 0; round < 250; ++round) {
        const int width = random.Between(1, 70), height = random.Between(1, 20);
        TestBitmap bitmap(StorageKind::PageFile, width, height, 1);
        Image expected = WholeMask(width, height); // which is what no region counts as
        EXPECT_FALSE(V_BitmapHasRgn(bitmap.get()));
        for (int step = 0; step < 8; ++step) {
            const Image shape = RandomMask(random, width, height);
            const unsigned mode = unsigned(random.Below(7));
            Store(bitmap.get(), shape);
            const bool colour = random.OneIn(2);
            if (colour)
                ASSERT_EQ(RESULT_SUCCESS, V_SetBitmapRgnColor(bitmap.get(), COLOR_INDEX(1), mode));
            else
                SetMask(bitmap.get(), shape, mode);
            expected = CombinedMask(expected, shape, mode);
            ASSERT_EQ(expected, MaskOf(bitmap.get())) << "mode " << mode << ", step " << step;
            ASSERT_TRUE(V_BitmapHasRgn(bitmap.get()));
            if (random.OneIn(10)) {
                EXPECT_EQ(RESULT_SUCCESS, V_FreeBitmapRgn(bitmap.get()));
                expected = WholeMask(width, height);
            }
        }
    }
}

// ---- Shapes ---------------------------------------------------------------------------------------------------

// GDI makes some ellipses with rows that hold whatever was in memory, so two of the same size may differ. The library
// gets a copy of the one that the test asks for its points.
TEST_F(Regions, ShapesContainTheirPoints)
{
    HRGN shapeUnderTest = nullptr;
    const auto give = [&](auto...) {
        const HRGN copy = CreateRectRgn(0, 0, 0, 0);
        CombineRgn(copy, shapeUnderTest, nullptr, RGN_COPY);
        return copy;
    };
    const auto ellipses = Replace<decltype(CreateEllipticRgnIndirect)>("gdi32.dll", "CreateEllipticRgnIndirect", give);
    const auto roundRects = Replace<decltype(CreateRoundRectRgn)>("gdi32.dll", "CreateRoundRectRgn", give);
    Random random(41);
    constexpr int kWidth = 60, kHeight = 40;
    TestBitmap bitmap;
    for (int round = 0; round < 800; ++round) {
        Bare(bitmap, kWidth, kHeight);
        const int left = random.Between(-15, 50), top = random.Between(-15, 30);
        const RECT rect = {left, top, left + random.Between(-3, 70), top + random.Between(-3, 50)};
        const int w = random.Between(0, 40), h = random.Between(0, 40), count = random.Between(3, 9);
        const unsigned fillMode = unsigned(random.Below(2));
        POINT points[9];
        for (POINT &point : points)
            point = {random.Between(-20, 80), random.Between(-20, 60)};
        int status = 0;
        switch (round % 4) {
        case 0:
            shapeUnderTest = IsRectEmpty(&rect) ? CreateRectRgn(0, 0, 0, 0) : CreateRectRgnIndirect(&rect);
            status = V_SetBitmapRgnRect(bitmap.get(), nullptr, &rect, COMBINE_REPLACE);
            break;
        case 1:
            shapeUnderTest = ellipses.Next()(&rect);
            status = V_SetBitmapRgnEllipse(bitmap.get(), nullptr, &rect, COMBINE_REPLACE);
            break;
        case 2:
            shapeUnderTest = roundRects.Next()(rect.left, rect.top, rect.right, rect.bottom, w, h);
            status = V_SetBitmapRgnRoundRect(bitmap.get(), nullptr, &rect, w, h, COMBINE_REPLACE);
            break;
        default:
            shapeUnderTest = CreatePolygonRgn(points, count, fillMode ? ALTERNATE : WINDING);
            status = V_SetBitmapRgnPolygon(bitmap.get(), nullptr, points, count, fillMode, COMBINE_REPLACE);
        }
        const OwnedRegion shape(shapeUnderTest);
        ASSERT_EQ(RESULT_SUCCESS, status);
        ASSERT_EQ(PointsOf(shape, kWidth, kHeight), MaskOf(bitmap.get())) << round % 4;
    }
    V_FreeBitmapRgn(bitmap.get());
}

// ---- Colours --------------------------------------------------------------------------------------------------

TEST_F(Regions, ColoursAtEveryDepth)
{
    Random random(43);
    ForEachVariant(random, 4, [&](const Variant &variant) {
        const int bits = variant.bits;
        BitmapOptions options = variant.options;
        if (bits > 1 && bits <= 8)
            options.palette[1] = options.palette[0]; // of which the first counts
        // Rows are compared in pieces; segments go on across them.
        const int width = random.OneIn(8) ? 5000 : random.Between(1, 140);
        const Image image = Image::RandomRuns(random, width, random.Between(1, 5), bits);
        TestBitmap bitmap(variant.kind, image, options);
        for (int i = 0; i < 6; ++i) {
            COLORREF color = V_GetPixelColor(bitmap.get(), random.Below(image.height), random.Below(width));
            if (i == 4)
                color = COLOR_INDEX(random.Below(1024));
            if (i == 5)
                color ^= 1u << random.Below(24);
            const auto colorOf = [&](uint32_t pixel) {
                return ColorOfPixel(pixel, bits, options.colorOrder, options.palette);
            };
            const auto has = [&](uint32_t pixel) {
                if (color >> 24 == 1)
                    return bits <= 8 && pixel == color % (1u << bits);
                return colorOf(pixel) == color && !(bits > 1 && bits <= 8 && pixel == 1 && colorOf(0) == color);
            };
            Image expected(width, image.height, 1);
            std::ranges::transform(image.pixels, expected.pixels.begin(), has);
            ASSERT_EQ(RESULT_SUCCESS, V_SetBitmapRgnColor(bitmap.get(), color, COMBINE_REPLACE));
            ASSERT_EQ(expected, MaskOf(bitmap.get())) << std::hex << color;
        }
        EXPECT_EQ(image, Load(bitmap.get()));
    });
}

// ---- Transforms -----------------------------------------------------------------------------------------------

TEST_F(Regions, TransformsOnTheWayIn)
{
    Random random(45);
    for (int round = 0; round < 200; ++round) {
        const int width = random.Between(1, 60), height = random.Between(1, 30);
        const int orientation = random.OneIn(2) ? ORIENT_TOP_DOWN : ORIENT_BOTTOM_UP;
        TestBitmap bitmap;
        Bare(bitmap, width, height, orientation);
        const RegionTransform t = RandomTransform(random);
        const OwnedRegion shape;
        RECT rect = {};
        for (int i = random.Between(1, 4); i > 0; --i) {
            const int left = random.Between(-30, 60), top = random.Between(-30, 60);
            rect = {left, top, left + random.Between(1, 40), top + random.Between(1, 20)};
            AddRect(shape, rect);
        }
        // Pixel by pixel: offset, then scale, then mirror. A pixel fills what lies up to its neighbour's place.
        const auto expected = [&](auto contains) {
            Image mask(width, height, 1);
            for (int y = -30; y < 80; ++y)
                for (int x = -30; x < 100; ++x)
                    if (contains(x, y))
                        for (int row = (y + t.YOffset) * t.YScaleNum / t.YScaleDen;
                             row < (y + 1 + t.YOffset) * t.YScaleNum / t.YScaleDen; ++row)
                            for (int column = (x + t.XOffset) * t.XScaleNum / t.XScaleDen;
                                 column < (x + 1 + t.XOffset) * t.XScaleNum / t.XScaleDen; ++column) {
                                const int stored = t.TransformOrientation != orientation ? height - 1 - row : row;
                                if (stored >= 0 && stored < height && column >= 0 && column < width)
                                    mask.At(stored, column) = 1;
                            }
            return mask;
        };
        ASSERT_EQ(RESULT_SUCCESS, V_SetBitmapRgnHandle(bitmap.get(), &t, shape, COMBINE_REPLACE));
        ASSERT_EQ(expected([&](int x, int y) { return PtInRegion(shape, x, y); }), MaskOf(bitmap.get()));
        ASSERT_EQ(RESULT_SUCCESS, V_SetBitmapRgnRect(bitmap.get(), &t, &rect, COMBINE_REPLACE));
        ASSERT_EQ(expected([&](int x, int y) { return PtInRect(&rect, POINT{x, y}); }), MaskOf(bitmap.get()));
    }
}

TEST_F(Regions, TransformsOnTheWayOut)
{
    Random random(46);
    for (int round = 0; round < 300; ++round) {
        const int width = random.Between(1, 25), height = random.Between(1, 12);
        const int orientation = random.OneIn(2) ? ORIENT_TOP_DOWN : ORIENT_BOTTOM_UP;
        TestBitmap bitmap;
        Bare(bitmap, width, height, orientation);
        if (!random.OneIn(8))
            SetMask(bitmap.get(), RandomMask(random, width, height));
        const Image mask = MaskOf(bitmap.get());
        const bool isWhole = !V_BitmapHasRgn(bitmap.get());
        // A few transforms that differ in everything or in the offsets only, of which the second kind is remembered.
        RegionTransform t = RandomTransform(random);
        for (int again = 0; again < 3; ++again, t.XOffset += random.Below(3), t.YOffset -= random.Below(3)) {
            const auto transformed = [&](RECT r) {
                if (t.TransformOrientation != orientation)
                    r = {r.left, height - r.bottom, r.right, height - r.top};
                const int up = t.TransformOrientation == ORIENT_BOTTOM_UP ? t.YScaleDen - 1 : 0;
                RECT out = {(r.left * t.XScaleNum + t.XScaleDen - 1) / t.XScaleDen,
                            (r.top * t.YScaleNum + up) / t.YScaleDen,
                            (r.right * t.XScaleNum + t.XScaleDen - 1) / t.XScaleDen,
                            (r.bottom * t.YScaleNum + up) / t.YScaleDen};
                OffsetRect(&out, t.XOffset, t.YOffset);
                return out;
            };
            const OwnedRegion expected;
            for (int row = 0; row < height && !isWhole; ++row)
                for (int x = 0; x < width; ++x)
                    if (mask.At(row, x))
                        AddRect(expected, transformed({x, row, x + 1, row + 1}));
            if (isWhole)
                AddRect(expected, transformed({0, 0, width, height}));
            HRGN region = nullptr;
            ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapRgnHandle(bitmap.get(), &t, &region));
            const OwnedRegion owned(region);
            ASSERT_EQ(NULLREGION, CombineRgn(expected, expected, region, RGN_XOR)) << "time " << again;
            RECT bounds, own;
            ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapRgnBounds(bitmap.get(), nullptr, &own));
            ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapRgnBounds(bitmap.get(), &t, &bounds));
            const RECT there = own.left < own.right ? transformed(own) : RECT{};
            EXPECT_EQ(0, memcmp(&there, &bounds, sizeof bounds));
        }
        V_FreeBitmapRgn(bitmap.get());
    }
}

// The region stays, and is given when it is asked for again.
TEST_F(Regions, FailuresOnTheWayOut)
{
    Random random(71);
    const Image mask = Image::Random(random, 40, 10, 1); // more rectangles than GDI is given at a time
    for (const bool hasRegion : {true, false}) {
        ForEachFault(kFaultAll, [&](FaultInjector &faults) {
            TestBitmap bitmap(StorageKind::PageFile, 40, 10, 8);
            if (hasRegion)
                SetMask(bitmap.get(), mask);
            HRGN region = nullptr;
            const int status = faults.Run([&] { return V_GetBitmapRgnHandle(bitmap.get(), nullptr, &region); });
            EXPECT_EQ(status == RESULT_SUCCESS, region != nullptr);
            EXPECT_EQ(faults.struck(), status != RESULT_SUCCESS);
            EXPECT_TRUE(status == RESULT_SUCCESS || status == RESULT_FAILURE || status == ERR_NO_MEMORY) << status;
            DeleteObject(region);
            EXPECT_EQ(RESULT_SUCCESS, V_GetBitmapRgnHandle(bitmap.get(), nullptr, &region)) << "asked again";
            V_FreeBitmapRgn(bitmap.get());
            EXPECT_EQ(RESULT_SUCCESS, V_SetBitmapRgnHandle(bitmap.get(), nullptr, region, COMBINE_REPLACE));
            DeleteObject(region);
            if (hasRegion)
                EXPECT_EQ(mask, MaskOf(bitmap.get()));
        });
    }
}

// Coordinates far away are neither a matter of memory nor of overflow.
TEST_F(Regions, HugeCoordinates)
{
    TestBitmap bitmap;
    Bare(bitmap, 20, 10);
    const RECT everything = {INT_MIN, INT_MIN, INT_MAX, INT_MAX};
    const RegionTransform transforms[] = {
        {ORIENT_BOTTOM_UP, 1, 1, 1, 1, 0, 0},
        {ORIENT_TOP_DOWN, INT_MAX, 1, INT_MAX, 1, 0, 0},
        {ORIENT_BOTTOM_UP, 1, 1000, 1, 1000, 0, 0},
        {ORIENT_TOP_DOWN, INT_MIN, INT_MIN + 1, INT_MAX, INT_MAX, 5, 5},
    };
    for (const RegionTransform &transform : transforms) {
        ASSERT_EQ(RESULT_SUCCESS, V_SetBitmapRgnRect(bitmap.get(), &transform, &everything, COMBINE_REPLACE));
        EXPECT_EQ(WholeMask(20, 10), MaskOf(bitmap.get()));
        HRGN region = nullptr;
        ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapRgnHandle(bitmap.get(), &transform, &region));
        DeleteObject(region);
    }
    for (int offset : {INT_MIN, INT_MAX}) {
        EXPECT_EQ(RESULT_SUCCESS, V_OffsetBitmapRgn(bitmap.get(), 0, offset));
        EXPECT_EQ(Image(20, 10, 1), MaskOf(bitmap.get()));
        V_FreeBitmapRgn(bitmap.get());
        EXPECT_EQ(RESULT_SUCCESS, V_OffsetBitmapRgn(bitmap.get(), offset, 1));
        EXPECT_EQ(Image(20, 10, 1), MaskOf(bitmap.get()));
        V_FreeBitmapRgn(bitmap.get());
    }

    // A few rows of more than any list could hold.
    BitmapHandle tall;
    V_InitBitmap(&tall, 20, INT_MAX, 1);
    const RECT part = {3, 1000, 7, 1010};
    unsigned area = 0;
    EXPECT_EQ(RESULT_SUCCESS, V_SetBitmapRgnRect(&tall, nullptr, &part, COMBINE_INTERSECT));
    EXPECT_EQ(RESULT_SUCCESS, V_GetBitmapRgnArea(&tall, &area));
    EXPECT_EQ(40u, area);
    V_FreeBitmapRgn(&tall);
}

// ---- Moves, and the bitmap around a region --------------------------------------------------------------------

TEST_F(Regions, OffsetsMoveAndClip)
{
    Random random(48);
    for (int round = 0; round < 300; ++round) {
        const int width = random.Between(1, 50), height = random.Between(1, 15);
        TestBitmap bitmap;
        Bare(bitmap, width, height);
        Image mask = WholeMask(width, height);
        if (!random.OneIn(5))
            SetMask(bitmap.get(), mask = RandomMask(random, width, height));
        for (int step = 0; step < 3; ++step) {
            const int down = random.Between(-height, height) / 2, right = random.Between(-width, width) / 2;
            Image moved(width, height, 1);
            for (int row = 0; row < height; ++row)
                for (int x = 0; x < width; ++x)
                    if (row - down >= 0 && row - down < height && x - right >= 0 && x - right < width)
                        moved.At(row, x) = mask.At(row - down, x - right);
            ASSERT_EQ(RESULT_SUCCESS, V_OffsetBitmapRgn(bitmap.get(), down, right));
            ASSERT_TRUE(V_BitmapHasRgn(bitmap.get()));
            ASSERT_EQ(moved, MaskOf(bitmap.get())) << down << ", " << right;
            mask = moved;
        }
        V_FreeBitmapRgn(bitmap.get());
    }
}

TEST_F(Regions, DuplicatesAndOtherHeightsCutTheRegion)
{
    Random random(50);
    for (int round = 0; round < 50; ++round) {
        const int width = random.Between(1, 40), height = random.Between(1, 15);
        const bool isCompressed = random.OneIn(2);
        const int bits = isCompressed ? 1 : 8;
        TestBitmap source(isCompressed ? StorageKind::Compressed : StorageKind::PageFile, width, height, bits);
        const Image mask = RandomMask(random, width, height);
        SetMask(source.get(), mask);
        const int newWidth = random.Between(1, 50), newHeight = random.Between(1, 20);
        TestBitmap copy;
        ASSERT_EQ(RESULT_SUCCESS, V_DupBitmapNewDim(copy.get(), source.get(), newWidth, newHeight, bits,
                                                    DUP_ALLOCATE | DUP_PALETTE | DUP_REGION));
        EXPECT_NE(source->Region, copy->Region);
        Image expected(newWidth, newHeight, 1);
        for (int row = 0; row < std::min(height, newHeight); ++row)
            for (int x = 0; x < std::min(width, newWidth); ++x)
                expected.At(row, x) = mask.At(row, x);
        ASSERT_EQ(expected, MaskOf(copy.get()));
        expected.height = random.Between(1, newHeight + 2);
        expected.pixels.resize(size_t(newWidth * expected.height));
        ASSERT_EQ(RESULT_SUCCESS, V_ChangeBitmapHeight(copy.get(), expected.height));
        ASSERT_EQ(expected, MaskOf(copy.get()));
        BitmapHandle shared;
        ASSERT_EQ(RESULT_SUCCESS, V_DupBitmapNewDim(&shared, source.get(), newWidth, newHeight, bits, 0));
        EXPECT_EQ(source->Region, shared.Region);
        EXPECT_EQ(mask, MaskOf(source.get()));
        // Freeing an image without its attachments leaves the region to whoever copied it.
        struct BitmapRegion *const kept = source->Region;
        V_FreeImage(source.get(), 0);
        EXPECT_FALSE(V_BitmapHasRgn(source.get()));
        DeleteObject(shared.Palette);
        V_FreeBitmapRgn(copy.get());
        copy->Region = kept;
    }
}

// ---- Refused arguments ----------------------------------------------------------------------------------------

TEST_F(Regions, RefusedQuestions)
{
    TestBitmap bitmap(StorageKind::PageFile, 10, 10, 8);
    const OwnedRegion shape;
    HRGN out = shape;
    RECT bounds;
    for (const RegionTransform &bad :
         {RegionTransform{1, 1, 1, 1, 1, 0, 0}, {0, 1, 0, 1, 1, 0, 0}, {2, 1, 1, 1, 0, 0, 0}}) {
        EXPECT_EQ(ERR_INV_PARAMETER, V_GetBitmapRgnBounds(bitmap.get(), &bad, &bounds));
        EXPECT_EQ(RESULT_FAILURE, V_GetBitmapRgnHandle(bitmap.get(), &bad, &out)) << "not the reason";
    }
    EXPECT_EQ(ERR_NO_BITMAP, V_SetBitmapRgnHandle(nullptr, nullptr, shape, COMBINE_REPLACE));
    EXPECT_EQ(ERR_INV_PARAMETER, V_FreeBitmapRgn(nullptr));
    EXPECT_EQ(RESULT_SUCCESS, V_FreeBitmapRgn(bitmap.get())) << "nothing to free";
    EXPECT_EQ(0, V_BitmapHasRgn(nullptr) + V_IsPtInBitmapRgn(nullptr, 0, 0));
    EXPECT_EQ(ERR_NO_BITMAP, V_GetBitmapRgnBounds(nullptr, nullptr, &bounds));
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetBitmapRgnBounds(bitmap.get(), nullptr, nullptr));
    EXPECT_EQ(ERR_NO_BITMAP, V_GetBitmapRgnArea(nullptr, nullptr));
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetBitmapRgnArea(bitmap.get(), nullptr));
    EXPECT_EQ(ERR_NO_BITMAP, V_GetBitmapRgnHandle(nullptr, nullptr, &out));
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetBitmapRgnHandle(bitmap.get(), nullptr, nullptr));
    EXPECT_EQ(shape.handle, out);
}

} // namespace vexo::test
