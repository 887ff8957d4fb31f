// UTF-8 and UTF-16, and output that shows every script on a console without touching its code page.
#include "common/text.h"

#include <windows.h>

namespace vexo::tools {

std::wstring ToWide(std::string_view utf8)
{
    const int bytes = int(utf8.size());
    std::wstring wide(size_t(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, nullptr, 0)), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, wide.data(), int(wide.size()));
    return wide;
}

std::string ToUtf8(std::wstring_view wide)
{
    const int units = int(wide.size());
    std::string utf8(size_t(WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, nullptr, 0, nullptr, nullptr)), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, utf8.data(), int(utf8.size()), nullptr, nullptr);
    return utf8;
}

namespace {

bool IsConsole(HANDLE handle)
{
    DWORD mode;
    return GetConsoleMode(handle, &mode) != 0;
}

void Print(DWORD standardHandle, std::string_view utf8)
{
    const HANDLE handle = GetStdHandle(standardHandle);
    DWORD written;
    if (IsConsole(handle)) {
        const std::wstring wide = ToWide(utf8);
        WriteConsoleW(handle, wide.data(), DWORD(wide.size()), &written, nullptr);
    } else {
        WriteFile(handle, utf8.data(), DWORD(utf8.size()), &written, nullptr);
    }
}

} // namespace

void PrintOut(std::string_view utf8) { Print(STD_OUTPUT_HANDLE, utf8); }
void PrintError(std::string_view utf8) { Print(STD_ERROR_HANDLE, utf8); }
bool ErrorIsConsole() { return IsConsole(GetStdHandle(STD_ERROR_HANDLE)); }

} // namespace vexo::tools
