// DCs over bitmaps under Win32s: requests to the 16-bit companion library, and none without it.
#include "core/core.h"
#include "tests/support/bitmaps.h"
#include "tests/support/library_test.h"

namespace vexo::test {

namespace {

class CompanionDC : public LibraryTest {
protected:
    CompanionDC()
    {
        process.thunkEntry = reinterpret_cast<void *>(Answer);
        process.thunkRegistered = true;
        s_dc = CreateCompatibleDC(nullptr);
    }
    ~CompanionDC() override
    {
        DeleteDC(s_dc);
        process.thunkEntry = nullptr;
        process.thunkRegistered = false;
    }

    static DWORD WINAPI Answer(void *arguments, DWORD request, void **translations)
    {
        s_request = request;
        s_argument = *static_cast<UINT_PTR *>(arguments);
        s_translated = translations[0] == arguments && !translations[1];
        s_untranslated = !translations[0];
        return request == 4 ? DWORD(reinterpret_cast<UINT_PTR>(s_dc)) : 77;
    }

    static inline HDC s_dc;
    static inline DWORD s_request;
    static inline UINT_PTR s_argument;
    static inline bool s_translated, s_untranslated;
};

} // namespace

TEST_F(CompanionDC, IsAskedForAndGivenBack)
{
    const StorageScope scope(StorageKind::GlobalMemory);
    Random random(73);
    const Image image = Image::Random(random, 40, 6, 1);
    TestBitmap bitmap(StorageKind::Compressed, image, {COLOR_ORDER_BGR, ORIENT_TOP_DOWN, {}});
    const RECT rect = {3, 1, 9, 5};
    V_SetBitmapRgnRect(bitmap.get(), nullptr, &rect, COMBINE_REPLACE);
    EXPECT_EQ(s_dc, V_CreateVexoDC(bitmap.get()));
    EXPECT_EQ(4u, s_request);
    EXPECT_EQ(reinterpret_cast<UINT_PTR>(bitmap.get()), s_argument);
    EXPECT_TRUE(s_translated);
    EXPECT_EQ(0u, bitmap->Flags & FLAG_COMPRESSED);
    EXPECT_EQ(image, Load(bitmap.get())) << "the companion turns the rows over itself";
    const HRGN clip = CreateRectRgn(0, 0, 0, 0);
    EXPECT_EQ(1, GetClipRgn(s_dc, clip));
    RECT box;
    GetRgnBox(clip, &box);
    DeleteObject(clip);
    EXPECT_TRUE(EqualRect(&rect, &box));

    EXPECT_EQ(77, V_DeleteVexoDC(s_dc));
    EXPECT_EQ(5u, s_request);
    EXPECT_EQ(reinterpret_cast<UINT_PTR>(s_dc), s_argument);
    EXPECT_TRUE(s_untranslated);
}

TEST_F(CompanionDC, IsNotHadWithoutIt)
{
    process.thunkRegistered = false;
    s_request = 0;
    for (const StorageKind kind : {StorageKind::GlobalMemory, StorageKind::TemporaryFile, StorageKind::Compressed}) {
        const StorageScope scope(kind);
        process.isWin32s = true;
        TestBitmap bitmap(kind, 9, 9, 1, {COLOR_ORDER_BGR, ORIENT_TOP_DOWN, {}});
        const BitmapSnapshot snapshot(bitmap.get());
        EXPECT_EQ(nullptr, V_CreateVexoDC(bitmap.get()));
        snapshot.ExpectUnchanged();
    }
    EXPECT_EQ(0u, s_request);
}

} // namespace vexo::test
