// vexo capture OUT: a picture of the screen.
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

// A captured bitmap's resolution is the size of the screen, which means nothing in a file.
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

} // namespace vexo::tools
