// Settings of the calling thread and the version record.
#include "tests/support/bitmaps.h"
#include "tests/support/import_hooks.h"
#include "tests/support/library_test.h"

#include "vexokit.h"

#include <climits>
#include <cstring>
#include <regex>

namespace vexo::test {

namespace {

class Settings : public LibraryTest {};

int VEXO_CALL Callback(int) { return RESULT_SUCCESS; }

void ExpectDefaults()
{
    EXPECT_EQ(150, V_GetDefaultXResolution());
    EXPECT_EQ(150, V_GetDefaultYResolution());
    EXPECT_EQ(12u, V_GetDisplayMode());
    EXPECT_EQ(nullptr, V_GetStatusCallBack());
    EXPECT_EQ(0, V_SetStorageCaching(0));
    EXPECT_EQ(nullptr, V_SetUserMatchTable(nullptr));
    BitmapHandle bitmap;
    ASSERT_EQ(RESULT_SUCCESS, V_InitBitmap(&bitmap, 1, 1, 8));
    EXPECT_EQ(7, bitmap.DitherMode);
}

} // namespace

TEST_F(Settings, BelongToTheirThread)
{
    unsigned table[4];
    V_SetDefaultXResolution(72);
    V_SetDefaultYResolution(96);
    V_DefaultDithering(3);
    V_SetDisplayMode(~0u, 0x55);
    V_SetStatusCallBack(Callback);
    V_SetStorageCaching(1);
    V_SetUserMatchTable(table);
    RunOnNewThread([] {
        ExpectDefaults();
        V_SetDefaultXResolution(300);
        V_SetDisplayMode(~0u, 0xAA);
    });
    EXPECT_EQ(72, V_SetDefaultXResolution(1));
    EXPECT_EQ(96, V_SetDefaultYResolution(1));
    EXPECT_EQ(0x55u, V_GetDisplayMode());
    EXPECT_EQ(&Callback, V_SetStatusCallBack(nullptr));
    EXPECT_EQ(nullptr, V_GetStatusCallBack());
    EXPECT_EQ(1, V_SetStorageCaching(0));
    EXPECT_EQ(table, V_SetUserMatchTable(nullptr));
}

TEST_F(Settings, GiveNewBitmapsResolutionAndDithering)
{
    BitmapHandle bitmap;
    for (int dotsPerInch : {300, 1, 0, -1, INT_MIN}) {
        V_SetDefaultXResolution(dotsPerInch);
        V_SetDefaultYResolution(dotsPerInch);
        EXPECT_EQ(dotsPerInch, V_GetDefaultXResolution());
        V_InitBitmap(&bitmap, 1, 1, 8);
        EXPECT_EQ(dotsPerInch > 0 ? dotsPerInch : 150, bitmap.XResolution);
        EXPECT_EQ(dotsPerInch > 0 ? dotsPerInch : 150, bitmap.YResolution);
    }
    EXPECT_EQ(RESULT_SUCCESS, V_DefaultDithering(8));
    for (unsigned refused : {9u, ~0u})
        EXPECT_EQ(ERR_INV_PARAMETER, V_DefaultDithering(refused));
    V_InitBitmap(&bitmap, 1, 1, 24);
    EXPECT_EQ(8, bitmap.DitherMode);
}

TEST_F(Settings, DisplayModeChangesMaskedBitsOnly)
{
    EXPECT_EQ(12u, V_SetDisplayMode(~0u, 0x55AA0000));
    EXPECT_EQ(0x55AA0000u, V_SetDisplayMode(0x00FFFF00, 0x12345678));
    EXPECT_EQ(0x55345600u, V_GetDisplayMode());
}

TEST_F(Settings, StorageCachingChoosesTheKindOfMapping)
{
    DWORD mappingProtection = 0;
    const auto spy = Replace<decltype(::CreateFileMappingA)>(
        "kernel32.dll", "CreateFileMappingA",
        [&](auto next, HANDLE file, auto security, DWORD protection, auto... rest) {
            mappingProtection = protection;
            return next(file, security, protection, rest...);
        });
    for (int cached : {0, 1, 0}) {
        V_SetStorageCaching(cached);
        const DWORD expected = cached ? 0x08000004 : 0x18000004;
        TestBitmap bitmap(StorageKind::PageFile, 10, 10, 8);
        EXPECT_EQ(expected, mappingProtection);
        mappingProtection = 0;
        ASSERT_EQ(RESULT_SUCCESS, V_ChangeBitmapHeight(bitmap.get(), 20));
        EXPECT_EQ(expected, mappingProtection);
    }
}

TEST_F(Settings, VersionRecord)
{
    EXPECT_EQ(ERR_INV_PARAMETER, V_VersionInfo(nullptr));
    VersionRecord version;
    memset(&version, 0xCD, sizeof version);
    ASSERT_EQ(RESULT_SUCCESS, V_VersionInfo(&version));
    const char product[sizeof version.Product] = "VEXOKIT\xAE DLL for Win32";
    EXPECT_EQ(0, memcmp(product, version.Product, sizeof product));
    EXPECT_TRUE(version.Zero == 0 && version.Major == 7 && version.Minor == 0);
    EXPECT_TRUE(std::regex_match(version.BuildDate, std::regex("[A-Z][a-z]{2} [ 1-3][0-9] [0-9]{4}")));
    EXPECT_TRUE(std::regex_match(version.BuildTime, std::regex("[0-2][0-9]:[0-5][0-9]:[0-5][0-9]")));
}

} // namespace vexo::test
