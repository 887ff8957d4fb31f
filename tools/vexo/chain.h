// Operations one after the other: vexo [OPTIONS] OPERATION [OPERATION]... IN OUT.
#ifndef VEXO_TOOLS_CHAIN_H
#define VEXO_TOOLS_CHAIN_H

#include "vexo/operations.h"

#include <string>
#include <vector>

namespace vexo::tools {

// Whether an argument names an operation.
bool IsOperation(const std::string &word);

// Names and words of all operations, for the help text.
std::string ListOperations();

// Runs the chain that the arguments describe, from the first operation or one of its options on. Throws as operations
// do, and CLI11's errors for what cannot be parsed.
void RunChain(std::vector<std::string> arguments, Session &session);

} // namespace vexo::tools

#endif
