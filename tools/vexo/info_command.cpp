// vexo info FILE...: one line for each picture. Every picture is read in full, so a line means that it can be.
#include "vexo/commands.h"

#include "common/errors.h"
#include "common/image_file.h"
#include "common/text.h"
#include "vexo/describe.h"
#include "vexo/file_names.h"

namespace vexo::tools {
namespace {

std::string Describe(const std::wstring &path)
{
    const PictureFile file(path);
    const Bitmap bitmap = file.ReadFrame();
    const unsigned frames = file.FrameCount();
    return ToUtf8(path) + ": " + file.FormatName() + ", " + DescribeSize(bitmap) + ", " + DescribePixels(bitmap) +
           ", " + std::to_string(bitmap->XResolution) + " x " + std::to_string(bitmap->YResolution) + " dpi, " +
           std::to_string(frames) + (frames == 1 ? " frame, " : " frames, ") +
           (bitmap->Orientation == ORIENT_BOTTOM_UP ? "bottom up" : "top down") +
           (bitmap.TransparentIndex() >= 0 ? ", transparent colour" : "") + "\n";
}

void RunInfo(const std::vector<std::string> &arguments, Session &session)
{
    for (const std::wstring &path : ExpandFileNames(arguments)) {
        try {
            const std::string line = Describe(path);
            if (!session.quiet)
                PrintOut(line);
        } catch (const FileError &error) {
            ReportFailure(error.what());
            ++session.failureCount;
        }
    }
}

} // namespace

void AddInfoCommand(CLI::App &program, Session &session)
{
    CLI::App *command = program.add_subcommand("info", "Print size, depth, palette and resolution of pictures");
    auto files = std::make_shared<std::vector<std::string>>();
    command->add_option("FILE", *files, "Picture files; * and ? stand for any characters")->required();
    command->callback([files, &session] { RunInfo(*files, session); });
}

} // namespace vexo::tools
