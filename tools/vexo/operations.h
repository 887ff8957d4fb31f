// The operations of vexo, which can be chained: vexo [OPTIONS] OPERATION VALUES [OPERATION VALUES]... IN OUT. Each is a
// row of a table in a file of its theme; it describes its values and gives a step that changes the picture in hand.
#ifndef VEXO_TOOLS_OPERATIONS_H
#define VEXO_TOOLS_OPERATIONS_H

#include "common/bitmap.h"
#include "vexo/commands.h"

#include <functional>
#include <span>
#include <string>

namespace vexo::tools {

// The picture on its way through the operations.
struct Workpiece {
    Bitmap bitmap;
    std::wstring path; // of the file it came from, for messages
    bool showProgress;

    // Throws FileError unless the call succeeded. `doing` says what was attempted ("cannot be turned").
    void Check(int status, const char *doing) const;
};

using Step = std::function<void(Workpiece &)>;

struct Operation {
    const char *name;
    const char *words; // one line of help
    // Adds the operation's values and options to a parser of its own and returns what is done with them. The step may
    // check values against the picture and throw a CLI11 error or FileError.
    Step (*describe)(CLI::App &parser);
};

// One table per theme.
std::span<const Operation> ColourOperations();
std::span<const Operation> RegionOperations();
std::span<const Operation> GeometryOperations();
std::span<const Operation> TextOperations();

} // namespace vexo::tools

#endif
