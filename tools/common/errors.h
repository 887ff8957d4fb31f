// What can go wrong in the programs, always in words that name the file.
#ifndef VEXO_TOOLS_ERRORS_H
#define VEXO_TOOLS_ERRORS_H

#include <windows.h>

#include <stdexcept>
#include <string>

namespace vexo::tools {

// A failure with one file: "name: what went wrong".
class FileError : public std::runtime_error {
public:
    FileError(const std::wstring &path, const std::string &words);
};

// What a Win32 error, a COM result or a status of the library means.
std::string SystemWords(DWORD error);
std::string ComWords(HRESULT result);
std::string StatusWords(int status);

// Throw FileError unless the call succeeded. `doing` says what was attempted ("cannot be read").
void CheckCom(HRESULT result, const std::wstring &path, const char *doing);
void CheckStatus(int status, const std::wstring &path, const char *doing);

} // namespace vexo::tools

#endif
