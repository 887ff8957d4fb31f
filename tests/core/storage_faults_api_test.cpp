// Every acquisition of the storage functions fails once: the caller's record and pixels stay as they were, and nothing
// is left behind.
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/regions.h"

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
        EXPECT_TRUE(status == ERR_NO_MEMORY || status == ERR_FILE_READ || status == ERR_FILE_WRITE ||
                    status == ERR_FILE_SEEK)
            << status;
        EXPECT_TRUE(SameRecord(before, record)) << Describe(before) << "\n" << Describe(record);
        return;
    }
    Random random(20);
    const Image image = Image::RandomRuns(random, record.Width, record.Height, record.BitsPerPixel);
    Store(&record, image);
    EXPECT_EQ(image, Load(&record));
    V_FreeBitmap(&record);
}

} // namespace

TEST_F(StorageFaults, NewBitmaps)
{
    Random random(22);
    constexpr int kDepths[] = {1, 4, 24};
    ForEachVariant(
        random, 1,
        [&](const Variant &variant) {
            const int bits = variant.bits, type = MemoryType(variant.kind);
            BitmapHandle rubbish, fresh;
            memset(&rubbish, 0xCD, sizeof rubbish);
            ASSERT_EQ(RESULT_SUCCESS, V_InitBitmap(&fresh, 50, 20, bits));
            TestBitmap source(variant.kind, Image::RandomRuns(random, 40, 30, bits));
            SetRandomRegion(source.get(), random);
            const BitmapSnapshot sourceBefore(source.get());
            const auto check = [&](const BitmapHandle &before, auto make) {
                ForEachFault(kFaultAll, [&](FaultInjector &faults) {
                    BitmapHandle record = before;
                    ExpectWholeOrUntouched(faults, faults.Run([&] { return make(&record); }), record, before);
                    sourceBefore.ExpectUnchanged();
                });
            };
            check(fresh, [&](auto *made) { return V_AllocateBitmap(made, type); });
            for (const int depth : {bits, 0})
                check(rubbish, [&](auto *made) {
                    return V_CreateBitmap(made, type, 50, 20, depth, COLOR_ORDER_BGR, nullptr, ORIENT_TOP_DOWN);
                });
            check(rubbish, [&](auto *made) {
                return V_DupBitmapNewDim(made, source.get(), 50, 20, bits, DUP_ALLOCATE | DUP_PALETTE | DUP_REGION);
            });
            const BitmapHandle none = {};
            check(none, [&](auto *made) { return V_CopyBitmap(made, source.get()); });
            check(none, [&](auto *made) { return V_CopyBitmapRect(made, source.get(), 3, -1, 30, 5); });
            check(none, [&](auto *made) { return V_GetBitmapAlpha(source.get(), made); });
        },
        kDepths);
}

TEST_F(StorageFaults, ChangeHeight)
{
    Random random(21);
    constexpr int kDepths[] = {1, 8, 24};
    ForEachVariant(
        random, 1,
        [&](const Variant &variant) {
            const Image image = Image::RandomRuns(random, 40, 30, variant.bits);
            for (const int height : {10, 31, 3000})
                ForEachFault(kFaultAll, [&](FaultInjector &faults) {
                    TestBitmap bitmap(variant.kind, image);
                    const BitmapSnapshot before(bitmap.get());
                    BitmapHandle expected = *bitmap.get();
                    const int status = faults.Run([&] { return V_ChangeBitmapHeight(bitmap.get(), height); });
                    if (status != RESULT_SUCCESS) {
                        EXPECT_TRUE(faults.struck());
                        EXPECT_EQ(ERR_NO_MEMORY, status);
                        if (variant.kind == StorageKind::Compressed && height < image.height) {
                            // The rows beyond are gone when the table cannot be made smaller.
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
                    const Image other = Image::RandomRuns(random, 40, bitmap->Height, variant.bits);
                    Store(bitmap.get(), other);
                    EXPECT_EQ(other, Load(bitmap.get()));
                });
        },
        kDepths);
}

} // namespace vexo::test
