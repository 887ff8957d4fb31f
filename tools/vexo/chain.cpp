// Each operation has a parser of its own, which stops at the first word it does not know: the next operation, or the
// picture to read.
#include "vexo/chain.h"

#include "common/errors.h"
#include "common/image_file.h"
#include "common/text.h"
#include "vexo/describe.h"
#include "vexo/progress.h"
#include "vexo/values.h"

#include <algorithm>
#include <memory>

namespace vexo::tools {

namespace {

using Arguments = std::vector<std::string>;

constexpr decltype(&ColourOperations) kTables[] = {ColourOperations, RegionOperations, GeometryOperations,
                                                   TextOperations};

const Operation *FindOperation(const std::string &word)
{
    for (const auto operations : kTables)
        for (const Operation &operation : operations())
            if (word == operation.name)
                return &operation;
    return nullptr;
}

// Takes the values of one operation off the front of the arguments.
Step ParseOperation(const Operation &operation, Arguments &arguments)
{
    CLI::App parser(operation.words, std::string("vexo ") + operation.name);
    parser.allow_windows_style_options(false);
    parser.prefix_command();
    const Step step = operation.describe(parser);
    std::reverse(arguments.begin(), arguments.end()); // CLI11 takes them from the back
    try {
        parser.parse(std::move(arguments));
    } catch (const CLI::CallForHelp &) {
        PrintOut(parser.help());
        throw CLI::Success();
    }
    arguments = parser.remaining();
    return step;
}

struct Files {
    std::string input, output;
    Arguments shapes;
};

void AddFileOptions(CLI::App &parser, Files &files)
{
    parser.allow_windows_style_options(false);
    parser.add_option("--region", files.shapes, "[MODE:]SHAPE:VALUES, may be repeated")->allow_extra_args(false);
}

// Options in front of the operations; stops at the first of them.
void ParseFront(Arguments &arguments, Files &files, Session &session)
{
    CLI::App parser("", "vexo");
    AddFileOptions(parser, files);
    parser.add_flag("-q,--quiet", session.quiet, "Print errors only");
    parser.prefix_command();
    std::reverse(arguments.begin(), arguments.end());
    parser.parse(std::move(arguments));
    arguments = parser.remaining();
}

void ParseEnd(Arguments &arguments, Files &files, Session &session)
{
    CLI::App parser("", "vexo");
    Arguments more;
    files.shapes.swap(more);
    AddFileOptions(parser, files);
    parser.add_flag("-q,--quiet", session.quiet, "Print errors only");
    parser.add_option("IN", files.input, "Picture to read")->required();
    parser.add_option("OUT", files.output, "Picture to write: .png .bmp .tif .gif .jpg")->required();
    std::reverse(arguments.begin(), arguments.end());
    parser.parse(std::move(arguments));
    files.shapes.insert(files.shapes.begin(), more.begin(), more.end());
}

} // namespace

void Workpiece::Check(int status, const char *doing) const { CheckStatus(status, path, doing); }

bool IsOperation(const std::string &word) { return FindOperation(word) != nullptr; }

std::string ListOperations()
{
    std::string list;
    for (const auto operations : kTables)
        for (const Operation &operation : operations()) {
            const std::string name = operation.name;
            list += "  " + name + std::string(name.size() < 26 ? 26 - name.size() : 1, ' ') + operation.words + "\n";
        }
    return list;
}

void RunChain(std::vector<std::string> arguments, Session &session)
{
    Files files;
    ParseFront(arguments, files, session);
    std::vector<Step> steps;
    while (!arguments.empty()) {
        const Operation *operation = FindOperation(arguments.front());
        if (!operation)
            break;
        arguments.erase(arguments.begin());
        steps.push_back(ParseOperation(*operation, arguments));
    }
    ParseEnd(arguments, files, session);

    const std::wstring output = ToWide(files.output);
    CheckOutputName(output);
    Workpiece piece = {{}, ToWide(files.input), !session.quiet};
    piece.bitmap = PictureFile(piece.path).ReadFrame();
    for (const std::string &shape : files.shapes)
        AddShape(piece.bitmap, shape);
    const ProgressLine progress(files.input, piece.showProgress);
    for (const Step &step : steps)
        step(piece);
    WritePicture(piece.bitmap, output);
    if (!session.quiet)
        PrintOut(files.output + ": " + DescribeSize(piece.bitmap) + ", " + DescribePixels(piece.bitmap) + "\n");
}

} // namespace vexo::tools
