// Combining against a model that follows the tables pixel by pixel: every flag word, all depths and storages, clipped
// rectangles, different orientations and regions on both sides.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/regions.h"
#include "tests/support/status_recorder.h"

namespace vexo::test {

namespace {

class Combine : public LibraryTest {
private:
    const PageHeapScope m_pageHeap;
};

constexpr unsigned kOperationCount = 12;

unsigned Treat(unsigned value, unsigned treatment, unsigned top)
{
    const unsigned values[] = {value, top - value, 0, top};
    return values[treatment];
}

// The truth-table column of an operation.
unsigned LogicalResult(unsigned operation, unsigned d, unsigned s)
{
    const unsigned results[kOperationCount] = {d & s, d | s, d ^ s, d | s, d & ~s, ~d & s,
                                               d & s, d,     s,     d | s, d & s,  d | s};
    return results[operation];
}

unsigned ChannelResult(unsigned operation, unsigned d, unsigned s, unsigned top)
{
    switch (operation) {
    case 3: return std::min(d + s, top);
    case 4: return d > s ? d - s : 0;
    case 5: return s > d ? s - d : 0;
    case 6: return d * s / top;
    case 7: return s == 0 ? top : std::min(d * top / s, top);
    case 8: return d == 0 ? top : std::min(s * top / d, top);
    case 9: return (d + s) >> 1;
    case 10: return std::min(d, s);
    default: return std::max(d, s);
    }
}

// What a flag word makes of one pixel.
uint32_t Model(unsigned flags, uint32_t destination, uint32_t source, int bits)
{
    const unsigned sourceField = flags & 3, destinationField = flags >> 4 & 3, operation = flags >> 8 & 15,
                   resultField = flags >> 12;
    const auto logical = [&](uint32_t d, uint32_t s) {
        return Treat(LogicalResult(operation, Treat(d, destinationField, ~0u), Treat(s, sourceField, ~0u)), resultField,
                     ~0u);
    };
    const unsigned table = logical(0xAA, 0xCC) & 15;
    const bool constant = table == 0 || table == 15;
    const bool both = !constant && table != 3 && table != 12 && table != 5 && table != 10;
    const bool divides = operation == 7 || operation == 8;
    if (bits == 1 || operation < 3 || !(divides ? !constant : both))
        return logical(destination, source) & (bits == 32 ? ~0u : (1u << bits) - 1);
    const int channelBits = bits == 16 ? 5 : std::min(bits, 8);
    const unsigned top = (1u << channelBits) - 1;
    uint32_t result = bits == 16 ? destination & 0x8000 : 0;
    for (int shift = 0; shift + channelBits <= bits; shift += channelBits) {
        const unsigned d = Treat(destination >> shift & top, destinationField, top);
        const unsigned s = Treat(source >> shift & top, sourceField, top);
        result |= Treat(ChannelResult(operation, d, s, top), resultField, top) << shift;
    }
    return result;
}

struct Place {
    int left, top, width, height, sourceLeft, sourceTop;
};

// Combines two images by the model, within masks.
Image CombinedImage(Image image, const Image &mask, const Image &source, const Image &sourceMask, bool mirrored,
                    const Place &place, unsigned flags)
{
    for (int j = 0; j < place.height; ++j)
        for (int i = 0; i < place.width; ++i) {
            const int row = place.top + j, x = place.left + i, sx = place.sourceLeft + i;
            const int sourceLine = place.sourceTop + j;
            const int sy = mirrored ? source.height - 1 - sourceLine : sourceLine;
            if (row < 0 || row >= image.height || x < 0 || x >= image.width || sy < 0 || sy >= source.height ||
                sx < 0 || sx >= source.width || !mask.At(row, x) || !sourceMask.At(sy, sx))
                continue;
            image.At(row, x) = Model(flags, image.At(row, x), source.At(sy, sx), image.bits);
        }
    return image;
}

Place RandomPlace(Random &random, const Image &image, const Image &source)
{
    return {random.Between(-9, image.width),      random.Between(-4, image.height),
            random.Between(-2, image.width + 20), random.Between(-1, image.height + 9),
            random.Between(-9, source.width),     random.Between(-4, source.height)};
}

int CombineAt(BitmapHandle *destination, BitmapHandle *source, const Place &place, unsigned flags)
{
    return V_CombineBitmap(destination, place.left, place.top, place.width, place.height, source, place.sourceLeft,
                           place.sourceTop, flags);
}

unsigned FlagWord(int i) { return unsigned(i % 4 | i / 4 % 4 << 4 | i / 16 % 4 << 12 | i / 64 << 8); }
constexpr int kFlagWords = int(64 * kOperationCount);

} // namespace

TEST_F(Combine, EveryFlagWordFollowsTheTables)
{
    Random random(71);
    for (int bits : kAllDepths) {
        const Image image = Image::Random(random, 67, 1, bits);
        Image source = Image::Random(random, 67, 1, bits), everywhere(67, 1, 1);
        for (int x = 0; x < 67; x += 5)
            source.At(0, x) = 0;
        std::ranges::fill(everywhere.pixels, 1u);
        TestBitmap from(StorageKind::PageFile, source), to(StorageKind::PageFile, 67, 1, bits);
        for (int i = 0; i < kFlagWords; ++i) {
            const unsigned flags = FlagWord(i);
            const Place place = {random.Below(9), 0, random.Between(30, 50), 1, random.Below(9), 0};
            Store(to.get(), image);
            ASSERT_EQ(RESULT_SUCCESS, CombineAt(to.get(), from.get(), place, flags));
            ASSERT_EQ(CombinedImage(image, everywhere, source, everywhere, false, place, flags), Load(to.get()))
                << bits << " bits, flags " << std::hex << flags;
        }
    }
}

TEST_F(Combine, RectanglesOrientationsRegionsAndStorages)
{
    Random random(72);
    ForEachVariant(random, 8, [&](const Variant &variant) {
        const int bits = variant.bits;
        const Image image = Image::RandomRuns(random, random.Between(1, 60), random.Between(1, 9), bits);
        const Image sourceImage = Image::RandomRuns(random, random.Between(1, 60), random.Between(1, 9), bits);
        TestBitmap destination(variant.kind, image, variant.options);
        TestBitmap source(variant.kind, sourceImage, RandomOptions(random, bits));
        if (random.OneIn(2))
            SetRandomRegion(destination.get(), random);
        if (random.OneIn(2))
            SetRandomRegion(source.get(), random);
        const BitmapSnapshot sourceBefore(source.get());
        // Words that read the source, which limits the rectangle with its size and its region.
        unsigned flags = CMB_DST_ONES;
        while (!random.OneIn(4)) {
            flags = FlagWord(random.Below(kFlagWords)) & ~(2u | 0x2000u);
            const bool divides = (flags >> 8 & 15) == 7 || (flags >> 8 & 15) == 8;
            const auto model = [&](uint32_t d, uint32_t s) { return Model(flags, d, s, bits); };
            if ((bits > 1 && divides && !(flags & 0x20)) || model(0, 0) != model(0, ~0u) ||
                model(~0u, 0) != model(~0u, ~0u))
                break;
            flags = CMB_DST_ONES;
        }
        const Place place = RandomPlace(random, image, sourceImage);
        const Image expected = CombinedImage(image, MaskOf(destination.get()), sourceImage, MaskOf(source.get()),
                                             source->Orientation != destination->Orientation, place, flags);
        ASSERT_EQ(RESULT_SUCCESS, CombineAt(destination.get(), source.get(), place, flags));
        ASSERT_EQ(expected, Load(destination.get())) << std::hex << flags;
        sourceBefore.ExpectUnchanged();
    });
}

TEST_F(Combine, WordsWithoutASourceWriteTheClippedRectangle)
{
    Random random(73);
    for (int bits : kAllDepths) {
        const Image image = Image::Random(random, 33, 5, bits);
        TestBitmap bitmap(StorageKind::PageFile, image);
        Image expected = image;
        for (const unsigned flags : {CMB_SRC_ZERO | CMB_DST_INVERTED | CMB_OP_OR, CMB_RES_ONES | 0u}) {
            const int left = flags == CMB_RES_ONES ? -6 : -3;
            ASSERT_EQ(RESULT_SUCCESS, V_CombineBitmap(bitmap.get(), left, 2, 12, 90, nullptr, 5, -7, flags));
            for (int row = 2; row < 5; ++row)
                for (int x = 0; x < left + 12; ++x)
                    expected.At(row, x) = Model(flags, expected.At(row, x), 0, bits);
            ASSERT_EQ(expected, Load(bitmap.get())) << bits << " bits";
        }
    }
}

TEST_F(Combine, ABitmapCombinesWithItself)
{
    Random random(74);
    for (int bits : {1, 4, 8, 24}) {
        const Image image = Image::Random(random, 50, 1, bits);
        TestBitmap bitmap(StorageKind::PageFile, image);
        ASSERT_EQ(RESULT_SUCCESS, V_CombineBitmap(bitmap.get(), 7, 0, 40, 1, bitmap.get(), 2, 0, CMB_DST_ONES));
        const Image result = Load(bitmap.get());
        for (int x = 0; x < 50; ++x)
            ASSERT_EQ(image.At(0, x >= 7 && x < 47 ? x - 5 : x), result.At(0, x));
    }
}

TEST_F(Combine, BadCallsAreRefusedAndEmptyOnesSucceed)
{
    Random random(75);
    TestBitmap destination(StorageKind::PageFile, Image::Random(random, 20, 5, 8));
    TestBitmap source(StorageKind::PageFile, Image::Random(random, 20, 5, 8));
    TestBitmap deeper(StorageKind::PageFile, 20, 5, 24);
    BitmapHandle empty = {};
    const BitmapSnapshot before(destination.get());
    const auto combine = [](BitmapHandle *to, BitmapHandle *from, unsigned flags) {
        return V_CombineBitmap(to, 0, 0, 20, 5, from, 0, 0, flags);
    };
    for (unsigned flags : {0x10000u, 0x80000000u, 4u, 15u, 0x40u, 0xF0u, 0xC00u, 0xF00u, 0x4000u, 0xF000u})
        EXPECT_EQ(ERR_INV_PARAMETER, combine(destination.get(), source.get(), flags)) << std::hex << flags;
    EXPECT_EQ(ERR_INV_PARAMETER, combine(nullptr, source.get(), CMB_OP_OR));
    EXPECT_EQ(ERR_INV_PARAMETER, combine(&empty, source.get(), CMB_OP_OR));
    EXPECT_EQ(ERR_INV_PARAMETER, combine(destination.get(), nullptr, CMB_OP_OR));
    EXPECT_EQ(ERR_INV_PARAMETER, combine(destination.get(), &empty, CMB_OP_OR));
    EXPECT_EQ(ERR_INV_PARAMETER, combine(destination.get(), deeper.get(), CMB_OP_OR));
    EXPECT_EQ(RESULT_SUCCESS, combine(destination.get(), nullptr, CMB_SRC_ONES | CMB_OP_AND)) << "nothing to do";
    for (const Place &place : {Place{0, 0, 0, 5, 0, 0}, Place{0, 0, 5, -1, 0, 0}, Place{20, 0, 5, 5, 0, 0},
                               Place{0, 0, 5, 5, 0, -5}, Place{INT_MAX, INT_MAX, INT_MAX, INT_MAX, 0, 0},
                               Place{INT_MIN, 0, INT_MAX, 5, 0, 0}, Place{0, 0, 5, 5, INT_MIN, INT_MIN}})
        EXPECT_EQ(RESULT_SUCCESS, CombineAt(destination.get(), source.get(), place, CMB_OP_XOR));
    before.ExpectUnchanged();

    // Rows outside the region are no part of the work.
    const RECT rows = {5, 1, 9, 4};
    ASSERT_EQ(RESULT_SUCCESS, V_SetBitmapRgnRect(destination.get(), nullptr, &rows, COMBINE_REPLACE));
    const StatusRecorder recorder;
    EXPECT_EQ(RESULT_SUCCESS, combine(destination.get(), source.get(), CMB_OP_XOR));
    EXPECT_EQ((std::vector<int>{0, 33, 66, 100}), recorder.percentages());
}

TEST_F(Combine, FailuresAndStopsKeepWholeRows)
{
    Random random(76);
    ForEachVariant(random, 1, [&](const Variant &variant) {
        const Image image = Image::RandomRuns(random, 40, 3, variant.bits);
        const Image sourceImage = Image::Random(random, 40, 3, variant.bits);
        TestBitmap source(variant.kind, sourceImage);
        const auto combine = [&](BitmapHandle *bitmap) {
            return V_CombineBitmap(bitmap, 0, 0, 40, 3, source.get(), 0, 0, CMB_OP_XOR);
        };
        const auto expectWholeRows = [&](BitmapHandle *bitmap, bool isDone) {
            const Image result = Load(bitmap);
            Image expected = image; // with ever more rows combined, from the first on
            int done = 0;
            for (; !(result == expected) && done < 3; ++done)
                for (int x = 0; x < 40; ++x)
                    expected.At(done, x) ^= sourceImage.At(done, x);
            EXPECT_EQ(expected, result);
            EXPECT_EQ(isDone, done == 3);
        };
        ForEachFault(
            kFaultAll,
            [&](FaultInjector &faults) {
                TestBitmap bitmap(variant.kind, image);
                const int status = faults.Run([&] { return combine(bitmap.get()); });
                EXPECT_EQ(faults.struck(), status < 0) << faults.function();
                expectWholeRows(bitmap.get(), status == RESULT_SUCCESS);
            },
            0);
        for (int stopAt = 0; stopAt < 4; ++stopAt) {
            TestBitmap bitmap(variant.kind, image);
            const StatusRecorder recorder(stopAt);
            EXPECT_EQ(StatusRecorder::kStopped, combine(bitmap.get()));
            EXPECT_EQ(size_t(stopAt) + 1, recorder.percentages().size());
            expectWholeRows(bitmap.get(), stopAt == 3);
        }
    });
}

} // namespace vexo::test
