// What is particular to the storage kinds of Win32s.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/library_test.h"

#include "vexokit.h"

namespace vexo::test {

namespace {

class Win32sStorage : public LibraryTest {};

} // namespace

TEST_F(Win32sStorage, GlobalMemoryFallsBackToATemporaryFile)
{
    const StorageScope scope(StorageKind::GlobalMemory);
    for (int type : {STORAGE_MEMORY, STORAGE_MEMORY_ONLY}) {
        BitmapHandle record;
        V_InitBitmap(&record, 30, 30, 8);
        FaultInjector faults(kFaultMemory, 1);
        const int status = faults.Run([&] { return V_AllocateBitmap(&record, type); });
        EXPECT_EQ(type == STORAGE_MEMORY ? RESULT_SUCCESS : ERR_NO_MEMORY, status);
        EXPECT_EQ(type == STORAGE_MEMORY ? FLAG_ALLOCATED | FLAG_DISK : 0u, record.Flags);
        V_FreeBitmap(&record);
    }
}

TEST_F(Win32sStorage, FailingFilesGiveTheirOwnErrors)
{
    const StorageScope scope(StorageKind::TemporaryFile);
    Random random(12);
    const Image image = Image::Random(random, 16, 16, 8);
    TestBitmap bitmap(StorageKind::TemporaryFile, image);
    uint8_t row[16];
    const auto run = [&](int number, auto call) {
        FaultInjector faults(kFaultFiles, number);
        return faults.Run(call);
    };
    const auto get = [&] { return V_GetBitmapRow(bitmap.get(), row, 3, 16); };
    const auto put = [&] { return V_PutBitmapRow(bitmap.get(), row, 3, 16); };
    EXPECT_EQ(ERR_FILE_SEEK, run(1, get));
    EXPECT_EQ(ERR_FILE_READ, run(2, get));
    EXPECT_EQ(16, run(3, get));
    EXPECT_EQ(ERR_FILE_SEEK, run(1, put));
    EXPECT_EQ(ERR_FILE_WRITE, run(2, put));
    EXPECT_EQ(ERR_FILE_READ, V_GetBitmapRow(bitmap.get(), row, 100, 16)) << "behind the end of the file";
    for (int number : {1, 2}) {
        EXPECT_EQ(COLOR_INVALID, run(number, [&] { return V_GetPixelColor(bitmap.get(), 3, 3); }));
        EXPECT_LT(run(number, [&] { return V_PutPixelColor(bitmap.get(), 3, 3, COLOR_INDEX(1)); }), 0);
    }
    EXPECT_EQ(image, Load(bitmap.get()));
}

} // namespace vexo::test
