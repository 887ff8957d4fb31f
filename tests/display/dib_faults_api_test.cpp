// Every acquisition of the conversions from DIBs fails once: bitmap and DIB stay as they were, nothing is left behind.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"

#include "vexokit.h"

#include <cstring>

namespace vexo::test {

namespace {

class DibFaults : public LibraryTest {
private:
    const PageHeapScope m_pageHeap;
};

std::vector<uint8_t> BytesOf(HGLOBAL block)
{
    std::vector<uint8_t> bytes(GlobalSize(block));
    memcpy(bytes.data(), GlobalLock(block), bytes.size());
    GlobalUnlock(block);
    return bytes;
}

HGLOBAL BlockOf(const std::vector<uint8_t> &bytes)
{
    const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, bytes.size());
    memcpy(GlobalLock(block), bytes.data(), bytes.size());
    GlobalUnlock(block);
    return block;
}

// The DIB that V_ConvertToDIB makes when nothing fails.
std::vector<uint8_t> DibOf(const Variant &variant, const Image &image)
{
    TestBitmap bitmap(variant.kind, image, variant.options);
    const HGLOBAL dib = V_ConvertToDIB(bitmap.get());
    const std::vector<uint8_t> bytes = BytesOf(dib);
    GlobalFree(dib);
    return bytes;
}

// A bitmap from a DIB is whole, or its record has not been touched.
void ExpectWholeOrUntouched(const FaultInjector &faults, int status, BitmapHandle &record, const BitmapHandle &before,
                            const std::vector<uint8_t> &dib)
{
    if (status != RESULT_SUCCESS) {
        EXPECT_TRUE(faults.struck());
        EXPECT_TRUE(status == ERR_NO_MEMORY || status == ERR_INV_PARAMETER || status == ERR_FILE_WRITE ||
                    status == ERR_FILE_SEEK)
            << status;
        EXPECT_TRUE(SameRecord(before, record)) << Describe(record);
        return;
    }
    const HGLOBAL again = V_ConvertToDIB(&record);
    ASSERT_NE(nullptr, again);
    EXPECT_EQ(dib, BytesOf(again));
    GlobalFree(again);
    V_FreeBitmap(&record);
}

} // namespace

TEST_F(DibFaults, ConvertAndChangeFromDib)
{
    BitmapHandle rubbish;
    memset(&rubbish, 0xCD, sizeof rubbish);
    Random random(41);
    ForEachVariant(random, 2, [&](const Variant &variant) {
        const Image image = Image::RandomRuns(random, random.Between(1, 70), random.Between(1, 9), variant.bits);
        const std::vector<uint8_t> dib = DibOf(variant, image);
        const auto *header = reinterpret_cast<const BITMAPINFOHEADER *>(dib.data());
        const size_t tableBytes = header->biBitCount <= 8 ? sizeof(RGBQUAD) << header->biBitCount : 0;
        const uint8_t *rows = dib.data() + sizeof *header + tableBytes;
        ForEachFault(kFaultAll, [&](FaultInjector &faults) {
            BitmapHandle record = rubbish;
            const int status = faults.Run([&] { return V_ConvertFromDIB(&record, header, rows); });
            ExpectWholeOrUntouched(faults, status, record, rubbish, dib);
        });
        ForEachFault(kFaultAll | kFaultLocks, [&](FaultInjector &faults) {
            BitmapHandle record = rubbish;
            const HGLOBAL block = BlockOf(dib);
            const int status = faults.Run([&] { return V_ChangeFromDIB(&record, block); });
            if (status != RESULT_SUCCESS) {
                EXPECT_EQ(dib, BytesOf(block)) << "the block stays the caller's";
                GlobalFree(block);
            }
            ExpectWholeOrUntouched(faults, status, record, rubbish, dib);
        });
    });
}

} // namespace vexo::test
