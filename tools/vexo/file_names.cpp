// Expands wildcards with FindFirstFile.
#include "vexo/file_names.h"

#include "common/text.h"

#include <windows.h>

#include <algorithm>

namespace vexo::tools {
namespace {

void AppendMatches(const std::wstring &pattern, std::vector<std::wstring> &names)
{
    const size_t folderLength = pattern.find_last_of(L"/\\:") + 1; // 0 where there is none
    const size_t first = names.size();
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW(pattern.c_str(), &found);
    if (search != INVALID_HANDLE_VALUE) {
        do {
            if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
                names.push_back(pattern.substr(0, folderLength) + found.cFileName);
        } while (FindNextFileW(search, &found));
        FindClose(search);
    }
    std::sort(names.begin() + ptrdiff_t(first), names.end());
    if (names.size() == first)
        names.push_back(pattern);
}

} // namespace

std::vector<std::wstring> ExpandFileNames(const std::vector<std::string> &arguments)
{
    std::vector<std::wstring> names;
    for (const std::string &argument : arguments) {
        const std::wstring name = ToWide(argument);
        if (name.find_first_of(L"*?") == std::wstring::npos)
            names.push_back(name);
        else
            AppendMatches(name, names);
    }
    return names;
}

} // namespace vexo::tools
