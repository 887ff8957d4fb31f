// Pictures over the clipboard in every format, within one process and between two; and who owns what.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/import_hooks.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"

#include <process.h>

#include <cstring>

namespace vexo::test {

namespace {

constexpr unsigned kAll = CLIPBOARD_EMPTY | CLIPBOARD_DIB | CLIPBOARD_DDB | CLIPBOARD_PALETTE;

// The system's clipboard service may have the clipboard open for a moment after each change.
template <class Call>
bool Retry(Call &&call)
{
    for (int i = 0; i < 100; ++i) {
        if (call())
            return true;
        Sleep(10);
    }
    return false;
}

// `text`: what is on the clipboard then, if anything.
void Empty(const char *text = nullptr)
{
    ASSERT_TRUE(Retry([] { return OpenClipboard(nullptr); }));
    EmptyClipboard();
    if (text) {
        const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, strlen(text) + 1);
        memcpy(GlobalLock(block), text, strlen(text) + 1);
        GlobalUnlock(block);
        SetClipboardData(CF_TEXT, block);
    }
    CloseClipboard();
}

bool Copy(BitmapHandle *bitmap, unsigned flags)
{
    return Retry([&] { return V_CopyToClipboardExt(nullptr, bitmap, flags) == RESULT_SUCCESS; });
}

bool Paste(BitmapHandle *bitmap)
{
    return Retry([&] { return V_CopyFromClipboard(nullptr, bitmap) == 1; });
}

// What goes to the clipboard must be a block of the system's own heap.
class Clipboard : public LibraryTest {
protected:
    Clipboard() { Empty(); }
    ~Clipboard() override { Empty(); }

private:
    const PageHeapScope m_pageHeap{false};
};

// A picture that two processes can make each for itself.
struct SamplePicture {
    explicit SamplePicture(int seed)
        : random(uint64_t(seed)), bits(kAllDepths[size_t(seed) % kAllDepths.size()]),
          image(Image::Random(random, 30 + seed, 20, bits)),
          bitmap(StorageKind::PageFile, image,
                 {COLOR_ORDER_BGR, seed & 1 ? ORIENT_BOTTOM_UP : ORIENT_TOP_DOWN,
                  bits <= 8 ? RandomPalette(random, 1 << bits) : std::vector<RGBQUAD>()})
    {
    }

    Random random;
    int bits;
    Image image;
    TestBitmap bitmap;
};

} // namespace

TEST_F(Clipboard, CarriesEveryDepthInEveryFormat)
{
    Random random(61);
    for (const unsigned flags : {2u, 4u, 6u, 8u, 10u, 14u}) {
        SCOPED_TRACE(flags);
        ForEachVariant(random, 1, [&](const Variant &variant) {
            const int bits = variant.bits;
            std::vector<COLORREF> colors;
            {
                TestBitmap bitmap(variant.kind, Image::Random(random, random.Between(1, 50), 7, bits),
                                  RandomOptions(random, bits));
                const BitmapSnapshot snapshot(bitmap.get());
                colors = ColorsFromTop(bitmap.get());
                ASSERT_TRUE(Copy(bitmap.get(), flags | CLIPBOARD_EMPTY | 0xFFFFFF00));
                snapshot.ExpectUnchanged();
            } // what is on the clipboard outlives the bitmap
            EXPECT_EQ((flags & 8) && bits <= 8, IsClipboardFormatAvailable(CF_PALETTE) != FALSE);
            EXPECT_EQ((flags & 6) != 0, V_ClipboardReady() == 1);
            TestBitmap pasted;
            if (!(flags & 6)) {
                EXPECT_EQ(0, V_CopyFromClipboard(nullptr, pasted.get()));
                return;
            }
            ASSERT_TRUE(Paste(pasted.get()));
            EXPECT_EQ(colors, ColorsFromTop(pasted.get()));
            EXPECT_EQ(ORIENT_BOTTOM_UP, pasted->Orientation);
            const int dibBits = bits == 1 ? 1 : bits <= 4 ? 4 : bits <= 8 ? 8 : 24;
            EXPECT_EQ(flags & CLIPBOARD_DIB ? dibBits : 24, pasted->BitsPerPixel);
        });
    }
    TestBitmap last;
    EXPECT_EQ(0, V_CopyFromClipboard(nullptr, nullptr));
    EXPECT_EQ(0, V_CopyToClipboard(nullptr, nullptr));
    EXPECT_EQ(ERR_NO_BITMAP, V_CopyToClipboardExt(nullptr, last.get(), kAll));
}

TEST_F(Clipboard, IsEmptiedOnlyWhenAsked)
{
    SamplePicture sample(3);
    Empty("hello");
    ASSERT_TRUE(Copy(sample.bitmap.get(), CLIPBOARD_DIB));
    EXPECT_TRUE(IsClipboardFormatAvailable(CF_TEXT));
    EXPECT_TRUE(V_ClipboardReady());
    Empty("hello");
    EXPECT_FALSE(V_ClipboardReady());
    ASSERT_TRUE(Copy(sample.bitmap.get(), CLIPBOARD_DIB | CLIPBOARD_EMPTY));
    EXPECT_FALSE(IsClipboardFormatAvailable(CF_TEXT));
    Empty("hello");
    const HWND nobody = reinterpret_cast<HWND>(UINT_PTR(0xDEAD));
    for (const unsigned flags : {CLIPBOARD_EMPTY | CLIPBOARD_PALETTE, CLIPBOARD_EMPTY | CLIPBOARD_DDB})
        EXPECT_EQ(ERR_INV_PARAMETER, V_CopyToClipboardExt(nobody, sample.bitmap.get(), flags));
    EXPECT_TRUE(IsClipboardFormatAvailable(CF_TEXT)) << "a copy that fails leaves the clipboard alone";
}

TEST_F(Clipboard, KeepsItsDdbAndPalette)
{
    SamplePicture sample(7);
    ASSERT_EQ(8, sample.bits);
    // A system that does not make a DIB of every DDB.
    const auto ddbOnly = Replace<decltype(IsClipboardFormatAvailable)>(
        "user32.dll", "IsClipboardFormatAvailable",
        [](auto next, UINT format) { return format != CF_DIB && next(format); });
    for (const unsigned flags : {CLIPBOARD_DDB | CLIPBOARD_PALETTE, CLIPBOARD_DDB}) {
        ASSERT_TRUE(Copy(sample.bitmap.get(), flags | CLIPBOARD_EMPTY));
        for (int i = 0; i < 2; ++i) { // the second time the objects are still there
            TestBitmap pasted;
            ASSERT_TRUE(Paste(pasted.get()));
            EXPECT_EQ(24, pasted->BitsPerPixel);
            EXPECT_EQ(ColorsFromTop(sample.bitmap.get()), ColorsFromTop(pasted.get()));
        }
    }
}

TEST_F(Clipboard, TakesNothingOverWhenItFails)
{
    SamplePicture sample(3);
    for (const unsigned flags : {kAll, unsigned(CLIPBOARD_DIB)})
        ForEachFault(kFaultAll | kFaultClipboard, [&](FaultInjector &faults) {
            Empty();
            const BitmapSnapshot snapshot(sample.bitmap.get());
            const int status = faults.Run([&] { return V_CopyToClipboardExt(nullptr, sample.bitmap.get(), flags); });
            if (faults.struck())
                EXPECT_TRUE(status == ERR_NO_MEMORY || status == ERR_INV_PARAMETER || status == RESULT_SUCCESS)
                    << status;
            EXPECT_FALSE(CloseClipboard()) << "left open";
            snapshot.ExpectUnchanged();
        });
    for (const unsigned flags : {CLIPBOARD_DIB, CLIPBOARD_DDB})
        ForEachFault(kFaultAll | kFaultClipboard, [&](FaultInjector &faults) {
            ASSERT_TRUE(Copy(sample.bitmap.get(), flags | CLIPBOARD_EMPTY));
            TestBitmap pasted;
            const BitmapHandle before = *pasted.get();
            if (faults.Run([&] { return V_CopyFromClipboard(nullptr, pasted.get()); }))
                EXPECT_EQ(ColorsFromTop(sample.bitmap.get()), ColorsFromTop(pasted.get()));
            else
                EXPECT_TRUE(SameRecord(before, *pasted.get()));
            EXPECT_FALSE(CloseClipboard()) << "left open";
        });
}

TEST_F(Clipboard, ThousandsLeaveNothingBehind) // the fixture counts
{
    SamplePicture sample(7);
    for (int i = 0; i < 10000; ++i) {
        ASSERT_TRUE(Copy(sample.bitmap.get(), kAll));
        TestBitmap pasted;
        ASSERT_TRUE(Paste(pasted.get()));
    }
}

// ---- Two processes --------------------------------------------------------------------------------------------

namespace {

constexpr int kParentSeed = 18, kChildSeed = 9; // 8 and 24 bits
constexpr char kPastedEvent[] = "vexokit clipboard test: pasted";

// Starts this program again with one test only.
HANDLE StartAgain(const char *filter)
{
    char program[MAX_PATH];
    GetModuleFileNameA(nullptr, program, sizeof program);
    return reinterpret_cast<HANDLE>(_spawnl(_P_NOWAIT, program, "vexokit_tests", filter, nullptr));
}

// Without a clean clipboard at the start, because the second process runs the same test.
class ClipboardOfTwo : public LibraryTest {
private:
    const PageHeapScope m_pageHeap{false};
};

// The second process: pastes what the first one copied, copies a picture of its own, and stays until that is pasted.
void AnswerTheFirst(HANDLE pastedEvent)
{
    SamplePicture theirs(kParentSeed), ours(kChildSeed);
    TestBitmap pasted;
    ASSERT_TRUE(Paste(pasted.get()));
    ASSERT_EQ(ColorsFromTop(theirs.bitmap.get()), ColorsFromTop(pasted.get()));
    ASSERT_EQ(8, pasted->BitsPerPixel);
    ASSERT_TRUE(Copy(ours.bitmap.get(), kAll));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(pastedEvent, 10000));
    Empty();
}

} // namespace

TEST_F(ClipboardOfTwo, CarriesPicturesBetweenProcesses)
{
    if (const HANDLE pastedEvent = OpenEventA(SYNCHRONIZE, FALSE, kPastedEvent)) {
        AnswerTheFirst(pastedEvent);
        CloseHandle(pastedEvent);
        return;
    }
    Empty();
    SamplePicture ours(kParentSeed), theirs(kChildSeed);
    ASSERT_TRUE(Copy(ours.bitmap.get(), kAll));
    const HANDLE pastedEvent = CreateEventA(nullptr, TRUE, FALSE, kPastedEvent);
    const HANDLE child = StartAgain("--gtest_filter=ClipboardOfTwo.CarriesPicturesBetweenProcesses");
    // The picture of the other size is there when the other process has copied it.
    TestBitmap pasted;
    for (int wait = 0; wait < 500 && pasted->Width != theirs.image.width; ++wait) {
        V_FreeBitmap(pasted.get());
        V_CopyFromClipboard(nullptr, pasted.get());
        if (WaitForSingleObject(child, 20) == WAIT_OBJECT_0)
            break;
    }
    EXPECT_EQ(ColorsFromTop(theirs.bitmap.get()), ColorsFromTop(pasted.get()));
    EXPECT_EQ(24, pasted->BitsPerPixel);
    SetEvent(pastedEvent);
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(child, 10000));
    DWORD exitCode = 1;
    GetExitCodeProcess(child, &exitCode);
    EXPECT_EQ(0u, exitCode);
    CloseHandle(child);
    CloseHandle(pastedEvent);
    Empty();
}

} // namespace vexo::test
