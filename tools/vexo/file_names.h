// File arguments with wildcards, which the command interpreters of Windows leave to the program.
#ifndef VEXO_TOOLS_FILE_NAMES_H
#define VEXO_TOOLS_FILE_NAMES_H

#include <string>
#include <vector>

namespace vexo::tools {

// The files a list of UTF-8 arguments names: patterns with * or ? in the last part become the files they match, sorted
// by name; a pattern that matches nothing stays as it is, so that it is reported as not found.
std::vector<std::wstring> ExpandFileNames(const std::vector<std::string> &arguments);

} // namespace vexo::tools

#endif
