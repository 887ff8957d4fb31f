// vexo capture OUT: a picture of the screen. vexo copy FILE and vexo paste OUT:
// pictures to and from the clipboard.
#include "vexo/commands.h"

#include "common/errors.h"
#include "common/image_file.h"
#include "common/text.h"
#include "vexo/describe.h"
#include "vexo/values.h"

namespace vexo::tools {

namespace {

void Report(const std::string &name, const Bitmap &bitmap, const Session &session)
{
    if (!session.quiet)
        PrintOut(name + ": " + DescribeSize(bitmap) + ", " + DescribePixels(bitmap) + "\n");
}

// A captured bitmap's resolution is the size of the screen, which means nothing
// in a file.
void WriteFromScreen(Bitmap &bitmap, const std::string &name, const Session &session)
{
    bitmap->XResolution = bitmap->YResolution = 96;
    WritePicture(bitmap, ToWide(name));
    Report(name, bitmap, session);
}

RECT CaptureBox(const std::string &text)
{
    const int left = GetSystemMetrics(SM_XVIRTUALSCREEN), top = GetSystemMetrics(SM_YVIRTUALSCREEN);
    if (text.empty())
        return {left, top, left + GetSystemMetrics(SM_CXVIRTUALSCREEN), top + GetSystemMetrics(SM_CYVIRTUALSCREEN)};
    const std::vector<int> n = ParseNumbers(text, "--rect", 4);
    return {n[0], n[1], n[0] + n[2], n[1] + n[3]};
}

void RunCapture(const std::string &output, const std::string &box, const Session &session)
{
    CheckOutputName(ToWide(output));
    const RECT rect = CaptureBox(box);
    Bitmap bitmap;
    const HDC screen = GetDC(nullptr);
    const int status = V_ScreenCaptureBitmap(screen, bitmap.get(), &rect);
    ReleaseDC(nullptr, screen);
    CheckStatus(status, L"screen", "cannot be captured");
    WriteFromScreen(bitmap, output, session);
}

void RunCopy(const std::string &file, const Session &session)
{
    const std::wstring path = ToWide(file);
    Bitmap bitmap = PictureFile(path).ReadFrame();
    if (V_CopyToClipboard(nullptr, bitmap.get()) == 0)
        throw FileError(path, "cannot be copied to the clipboard");
    Report(file, bitmap, session);
}

void RunPaste(const std::string &output, const Session &session)
{
    CheckOutputName(ToWide(output));
    Bitmap bitmap;
    if (V_CopyFromClipboard(nullptr, bitmap.get()) == 0)
        throw FileError(L"clipboard", "has no picture");
    WriteFromScreen(bitmap, output, session);
}

} // namespace

void AddCaptureCommand(CLI::App &program, Session &session)
{
    CLI::App *command = program.add_subcommand("capture", "Take a picture of the screen");
    struct Options {
        std::string output, box;
    };
    auto options = std::make_shared<Options>();
    command->add_option("OUT", options->output, "Picture to write")->required();
    command->add_option("--rect", options->box, "LEFT,TOP,WIDTH,HEIGHT (default: the whole screen)");
    command->callback([options, &session] { RunCapture(options->output, options->box, session); });
}

void AddCopyCommand(CLI::App &program, Session &session)
{
    CLI::App *command = program.add_subcommand("copy", "Copy a picture to the clipboard");
    auto file = std::make_shared<std::string>();
    command->add_option("FILE", *file, "Picture to copy")->required();
    command->callback([file, &session] { RunCopy(*file, session); });
}

void AddPasteCommand(CLI::App &program, Session &session)
{
    CLI::App *command = program.add_subcommand("paste", "Write the clipboard's picture to a file");
    auto output = std::make_shared<std::string>();
    command->add_option("OUT", *output, "Picture to write")->required();
    command->callback([output, &session] { RunPaste(*output, session); });
}

} // namespace vexo::tools
