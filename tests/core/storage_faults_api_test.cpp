// Every acquisition of the storage functions fails once: the caller's record and pixels stay as they were, and nothing
// is left behind.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"

#include "vexokit.h"

#include <algorithm>
#include <cstring>

namespace vexo::test {

namespace {

class StorageFaults : public LibraryTest {
private:
    const PageHeapScope m_pageHeap;
};

// A new bitmap is either as good as any or its record has not been touched.
void ExpectWholeOrUntouched(const FaultInjector &faults, int status, BitmapHandle &record, const BitmapHandle &before)
{
    if (status != RESULT_SUCCESS) {
        EXPECT_TRUE(faults.struck()) << status;
        EXPECT_TRUE(status == ERR_NO_MEMORY || status == ERR_FILE_WRITE) << status;
        EXPECT_TRUE(SameRecord(before, record)) << Describe(before) << "\n" << Describe(record);
        return;
    }
    Random random(20);
    const Image image = Image::RandomRuns(random, record.Width, record.Height, record.BitsPerPixel);
    Store(&record, image);
    EXPECT_EQ(image, Load(&record));
    V_FreeBitmap(&record);
}

template <class Test>
void ForEachKind(std::initializer_list<int> depths, Test &&test)
{
    for (int bits : depths) {
        for (StorageKind kind : StorageKinds(bits)) {
            SCOPED_TRACE(testing::Message() << bits << " bits, " << kind);
            const StorageScope scope(kind);
            test(bits, kind);
        }
    }
}

} // namespace

TEST_F(StorageFaults, CreateAndAllocate)
{
    ForEachKind({0, 1, 4, 24}, [](int bits, StorageKind kind) {
        BitmapHandle rubbish;
        memset(&rubbish, 0xCD, sizeof rubbish);
        ForEachFault(kFaultAll, [&](FaultInjector &faults) {
            BitmapHandle record = rubbish;
            const int status = faults.Run([&] {
                return V_CreateBitmap(&record, MemoryType(kind), 50, 20, bits, COLOR_ORDER_BGR, nullptr,
                                      ORIENT_TOP_DOWN);
            });
            ExpectWholeOrUntouched(faults, status, record, rubbish);
        });
        if (bits == 0)
            return;
        BitmapHandle fresh;
        ASSERT_EQ(RESULT_SUCCESS, V_InitBitmap(&fresh, 50, 20, bits));
        ForEachFault(kFaultAll, [&](FaultInjector &faults) {
            BitmapHandle record = fresh;
            const int status = faults.Run([&] { return V_AllocateBitmap(&record, MemoryType(kind)); });
            ExpectWholeOrUntouched(faults, status, record, fresh);
        });
    });
}

TEST_F(StorageFaults, ChangeHeight)
{
    Random random(21);
    ForEachKind({1, 8, 24}, [&](int bits, StorageKind kind) {
        const Image image = Image::RandomRuns(random, 40, 30, bits);
        for (int height : {10, 31, 3000}) {
            SCOPED_TRACE(height);
            ForEachFault(kFaultAll, [&](FaultInjector &faults) {
                TestBitmap bitmap(kind, image);
                BitmapSnapshot before(bitmap.get());
                const BitmapHandle record = *bitmap.get();
                const int status = faults.Run([&] { return V_ChangeBitmapHeight(bitmap.get(), height); });
                if (status != RESULT_SUCCESS) {
                    EXPECT_TRUE(faults.struck());
                    EXPECT_EQ(ERR_NO_MEMORY, status);
                    if (kind == StorageKind::Compressed && height < image.height) {
                        // The rows beyond are gone when the table cannot be made smaller.
                        BitmapHandle expected = record;
                        expected.Height = height;
                        EXPECT_TRUE(SameRecord(expected, *bitmap.get())) << Describe(*bitmap.get());
                    } else {
                        before.ExpectUnchanged();
                    }
                }
                // Whatever happened, the rows that are left can be read, written and freed.
                const int kept = std::min(bitmap->Height, image.height);
                const Image rows = Load(bitmap.get());
                EXPECT_TRUE(std::equal(rows.pixels.begin(), rows.pixels.begin() + kept * 40, image.pixels.begin()));
                const Image other = Image::RandomRuns(random, 40, bitmap->Height, bits);
                Store(bitmap.get(), other);
                EXPECT_EQ(other, Load(bitmap.get()));
            });
        }
    });
}

TEST_F(StorageFaults, Duplicate)
{
    Random random(22);
    ForEachKind({1, 8}, [&](int bits, StorageKind kind) {
        TestBitmap source(kind, Image::RandomRuns(random, 40, 30, bits));
        const BitmapSnapshot sourceBefore(source.get());
        BitmapHandle rubbish;
        memset(&rubbish, 0xCD, sizeof rubbish);
        ForEachFault(kFaultAll, [&](FaultInjector &faults) {
            BitmapHandle copy = rubbish;
            const int status = faults.Run([&] {
                return V_DupBitmapNewDim(&copy, source.get(), 50, 20, bits, DUP_ALLOCATE | DUP_PALETTE | DUP_REGION);
            });
            ExpectWholeOrUntouched(faults, status, copy, rubbish);
            sourceBefore.ExpectUnchanged();
        });
    });
}

// Rows of compressed storage take memory as they are written; a write that fails leaves the others alone.
TEST_F(StorageFaults, CompressedWrites)
{
    Random random(23);
    constexpr int kWidth = 4000, kHeight = 10;
    const Image image = Image::Random(random, kWidth, kHeight, 1);
    ForEachFault(kFaultAll, [&](FaultInjector &faults) {
        TestBitmap bitmap(StorageKind::Compressed, kWidth, kHeight, 1);
        int written = 0;
        faults.Run([&] {
            while (written < kHeight && V_PutBitmapRow(bitmap.get(), image.PackedRow(written).data(), written,
                                                       bitmap->BytesPerLine) == bitmap->BytesPerLine)
                ++written;
        });
        EXPECT_EQ(faults.struck(), written < kHeight);
        Image expected(kWidth, kHeight, 1);
        std::copy_n(image.pixels.begin(), written * kWidth, expected.pixels.begin());
        EXPECT_TRUE(expected == Load(bitmap.get()));
        Store(bitmap.get(), image);
        EXPECT_TRUE(image == Load(bitmap.get()));
    });
}

} // namespace vexo::test
