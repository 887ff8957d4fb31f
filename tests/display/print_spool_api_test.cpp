// A page that is really spooled: two pictures in one job on Wine's PostScript printer, which is set up for the test.
// With VEXOKIT_SPOOL_FILE set to a file's name the page stays there to be looked at.
#include "tests/support/bitmaps.h"
#include "tests/support/import_hooks.h"
#include "tests/support/library_test.h"
#include "tests/support/status_recorder.h"

#include <winspool.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace vexo::test {

namespace {

// Several test programs may run side by side.
const std::string g_name = "VexokitTest" + std::to_string(GetCurrentProcessId());
const std::string g_port = "VX" + std::to_string(GetCurrentProcessId()) + ":";
constexpr char kSpoolerKey[] = "Software\\Wine\\Printing\\Spooler";

constexpr char kDescription[] = "*PPD-Adobe: \"4.3\"\r\n*FormatVersion: \"4.3\"\r\n*LanguageEncoding: ISOLatin1\r\n"
                                "*ModelName: \"VexokitTest\"\r\n*NickName: \"VexokitTest\"\r\n*LanguageLevel: \"3\"\r\n"
                                "*ColorDevice: True\r\n*DefaultResolution: 300dpi\r\n*LandscapeOrientation: Plus90\r\n"
                                "*TTRasterizer: Type42\r\n"
                                "*OpenUI *PageSize: PickOne\r\n*DefaultPageSize: A4\r\n"
                                "*PageSize A4/A4: \"<</PageSize[595 842]/ImagingBBox null>>setpagedevice\"\r\n"
                                "*CloseUI: *PageSize\r\n"
                                "*OpenUI *PageRegion: PickOne\r\n*DefaultPageRegion: A4\r\n"
                                "*PageRegion A4/A4: \"<</PageSize[595 842]/ImagingBBox null>>setpagedevice\"\r\n"
                                "*CloseUI: *PageRegion\r\n"
                                "*DefaultImageableArea: A4\r\n*ImageableArea A4/A4: \"0 0 595 842\"\r\n"
                                "*DefaultPaperDimension: A4\r\n*PaperDimension A4/A4: \"595 842\"\r\n"
                                "*DefaultFont: Courier\r\n*Font Courier: Standard \"(001.000)\" Standard ROM\r\n";

template <class Function>
Function *Find(HMODULE module, const char *name)
{
    return module ? reinterpret_cast<Function *>(reinterpret_cast<void *>(GetProcAddress(module, name))) : nullptr;
}

bool WriteText(const std::string &name, const char *text)
{
    FILE *file = fopen(name.c_str(), "wb");
    if (!file)
        return false;
    fputs(text, file);
    return fclose(file) == 0;
}

std::string ReadText(const std::string &name)
{
    std::string text;
    if (FILE *file = fopen(name.c_str(), "rb")) {
        char block[4096];
        for (size_t count; (count = fread(block, 1, sizeof block, file)) > 0;)
            text.append(block, count);
        fclose(file);
    }
    return text;
}

// A PostScript printer whose port is a file. Only under Wine, where a printer is an entry in a test's own registry.
class SpoolPrinter {
public:
    explicit SpoolPrinter(const std::string &file) : m_spooler(LoadLibraryA("winspool.drv"))
    {
        using UnixName = char *CDECL(const WCHAR *);
        UnixName *const unixName = Find<UnixName>(GetModuleHandleA("kernel32.dll"), "wine_get_unix_file_name");
        if (!unixName || !m_spooler)
            return;
        WCHAR wide[MAX_PATH];
        MultiByteToWideChar(CP_ACP, 0, file.c_str(), -1, wide, MAX_PATH);
        char *const path = unixName(wide);
        if (!path)
            return;
        RegCreateKeyA(HKEY_CURRENT_USER, kSpoolerKey, &m_ports);
        RegSetValueExA(m_ports, g_port.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE *>(path),
                       DWORD(strlen(path) + 1));
        HeapFree(GetProcessHeap(), 0, path);
        m_ready = AddDriver() && Add();
    }
    ~SpoolPrinter()
    {
        if (m_printer) {
            Find<decltype(DeletePrinter)>(m_spooler, "DeletePrinter")(m_printer);
            Find<decltype(ClosePrinter)>(m_spooler, "ClosePrinter")(m_printer);
        }
        if (m_ports) {
            RegDeleteValueA(m_ports, g_port.c_str());
            RegCloseKey(m_ports);
        }
    }
    SpoolPrinter(const SpoolPrinter &) = delete;
    SpoolPrinter &operator=(const SpoolPrinter &) = delete;

    bool isReady() const { return m_ready; }

private:
    bool AddDriver() const
    {
        char directory[MAX_PATH];
        DWORD size;
        if (!Find<decltype(GetPrinterDriverDirectoryA)>(m_spooler, "GetPrinterDriverDirectoryA")(
                nullptr, nullptr, 1, reinterpret_cast<BYTE *>(directory), sizeof directory, &size))
            return false;
        std::string description = directory + std::string("\\vexokit.ppd");
        char name[] = "VexokitPS", driver[] = "wineps.drv", type[] = "RAW";
        DRIVER_INFO_3A info = {};
        info.cVersion = 3;
        info.pName = name;
        info.pDriverPath = info.pConfigFile = driver;
        info.pDataFile = description.data();
        info.pDefaultDataType = type;
        return WriteText(description, kDescription) &&
               Find<decltype(AddPrinterDriverExA)>(m_spooler, "AddPrinterDriverExA")(
                   nullptr, 3, reinterpret_cast<BYTE *>(&info), APD_COPY_NEW_FILES | APD_COPY_FROM_DIRECTORY);
    }
    bool Add()
    {
        std::string name = g_name, port = g_port;
        char driver[] = "VexokitPS", processor[] = "WinPrint", type[] = "RAW";
        PRINTER_INFO_2A info = {};
        info.pPrinterName = name.data();
        info.pDriverName = driver;
        info.pPortName = port.data();
        info.pPrintProcessor = processor;
        info.pDatatype = type;
        m_printer = Find<decltype(AddPrinterA)>(m_spooler, "AddPrinterA")(nullptr, 2, reinterpret_cast<BYTE *>(&info));
        return m_printer != nullptr;
    }

    HMODULE m_spooler;
    HKEY m_ports = nullptr;
    HANDLE m_printer = nullptr;
    bool m_ready = false;
};

// Red grows to the right, green to the top, and a blue disc lies on the lower left.
void DrawColors(BitmapHandle *bitmap)
{
    for (int y = 0; y < bitmap->Height; ++y)
        for (int x = 0; x < bitmap->Width; ++x) {
            const bool inDisc = std::hypot(x - bitmap->Width / 4, y - bitmap->Height / 4) < bitmap->Height / 6.0;
            V_PutPixelColor(bitmap, y, x,
                            inDisc ? RGB(0, 0, 255) : RGB(x * 255 / bitmap->Width, y * 255 / bitmap->Height, 0));
        }
}

size_t CountOf(const std::string &text, const char *word)
{
    size_t count = 0;
    for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1))
        ++count;
    return count;
}

// The printer leaves handles of its own behind, so this is no LibraryTest.
TEST(PrintSpool, TwoPicturesOnOnePage)
{
    const char *const kept = getenv("VEXOKIT_SPOOL_FILE");
    char directory[MAX_PATH], temporary[MAX_PATH] = "";
    GetTempPathA(MAX_PATH, directory);
    if (!kept)
        GetTempFileNameA(directory, "vxp", 0, temporary);
    const std::string file = kept ? kept : temporary;
    const SpoolPrinter printer(file);
    if (!printer.isReady()) {
        DeleteFileA(temporary);
        GTEST_SKIP() << "no PostScript printer of Wine's here; nothing was printed";
    }
    {
        const auto profile = Replace<decltype(GetProfileStringA)>(
            "kernel32.dll", "GetProfileStringA", [](auto, auto, auto, auto, char *text, DWORD size) {
                lstrcpynA(text, (g_name + ",wineps.drv," + g_port).c_str(), int(size));
                return DWORD(lstrlenA(text));
            });
        TestBitmap colors(StorageKind::PageFile, 200, 100, 24),
            indexed(StorageKind::PageFile, 90, 60, 8, {COLOR_ORDER_BGR, ORIENT_TOP_DOWN, {}});
        DrawColors(colors.get());
        DrawColors(indexed.get());
        const HDC dc = V_PrintBitmap(colors.get(), 0, 200, 1200, 0, 0); // centred, 600 high
        ASSERT_NE(nullptr, dc);
        {
            const StatusRecorder recorder;
            EXPECT_EQ(dc, V_PrintBitmap(indexed.get(), 150, 1000, 0, 300, 0)); // 450 wide, row by row
            EXPECT_EQ(101u, recorder.percentages().size());
        }
        EXPECT_EQ(dc, V_PrintBitmapFast(dc, indexed.get(), 900, 1000, 900, 600, 0));
        EXPECT_EQ(dc, V_PrintBitmap(nullptr, 0, 0, 0, 0, 1));
    }
    const std::string page = ReadText(file);
    EXPECT_EQ(0u, page.find("%!PS-Adobe"));
    EXPECT_EQ(1u, CountOf(page, "\n%%Page: "));
    EXPECT_EQ(1u, CountOf(page, "VEXO GRAPHIC"));
    EXPECT_NE(std::string::npos, page.find("%%EOF"));
    if (!kept)
        DeleteFileA(file.c_str());
}

} // namespace

} // namespace vexo::test
