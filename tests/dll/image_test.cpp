// The DLL as a file and as a module: what it exports and imports, its version, and how it is loaded and left.
#include "tests/support/import_hooks.h"
#include "tests/support/leaks.h"
#include "tests/support/library_test.h"

#include "vexokit.h"

#include <cstdio>
#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <vector>

extern "C" {
extern const unsigned kBitmapSizeInC, kVersionSizeInC, kOffsetCountInC, kOffsetsInC[26];
COLORREF FirstProgramInC(void);
}

namespace vexo::test {

namespace {

class LibraryImage : public LibraryTest {};

HMODULE Library() { return GetModuleHandleA("vexokit.dll"); }

using ExportTable = std::map<std::string, unsigned>; // name -> ordinal

// The module-definition file: exported names, and names whose ordinals are kept for later.
struct Definition {
    ExportTable exported, reserved;
};

Definition ReadDefinition()
{
    std::ifstream file(VEXOKIT_DEF_PATH);
    EXPECT_TRUE(file) << VEXOKIT_DEF_PATH;
    Definition definition;
    const std::regex pattern("\\s*(;reserved )?(\\w+) @(\\d+)\\s*");
    std::smatch match;
    for (std::string line; std::getline(file, line);)
        if (std::regex_match(line, match, pattern)) {
            ExportTable &table = match[1].matched ? definition.reserved : definition.exported;
            EXPECT_TRUE(table.emplace(match[2], unsigned(std::stoul(match[3]))).second) << line;
        }
    return definition;
}

const IMAGE_EXPORT_DIRECTORY &ExportDirectory(const BYTE *base)
{
    const auto *dos = reinterpret_cast<const IMAGE_DOS_HEADER *>(base);
    const auto *nt = reinterpret_cast<const IMAGE_NT_HEADERS *>(base + dos->e_lfanew);
    const DWORD place = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress;
    return *reinterpret_cast<const IMAGE_EXPORT_DIRECTORY *>(base + place);
}

} // namespace

TEST_F(LibraryImage, ExportsWhatTheDefinitionSays)
{
    const auto *base = reinterpret_cast<const BYTE *>(Library());
    const IMAGE_EXPORT_DIRECTORY &directory = ExportDirectory(base);
    const auto *names = reinterpret_cast<const DWORD *>(base + directory.AddressOfNames);
    const auto *places = reinterpret_cast<const WORD *>(base + directory.AddressOfNameOrdinals);
    const auto *functions = reinterpret_cast<const DWORD *>(base + directory.AddressOfFunctions);
    ExportTable exported;
    for (DWORD i = 0; i < directory.NumberOfNames; ++i)
        exported[reinterpret_cast<const char *>(base + names[i])] = directory.Base + places[i];

    const Definition definition = ReadDefinition();
    EXPECT_EQ(definition.exported, exported);
    EXPECT_EQ(1u, exported["DllMain"]);
    std::map<unsigned, std::string> byOrdinal;
    for (const auto &[name, ordinal] : definition.exported)
        EXPECT_TRUE(byOrdinal.emplace(ordinal, name).second) << ordinal << " is given twice";
    for (DWORD i = 0; i < directory.NumberOfFunctions; ++i)
        EXPECT_EQ(byOrdinal.count(directory.Base + i) != 0, functions[i] != 0) << "ordinal " << directory.Base + i;
    for (const auto &[name, ordinal] : definition.reserved)
        EXPECT_TRUE(byOrdinal.emplace(ordinal, name).second) << ordinal << " is given twice";
    for (const auto &[ordinal, name] : byOrdinal)
        EXPECT_TRUE(ordinal >= 100 || name == "DllMain") << name;
}

TEST_F(LibraryImage, ImportsFromTheSystemAndTheRuntimeOnly)
{
    const std::regex allowed("(kernel32|gdi32|user32|msvcrt|ucrtbase|vcruntime\\d+|api-ms-win-crt-[\\w-]+)\\.dll",
                             std::regex::icase);
    int count = 0;
    ForEachImport(Library(), [&](const char *dll, const char *name, void **) {
        EXPECT_TRUE(std::regex_match(dll, allowed)) << dll << ": " << (name ? name : "by number");
        ++count;
    });
    EXPECT_GT(count, 20);
}

TEST_F(LibraryImage, CarriesItsVersion)
{
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(Library(), path, MAX_PATH);
    std::vector<BYTE> data(GetFileVersionInfoSizeW(path, nullptr));
    ASSERT_FALSE(data.empty());
    ASSERT_TRUE(GetFileVersionInfoW(path, 0, DWORD(data.size()), data.data()));
    void *value;
    UINT size;
    ASSERT_TRUE(VerQueryValueW(data.data(), L"\\", &value, &size));
    const auto &fixed = *static_cast<const VS_FIXEDFILEINFO *>(value);
    EXPECT_EQ(DWORD(VFT_DLL), fixed.dwFileType);
    EXPECT_EQ(0x00070000u, fixed.dwFileVersionMS);
    EXPECT_EQ(0x00070000u, fixed.dwProductVersionMS);
    ASSERT_TRUE(VerQueryValueW(data.data(), L"\\StringFileInfo\\040904E4\\ProductName", &value, &size));
    EXPECT_TRUE(std::wstring(L"VEXOKIT\u00AE DLL for Win32") == static_cast<const wchar_t *>(value));
}

TEST_F(LibraryImage, HeaderIsTheSameInC)
{
    EXPECT_EQ(sizeof(BitmapHandle), kBitmapSizeInC);
    EXPECT_EQ(104u, kVersionSizeInC);
    if (sizeof(void *) == 4) {
        EXPECT_EQ(104u, kBitmapSizeInC);
        for (unsigned i = 0; i < kOffsetCountInC; ++i)
            EXPECT_EQ(4 * i, kOffsetsInC[i]) << "field " << i;
    }
    for (unsigned i = 1; i < kOffsetCountInC; ++i)
        EXPECT_LT(kOffsetsInC[i - 1], kOffsetsInC[i]) << "field " << i;
    EXPECT_EQ(RGB(255, 1, 2), FirstProgramInC());
}

// ---- Loading and leaving --------------------------------------------------------------------------------------

namespace {

// A second instance of the library: the file under another name, loaded and left at will.
class Instance {
public:
    Instance()
    {
        char directory[MAX_PATH], original[MAX_PATH];
        GetTempPathA(MAX_PATH, directory);
        GetTempFileNameA(directory, "vx", 0, m_path);
        GetModuleFileNameA(Library(), original, MAX_PATH);
        EXPECT_TRUE(CopyFileA(original, m_path, FALSE));
    }
    ~Instance() { EXPECT_TRUE(DeleteFileA(m_path)); }
    Instance(const Instance &) = delete;
    Instance &operator=(const Instance &) = delete;

    void Load() { m_module = LoadLibraryA(m_path); }
    void Leave() { EXPECT_TRUE(FreeLibrary(m_module)); }
    bool IsLoaded() const { return m_module != nullptr; }
    template <class Function>
    Function *Get(const char *name, Function *) const
    {
        return reinterpret_cast<Function *>(reinterpret_cast<void *>(GetProcAddress(m_module, name)));
    }

private:
    char m_path[MAX_PATH];
    HMODULE m_module = nullptr;
};

} // namespace

#define FROM(instance, function) instance.Get(#function, function)

// The settings of the thread that leaves stay behind on purpose; everything else is given back. Thread-local slots run
// out long before the loop does if one is lost each time.
TEST_F(LibraryImage, LoadsAndLeavesAgain)
{
    Instance instance;
    Holdings before;
    for (int i = 0; i < 1500; ++i) {
        instance.Load();
        ASSERT_TRUE(instance.IsLoaded()) << "load " << i;
        ASSERT_NE(FROM(instance, V_GetDisplayMode), V_GetDisplayMode);
        ASSERT_EQ(12u, FROM(instance, V_SetDisplayMode)(~0u, unsigned(i)));
        instance.Leave();
        if (i == 0)
            before = Holdings::Now();
    }
    EXPECT_EQ("", before.DescribeGrowth(Holdings::Now()));
}

TEST_F(LibraryImage, ServesThreadsThatWereThereBefore)
{
    Instance instance;
    RunOnNewThread([&] {
        instance.Load();
        FROM(instance, V_SetDefaultXResolution)(300);
    });
    ASSERT_TRUE(instance.IsLoaded());
    EXPECT_EQ(150, FROM(instance, V_SetDefaultXResolution)(72));
    EXPECT_EQ(72, FROM(instance, V_GetDefaultXResolution)());
    EXPECT_EQ(12u, FROM(instance, V_GetDisplayMode)());
    EXPECT_EQ(-1, FROM(instance, V_RedirectedOpen)("no such file", OS_READ_ONLY, 0));
    instance.Leave();
}

} // namespace vexo::test
