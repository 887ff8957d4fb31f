// Flip and reverse against a model that moves pixels one by one, for all depths, storages and widths, with regions; and
// that a call that fails or is stopped puts everything back.
#include "tests/geometry/region_masks.h"
#include "tests/geometry/status_recorder.h"
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"

namespace vexo::test {

namespace {

class Mirror : public LibraryTest {
private:
    const PageHeapScope m_pageHeap;
};

Image Flipped(const Image &image)
{
    Image result = image;
    for (int row = 0; row < image.height; ++row)
        for (int x = 0; x < image.width; ++x)
            result.At(row, x) = image.At(image.height - 1 - row, x);
    return result;
}

Image Reversed(const Image &image)
{
    Image result = image;
    for (int row = 0; row < image.height; ++row)
        for (int x = 0; x < image.width; ++x)
            result.At(row, x) = image.At(row, image.width - 1 - x);
    return result;
}

struct Operation {
    int(VEXO_CALL *run)(BitmapHandle *);
    Image (*model)(const Image &);
};
const Operation kOperations[] = {{V_FlipBitmap, Flipped}, {V_ReverseBitmap, Reversed}};

template <class Test>
void ForEachBitmap(Test &&test)
{
    Random random(60);
    for (int bits : kAllDepths)
        for (StorageKind kind : StorageKinds(bits))
            for (const Operation &operation : kOperations) {
                SCOPED_TRACE(testing::Message() << bits << " bits, " << kind);
                const StorageScope scope(kind);
                test(random, kind, bits, operation);
            }
}

} // namespace

TEST_F(Mirror, PixelsAndRegionsAreMirrored)
{
    ForEachBitmap([](Random &random, StorageKind kind, int bits, const Operation &operation) {
        for (int i = 0; i < 10; ++i) {
            const int width = i < 5 ? random.Between(1, 40) : random.Between(1, 300);
            const Image image = Image::RandomRuns(random, width, random.Between(1, 7), bits);
            TestBitmap bitmap(kind, image, {random.Below(2), random.Below(2) * 2, {}});
            if (random.OneIn(2))
                SetRandomRegion(bitmap.get(), random);
            const Image mask = RegionMask(bitmap.get());
            const BitmapSnapshot before(bitmap.get());
            ASSERT_EQ(RESULT_SUCCESS, operation.run(bitmap.get()));
            ASSERT_EQ(operation.model(image), Load(bitmap.get()));
            ASSERT_EQ(operation.model(mask), RegionMask(bitmap.get()));
            ASSERT_EQ(RESULT_SUCCESS, operation.run(bitmap.get()));
            if (kind != StorageKind::Compressed) // whose pool may have grown
                before.ExpectUnchanged();
            ASSERT_EQ(image, Load(bitmap.get()));
            ASSERT_EQ(mask, RegionMask(bitmap.get()));
        }
    });
}

TEST_F(Mirror, RunsAreThoseOfTheMirroredRow)
{
    Random random(61);
    const StorageScope scope(StorageKind::Compressed);
    for (int width : {1, 2, 37, 65536, 200000}) {
        Image image = Image::RandomRuns(random, width, 6, 1);
        for (int row = 1; row < 6; ++row) // long runs, and ends of either value
            for (int x = 0; x < width; ++x)
                image.At(row, x) = uint32_t(row >> (x * 3 / width) & 1);
        TestBitmap mirrored(StorageKind::Compressed, image), expected(StorageKind::Compressed, Reversed(image));
        ASSERT_EQ(RESULT_SUCCESS, V_ReverseBitmap(mirrored.get()));
        std::vector<WORD> runs(size_t(width) + 1), expectedRuns(runs.size());
        for (int row = 0; row < 6; ++row) {
            int count = 0, expectedCount = 0;
            V_GetBitmapRowColCompressed(mirrored.get(), nullptr, runs.data(), row, 0, width, &count);
            V_GetBitmapRowColCompressed(expected.get(), nullptr, expectedRuns.data(), row, 0, width, &expectedCount);
            ASSERT_EQ(expectedCount, count) << width << ", row " << row;
            EXPECT_TRUE(std::equal(runs.begin(), runs.begin() + count, expectedRuns.begin()));
        }
    }
}

TEST_F(Mirror, StoppedCallsPutTheRowsBack)
{
    ForEachBitmap([](Random &random, StorageKind kind, int bits, const Operation &operation) {
        const Image image = Image::RandomRuns(random, 45, 7, bits);
        TestBitmap bitmap(kind, image);
        SetRandomRegion(bitmap.get(), random);
        const Image mask = RegionMask(bitmap.get());
        int calls = 0;
        for (int status = StatusRecorder::kStopped; status == StatusRecorder::kStopped; ++calls) {
            const StatusRecorder recorder(calls);
            status = operation.run(bitmap.get());
            if (status == RESULT_SUCCESS) {
                recorder.ExpectRising(0, 100);
                continue;
            }
            ASSERT_EQ(StatusRecorder::kStopped, status);
            ASSERT_EQ(image, Load(bitmap.get())) << "stopped at call " << calls;
            ASSERT_EQ(mask, RegionMask(bitmap.get()));
        }
        EXPECT_EQ(operation.run == V_FlipBitmap ? 5 : 9, calls) << "0, each step, and one that gets through";
        EXPECT_EQ(operation.model(image), Load(bitmap.get()));
    });
}

TEST_F(Mirror, FailedCallsPutTheRowsBack)
{
    ForEachBitmap([](Random &random, StorageKind kind, int bits, const Operation &operation) {
        // Rows in memory are mirrored where they are, and compressed rows are exchanged as table entries, so that
        // nothing is acquired that could fail; but pixels that straddle bytes need a work row.
        const bool needsWork = bits < 8 && 8 % bits != 0;
        if (kind != StorageKind::TemporaryFile && !needsWork &&
            !(kind == StorageKind::Compressed && operation.run == V_ReverseBitmap))
            return;
        Image image = Image::RandomRuns(random, 45, 5, bits);
        if (kind == StorageKind::Compressed) {
            // Two rows that fill the first pool to the last byte and gain a run each.
            image = Image(8160, 2, 1);
            for (int x = 0; x < image.width; ++x) {
                image.At(0, x) = x >= 4080;
                image.At(1, x) = uint32_t(x % 2);
            }
        }
        ForEachFault(kFaultAll, [&](FaultInjector &faults) {
            TestBitmap bitmap(kind, image);
            SetRandomRegion(bitmap.get(), random);
            const Image mask = RegionMask(bitmap.get());
            const int status = faults.Run([&] { return operation.run(bitmap.get()); });
            const bool done = status == RESULT_SUCCESS;
            EXPECT_EQ(faults.struck(), !done) << faults.function();
            EXPECT_EQ(done ? operation.model(image) : image, Load(bitmap.get()));
            EXPECT_EQ(done ? operation.model(mask) : mask, RegionMask(bitmap.get()));
        });
    });
}

TEST_F(Mirror, FlatBitmapsReportBothEndsAndBadOnesAreRefused)
{
    TestBitmap bitmap(StorageKind::PageFile, 9, 1, 8);
    const StatusRecorder recorder;
    EXPECT_EQ(RESULT_SUCCESS, V_FlipBitmap(bitmap.get()));
    EXPECT_EQ((std::vector<int>{0, 100}), recorder.percentages());
    BitmapHandle empty = {};
    for (const Operation &operation : kOperations) {
        EXPECT_EQ(ERR_NO_BITMAP, operation.run(nullptr));
        EXPECT_EQ(ERR_NO_BITMAP, operation.run(&empty));
    }
}

} // namespace vexo::test
