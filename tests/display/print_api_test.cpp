// What printing asks of a printer: a memory device stands in for one, by way of the functions that the library calls,
// and their order is written down.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/import_hooks.h"
#include "tests/support/library_test.h"
#include "tests/support/memory_device.h"
#include "tests/support/status_recorder.h"

namespace vexo::test {

namespace {

// ---- A printer that writes down what it is told ----------------------------------------------------------------

struct Printer {
    Printer() : device(kPageWidth, kPageHeight, 24)
    {
        Clear();
        hooks.Add<decltype(GetProfileStringA)>(
            "kernel32.dll", "GetProfileStringA",
            [this](auto, const char *section, const char *key, const char *, char *text, DWORD size) {
                EXPECT_STREQ("windows", section);
                EXPECT_STREQ("device", key);
                EXPECT_EQ(81u, size);
                lstrcpynA(text, entry.c_str(), int(size));
                return DWORD(lstrlenA(text));
            });
        hooks.Add<decltype(CreateDCA)>(
            "gdi32.dll", "CreateDCA",
            [this](auto, const char *driver, const char *name, const char *port, const DEVMODEA *mode) {
                EXPECT_EQ(nullptr, mode);
                Say("create:" + std::string(driver) + ":" + name + ":" + port);
                return exists ? device.dc() : nullptr;
            });
        hooks.Add<decltype(StartDocA)>("gdi32.dll", "StartDocA", [this](auto, HDC, const DOCINFOA *document) {
            EXPECT_STREQ("VEXO GRAPHIC", document->lpszDocName);
            EXPECT_TRUE(document->cbSize == sizeof *document && !document->lpszOutput);
            return Say("job", startDoc);
        });
        hooks.Add<decltype(StartPage)>("gdi32.dll", "StartPage", [this](auto, HDC) { return Say("page"); });
        hooks.Add<decltype(EndPage)>("gdi32.dll", "EndPage", [this](auto, HDC) { return Say("endpage", endPage); });
        hooks.Add<decltype(EndDoc)>("gdi32.dll", "EndDoc", [this](auto, HDC) { return Say("endjob", endDoc); });
        hooks.Add<decltype(AbortDoc)>("gdi32.dll", "AbortDoc", [this](auto, HDC) { return Say("abort"); });
        hooks.Add<decltype(DeleteDC)>("gdi32.dll", "DeleteDC", [this](auto next, HDC dc) {
            return dc == device.dc() ? Say("delete") : next(dc);
        });
        hooks.Add<decltype(GetDeviceCaps)>("gdi32.dll", "GetDeviceCaps", [this](auto next, HDC dc, int index) {
            switch (dc == device.dc() ? index : -1) {
            case TECHNOLOGY: return DT_RASPRINTER;
            case HORZRES: return kPageWidth;
            case VERTRES: return kPageHeight;
            case BITSPIXEL: return bits;
            case PLANES: return 1;
            case NUMCOLORS: return colors;
            default: return next(dc, index);
            }
        });
        hooks.Add<decltype(StretchDIBits)>(
            "gdi32.dll", "StretchDIBits",
            [this](auto next, HDC dc, int x, int y, int width, int height, int fromX, int fromY, int fromWidth,
                   int fromHeight, const void *rows, const BITMAPINFO *info, UINT usage, DWORD rop) {
                EXPECT_EQ(DWORD(SRCCOPY), rop);
                if (!log.ends_with("paint"))
                    Say("paint");
                blits.push_back({{x, y, width, height}, {fromX, fromY, fromWidth, fromHeight}, info->bmiHeader, usage});
                return next(dc, x, y, width, height, fromX, fromY, fromWidth, fromHeight, rows, info, usage, rop);
            });
    }
    void Clear() { PatBlt(device.dc(), 0, 0, kPageWidth, kPageHeight, WHITENESS); }
    int Say(const std::string &word, int result = 1)
    {
        log += (log.empty() ? "" : " ") + word;
        return result;
    }

    struct Blit {
        RECT destination, source; // left, top, width, height
        BITMAPINFOHEADER header;
        UINT usage;
    };

    static constexpr int kPageWidth = 101, kPageHeight = 141;
    MemoryDevice device;
    std::string log;         // one word a call
    std::vector<Blit> blits; // to the printer
    std::string entry = "Some Printer,somedriv,LPT7:";
    int bits = 24, colors = -1;
    int startDoc = 1, endPage = 1, endDoc = 1;
    bool exists = true;
    Replacements hooks;
};

const std::string kOpened = "create:somedriv:Some Printer:LPT7: job page";

class Printing : public LibraryTest {
protected:
    Printing() : random(95) {}

    // What a call with these arguments tells the printer.
    std::string LogOf(const std::function<void()> &call)
    {
        printer.log.clear();
        printer.blits.clear();
        call();
        return printer.log;
    }
    // The picture in a rectangle of the page that has the bitmap's size.
    std::vector<COLORREF> PageColors(int left, int top, const BitmapHandle *bitmap) const
    {
        std::vector<COLORREF> colors;
        for (int y = 0; y < bitmap->Height; ++y)
            for (int x = 0; x < bitmap->Width; ++x)
                colors.push_back(printer.device.ColorAt(left + x, top + y));
        return colors;
    }

    Random random;
    Printer printer;
    const HDC dc = printer.device.dc();
};

using PrintCall = decltype(&V_PrintBitmapExt);

} // namespace

TEST_F(Printing, OpensAndEndsJobs)
{
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 9, 7, 8));
    HDC result = nullptr;
    for (const PrintCall print : {V_PrintBitmapExt, V_PrintBitmapFast}) {
        const auto log = [&](HDC to, BitmapHandle *what, int endDoc) {
            return LogOf([&] { result = print(to, what, 3, 4, 9, 7, endDoc); });
        };
        EXPECT_EQ(kOpened + " paint", log(nullptr, bitmap.get(), 0));
        EXPECT_EQ(dc, result);
        EXPECT_EQ("paint", log(dc, bitmap.get(), 0));
        EXPECT_EQ(dc, result);
        EXPECT_EQ("", log(dc, nullptr, 0));
        EXPECT_EQ("endpage endjob delete", log(dc, nullptr, 1));
        EXPECT_EQ(dc, result);
        EXPECT_EQ(kOpened + " paint endpage endjob delete", log(nullptr, bitmap.get(), 7));
        EXPECT_EQ(dc, result);
        for (int *const failing : {&printer.endPage, &printer.endDoc}) {
            *failing = 0;
            EXPECT_EQ("paint endpage endjob delete", log(dc, bitmap.get(), 1));
            EXPECT_EQ(nullptr, result);
            *failing = 1;
        }

        printer.startDoc = 0;
        EXPECT_EQ("create:somedriv:Some Printer:LPT7: job delete", log(nullptr, bitmap.get(), 1));
        EXPECT_EQ(nullptr, result);
        printer.startDoc = 1;
        printer.exists = false;
        EXPECT_EQ("create:somedriv:Some Printer:LPT7:", log(nullptr, bitmap.get(), 0));
        EXPECT_EQ(nullptr, result);
        printer.entry = "Lonely";
        EXPECT_EQ("create::Lonely:", log(nullptr, nullptr, 0));
        printer.entry = "";
        EXPECT_EQ("", log(nullptr, bitmap.get(), 0));
        EXPECT_EQ(nullptr, result);
        printer.exists = true;
        printer.entry = "Some Printer,somedriv,LPT7:";
    }
}

TEST_F(Printing, KeepsAJobForEachThread)
{
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 9, 7, 8));
    const auto print = [&](BitmapHandle *what, int endDoc) { return V_PrintBitmap(what, 3, 4, 9, 7, endDoc); };
    const auto onePage = [&] {
        EXPECT_EQ(dc, print(bitmap.get(), 0));
        EXPECT_EQ(dc, print(nullptr, 0));
        EXPECT_EQ(dc, print(nullptr, 1));
    };
    EXPECT_EQ(kOpened + " paint", LogOf([&] { print(bitmap.get(), 0); }));
    EXPECT_EQ(kOpened + " paint endpage endjob delete", LogOf([&] { RunOnNewThread(onePage); }));
    EXPECT_EQ("paint", LogOf([&] { print(bitmap.get(), 0); })) << "on the same page";
    EXPECT_EQ("endpage endjob delete", LogOf([&] { print(nullptr, 1); }));
    EXPECT_EQ(kOpened + " paint", LogOf([&] { print(bitmap.get(), 0); })) << "a new job";
    // A failing call without endDoc forgets the job, which its caller can still end.
    const StatusRecorder stop(0);
    EXPECT_EQ("", LogOf([&] { EXPECT_EQ(nullptr, print(bitmap.get(), 0)); }));
    const StatusRecorder again(0);
    EXPECT_EQ(kOpened + " abort delete", LogOf([&] { print(bitmap.get(), 0); }));
}

TEST_F(Printing, FindsThePlaceOnThePage)
{
    const struct {
        int width, height; // of the bitmap
        int x, y, toWidth, toHeight;
        std::vector<int> expected; // left, top, width, height; none: nothing is printed
    } kCases[] = {
        {10, 5, 0, 0, 0, 0, {1, 46, 100, 50}},  // as wide as the page
        {5, 10, 0, 0, 0, 0, {16, 1, 70, 140}},  // as high
        {10, 5, 0, 0, 21, 0, {40, 65, 21, 11}}, // the height follows, rounded
        {10, 5, 5, 9, 0, 7, {5, 9, 14, 7}},     // the width follows
        {10, 5, 0, 9, 30, 20, {36, 9, 30, 20}}, // centred in one direction
        {10, 5, 90, 130, 30, 30, {90, 130, 11, 11}},
        {10, 5, -5, -20, 20, 30, {1, 1, 14, 9}}, // squeezed into what the page leaves
        {10, 5, 500, 10, 20, 30, {}},
        {10, 5, 50, 60, 20, -30, {}},
        {10, 5, 0, 0, 0x7FFFFFFF, int(0x80000000), {}},
        {10, 5, 5, 0, 0x7FFFFFFF, 20, {5, 61, 96, 20}},
    };
    for (const auto &c : kCases) {
        TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, c.width, c.height, 24));
        LogOf([&] { EXPECT_EQ(dc, V_PrintBitmapExt(dc, bitmap.get(), c.x, c.y, c.toWidth, c.toHeight, 0)); });
        SCOPED_TRACE(testing::Message() << c.x << ", " << c.y << ", " << c.toWidth << " x " << c.toHeight);
        if (c.expected.empty()) {
            EXPECT_TRUE(printer.blits.empty());
            continue;
        }
        ASSERT_EQ(1u, printer.blits.size());
        const RECT &place = printer.blits[0].destination;
        EXPECT_EQ(c.expected, (std::vector<int>{place.left, place.top, place.right, place.bottom}));
        // All of the picture is there: its corners are in those of the place.
        const std::vector<COLORREF> colors = ColorsFromTop(bitmap.get());
        EXPECT_EQ(colors.front(), printer.device.ColorAt(place.left, place.top));
        EXPECT_EQ(colors.back(), printer.device.ColorAt(place.left + place.right - 1, place.top + place.bottom - 1));
    }
}

TEST_F(Printing, TellsOfEveryRowAndStopsAtAny)
{
    for (const int height : {50, 140, 100, 3}) {
        TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 10, 5, 8));
        printer.Clear();
        V_PrintBitmapExt(dc, bitmap.get(), 7, 1, 60, height, 0);
        const std::vector<COLORREF> whole = printer.device.ColorsFromTop();
        printer.Clear();
        {
            const StatusRecorder recorder;
            LogOf([&] { EXPECT_EQ(dc, V_PrintBitmapExt(dc, bitmap.get(), 7, 1, 60, height, 0)); });
            recorder.ExpectRising(0, 100);
            EXPECT_EQ(size_t(std::min(height, 100) + 1), recorder.percentages().size());
        }
        EXPECT_EQ(whole, printer.device.ColorsFromTop());
        ASSERT_EQ(size_t(height), printer.blits.size());
        for (int row = 0; row < height; ++row) {
            EXPECT_EQ(1 + row, printer.blits[size_t(row)].destination.top);
            EXPECT_EQ(1, printer.blits[size_t(row)].destination.bottom);
        }
        const StatusRecorder stop(2);
        LogOf([&] { EXPECT_EQ(nullptr, V_PrintBitmapExt(dc, bitmap.get(), 7, 1, 60, height, 0)); });
        EXPECT_EQ(size_t(height == 140 ? 3 : 2), printer.blits.size()) << "rows until the third report";
    }
    TestBitmap bitmap(StorageKind::PageFile, 10, 5, 8);
    const StatusRecorder stop(0);
    EXPECT_EQ(kOpened + " abort delete",
              LogOf([&] { EXPECT_EQ(nullptr, V_PrintBitmapExt(nullptr, bitmap.get(), 0, 0, 0, 0, 0)); }));
    const StatusRecorder again(0);
    EXPECT_EQ("endpage endjob delete",
              LogOf([&] { EXPECT_EQ(nullptr, V_PrintBitmapExt(dc, bitmap.get(), 0, 0, 0, 0, 1)); }));
    // A bitmap that cannot be painted ends like one that was stopped.
    BitmapHandle empty;
    V_InitBitmap(&empty, 4, 4, 8);
    EXPECT_EQ(kOpened + " abort delete",
              LogOf([&] { EXPECT_EQ(nullptr, V_PrintBitmapExt(nullptr, &empty, 0, 0, 0, 0, 1)); }));
    V_FreeBitmap(&empty);
}

TEST_F(Printing, DithersForOneBitOnlyAndInClusters)
{
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 60, 50, 24));
    const unsigned mode = V_GetDisplayMode() | DISPLAYMODE_DITHER;
    V_SetDisplayMode(~0u, mode);
    for (const int bits : {8, 1}) {
        printer.bits = bits;
        printer.colors = 1 << bits;
        LogOf([&] { V_PrintBitmapExt(dc, bitmap.get(), 1, 1, 60, 50, 0); });
        EXPECT_EQ(bits == 1 ? 1 : 24, printer.blits.at(0).header.biBitCount);
        EXPECT_EQ(UINT(DIB_RGB_COLORS), printer.blits.at(0).usage);
        EXPECT_EQ(mode, V_GetDisplayMode());
    }
    const std::vector<COLORREF> printed = printer.device.ColorsFromTop();
    printer.Clear();
    V_SetDisplayMode(~0u, DISPLAYMODE_DITHER | DISPLAYMODE_BIT0 | DISPLAYMODE_CLUSTERED);
    const RECT rect = {1, 1, 61, 51};
    V_PaintDC(dc, bitmap.get(), nullptr, nullptr, &rect, nullptr, SRCCOPY);
    EXPECT_EQ(printed, printer.device.ColorsFromTop());
    V_SetDisplayMode(~0u, 12);
}

// ---- V_PrintBitmapFast ----------------------------------------------------------------------------------------

TEST_F(Printing, FastHandsPixelsOverInOnePieceButPaintsDeepOnesAndFiles)
{
    ForEachVariant(random, 4, [&](const Variant &variant) {
        const int bits = variant.bits, width = random.Between(1, 40), height = random.Between(1, 30);
        const bool paints = bits == 16 || bits == 32 || variant.kind == StorageKind::TemporaryFile;
        const int left = paints ? (102 - width) / 2 : 0; // centred
        TestBitmap bitmap(variant.kind, Image::Random(random, width, height, bits), variant.options);
        const BitmapSnapshot snapshot(bitmap.get());
        const StatusRecorder recorder;
        LogOf([&] { EXPECT_EQ(dc, V_PrintBitmapFast(dc, bitmap.get(), 0, 90, width, height, 0)); });
        EXPECT_EQ(paints, !recorder.percentages().empty());
        EXPECT_EQ(ColorsFromTop(bitmap.get()), PageColors(left, 90, bitmap.get()));
        snapshot.ExpectUnchanged();
        if (paints)
            return;
        ASSERT_EQ(1u, printer.blits.size());
        const Printer::Blit &blit = printer.blits[0];
        const RECT place = {0, 90, width, height}, whole = {0, 0, width, height};
        EXPECT_TRUE(EqualRect(&place, &blit.destination) && EqualRect(&whole, &blit.source));
        EXPECT_TRUE(blit.header.biWidth == width && blit.header.biHeight == height);
        if (bits == 1 || bits == 4 || bits == 8 || bits == 24) { // as they are
            EXPECT_EQ(bits, blit.header.biBitCount);
            EXPECT_EQ(bits <= 8 ? DWORD(1) << bits : 0, blit.header.biClrUsed);
            EXPECT_EQ(DWORD(bitmap->BytesPerLine * height), blit.header.biSizeImage);
        }
    });
}

TEST_F(Printing, LosesNothingWhenMemoryRunsOut)
{
    for (const PrintCall print : {V_PrintBitmapExt, V_PrintBitmapFast}) {
        for (const int bits : {8, 6, 16}) {
            TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 21, 13, bits),
                              {COLOR_ORDER_BGR, ORIENT_TOP_DOWN, {}});
            const BitmapSnapshot snapshot(bitmap.get());
            ForEachFault(kFaultMemory, [&](FaultInjector &faults) {
                const std::string log = LogOf([&] {
                    const HDC result = faults.Run([&] { return print(nullptr, bitmap.get(), 2, 2, 21, 13, 1); });
                    if (!faults.struck())
                        EXPECT_EQ(dc, result);
                    EXPECT_TRUE(result || printer.log.ends_with("abort delete")) << printer.log;
                });
                EXPECT_TRUE(log.ends_with(" delete")) << log;
            });
            snapshot.ExpectUnchanged();
        }
    }
}

} // namespace vexo::test
