// Words for the errors of Windows, of the imaging component and of the library.
#include "common/errors.h"

#include "common/text.h"
#include "vexokit.h"

#include <wincodec.h>

namespace vexo::tools {

FileError::FileError(const std::wstring &path, const std::string &words)
    : std::runtime_error(ToUtf8(path) + ": " + words)
{
}

std::string SystemWords(DWORD error)
{
    switch (error) {
    case ERROR_FILE_NOT_FOUND: return "not found";
    case ERROR_PATH_NOT_FOUND: return "no such folder";
    case ERROR_ACCESS_DENIED: return "no permission";
    case ERROR_SHARING_VIOLATION: return "in use by another program";
    case ERROR_INVALID_NAME: return "not a valid file name";
    case ERROR_HANDLE_DISK_FULL:
    case ERROR_DISK_FULL: return "the disk is full";
    case ERROR_WRITE_PROTECT: return "the disk is write-protected";
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY: return "out of memory";
    }
    wchar_t text[512];
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0, text,
                                  512, nullptr);
    while (length && (text[length - 1] <= L' ' || text[length - 1] == L'.'))
        --length;
    return length ? ToUtf8({text, length}) : "system error " + std::to_string(error);
}

std::string ComWords(HRESULT result)
{
    switch (result) {
    case WINCODEC_ERR_COMPONENTNOTFOUND:
    case WINCODEC_ERR_UNKNOWNIMAGEFORMAT: return "not a picture in a format that can be read";
    case WINCODEC_ERR_BADHEADER:
    case WINCODEC_ERR_BADIMAGE:
    case WINCODEC_ERR_BADSTREAMDATA:
    case WINCODEC_ERR_STREAMREAD:
    case WINCODEC_ERR_FRAMEMISSING: return "the picture data is damaged";
    case WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT:
    case WINCODEC_ERR_UNSUPPORTEDOPERATION: return "a kind of pixels that cannot be handled";
    case E_OUTOFMEMORY: return "out of memory";
    }
    if (HRESULT_FACILITY(result) == FACILITY_WIN32)
        return SystemWords(DWORD(HRESULT_CODE(result)));
    char text[40];
    wsprintfA(text, "imaging component error 0x%08lX", static_cast<unsigned long>(result));
    return text;
}

std::string StatusWords(int status)
{
    switch (status) {
    case RESULT_FAILURE: return "stopped";
    case ERR_NO_MEMORY: return "out of memory";
    case ERR_NO_BITMAP: return "the bitmap has no storage";
    case ERR_FILE_SEEK:
    case ERR_FILE_READ:
    case ERR_FILE_WRITE: return "the temporary file could not be read or written";
    case ERR_INV_RANGE: return "the picture is empty or too large";
    case ERR_INV_PARAMETER: return "the library refused a parameter";
    case ERR_BAD_REQUEST: return "a layout the library does not handle";
    case ERR_BAD_BITS_PER_PIXEL: return "a depth the library does not handle";
    }
    return "library error " + std::to_string(status);
}

void CheckCom(HRESULT result, const std::wstring &path, const char *doing)
{
    if (FAILED(result))
        throw FileError(path, std::string(doing) + ": " + ComWords(result));
}

void CheckStatus(int status, const std::wstring &path, const char *doing)
{
    if (status != RESULT_SUCCESS)
        throw FileError(path, std::string(doing) + ": " + StatusWords(status));
}

} // namespace vexo::tools
