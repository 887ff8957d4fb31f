// The commands of vexo. Each file adds the subcommands of one theme to the program; a new one needs a line in the table
// of main.cpp.
#ifndef VEXO_TOOLS_COMMANDS_H
#define VEXO_TOOLS_COMMANDS_H

#include <CLI/CLI.hpp>

namespace vexo::tools {

// What all commands share.
struct Session {
    bool quiet = false;   // errors only
    int failureCount = 0; // failures reported by commands that go on with the next file
};

// Adds a subcommand whose callback does the work. It throws FileError, or a CLI11 error for options that contradict the
// picture.
using AddCommand = void (*)(CLI::App &program, Session &session);

void AddInfoCommand(CLI::App &program, Session &session);
void AddConvertCommand(CLI::App &program, Session &session);
void AddFramesCommand(CLI::App &program, Session &session);
void AddPlayCommand(CLI::App &program, Session &session);
void AddEffectsCommand(CLI::App &program, Session &session);
void AddPrintCommand(CLI::App &program, Session &session);
void AddCopyCommand(CLI::App &program, Session &session);
void AddPasteCommand(CLI::App &program, Session &session);
void AddCaptureCommand(CLI::App &program, Session &session);

// Prints "vexo: WORDS" to standard error.
void ReportFailure(const std::string &words);

} // namespace vexo::tools

#endif
