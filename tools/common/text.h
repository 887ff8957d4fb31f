// Text of the programs: UTF-8 inside, UTF-16 towards Windows.
#ifndef VEXO_TOOLS_TEXT_H
#define VEXO_TOOLS_TEXT_H

#include <string>
#include <string_view>

namespace vexo::tools {

std::wstring ToWide(std::string_view utf8);
std::string ToUtf8(std::wstring_view wide);

// Write text to standard output or standard error: as characters to a console, whatever its code page is, and as UTF-8
// to anything else.
void PrintOut(std::string_view utf8);
void PrintError(std::string_view utf8);

// Whether standard error is a terminal that a progress line can be drawn on.
bool ErrorIsConsole();

} // namespace vexo::tools

#endif
