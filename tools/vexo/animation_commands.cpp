// vexo frames FILE and vexo play --sheet OUT FILE: the frames of an animated GIF, and what they come to on the canvas.
#include "vexo/commands.h"

#include "common/animation.h"
#include "common/contact_sheet.h"
#include "common/errors.h"
#include "common/image_file.h"
#include "common/text.h"
#include "vexo/values.h"

namespace vexo::tools {

namespace {

// What happens to a frame when its time is over.
const char *DisposalWords(int disposal)
{
    return disposal == 2 ? "then background" : disposal == 3 ? "then what was before" : "stays";
}

std::string DescribeFrame(const BitmapHandle &frame)
{
    return std::to_string(frame.Width) + " x " + std::to_string(frame.Height) + " at " +
           std::to_string(frame.AnimLeft) + "," + std::to_string(frame.AnimTop) + ", " +
           std::to_string(frame.AnimDelay) + " ms, " + DisposalWords(frame.AnimDisposal) +
           (frame.Flags & FLAG_TRANSPARENT ? ", transparent " + std::to_string(frame.AnimTransparent & 0xFFFF) : "") +
           (frame.Flags & FLAG_WAIT_INPUT ? ", waits for input" : "");
}

void RunFrames(const std::string &file, const Session &session)
{
    const Animation animation = ReadAnimation(ToWide(file));
    if (session.quiet)
        return;
    PrintOut(file + ": canvas " + std::to_string(animation.width) + " x " + std::to_string(animation.height) + "\n");
    for (unsigned i = 0; i < animation.frames.Count(); ++i)
        PrintOut("  " + std::to_string(i + 1) + ": " + DescribeFrame(animation.frames.Item(i)) + "\n");
}

// ---- Playing --------------------------------------------------------------------------------------------------

// A playback that gives its list back at the end.
class Playback {
public:
    Playback(Bitmap &canvas, HGLOBAL list, const std::wstring &path) : m_path(path)
    {
        CheckStatus(V_CreatePlayback(&m_playback, canvas.get(), list), m_path, "cannot be played");
    }
    ~Playback() { V_DestroyPlayback(m_playback, nullptr); }
    Playback(const Playback &) = delete;
    Playback &operator=(const Playback &) = delete;

    // One step, without waiting for anything.
    unsigned Step()
    {
        unsigned state = PB_STATE_FINISHED;
        V_CancelPlaybackWait(m_playback);
        CheckStatus(V_ProcessPlayback(m_playback, &state), m_path, "cannot be played");
        return state;
    }
    unsigned Index()
    {
        int index = 0;
        V_GetPlaybackIndex(m_playback, &index);
        return unsigned(index);
    }

private:
    HGLOBAL m_playback = nullptr;
    const std::wstring &m_path;
};

struct PlayOptions {
    std::string file, sheet;
    std::string background = "#ffffff"; // as browsers have it: they clear the canvas to the page below
};

void RunPlay(const PlayOptions &options, const Session &session)
{
    const std::wstring path = ToWide(options.file), output = ToWide(options.sheet);
    const COLORREF background = ParseColor(options.background, "--background");
    CheckOutputName(output);
    const Animation animation = ReadAnimation(path);
    Bitmap canvas;
    CheckStatus(V_CreateBitmap(canvas.get(), STORAGE_MEMORY, animation.width, animation.height, 24, COLOR_ORDER_BGR,
                               nullptr, ORIENT_BOTTOM_UP),
                path, "cannot be played");
    canvas->AnimBackground = background;
    ContactSheet sheet;
    Playback playback(canvas, animation.frames.get(), path);
    for (unsigned state = PB_STATE_INITIAL; state != PB_STATE_FINISHED;) {
        state = playback.Step();
        if (state == PB_STATE_DRAWN) {
            const unsigned index = playback.Index();
            sheet.Add(CopyOf(canvas, path), std::to_wstring(index + 1) + L": " +
                                                std::to_wstring(animation.frames.Item(index).AnimDelay) + L" ms, " +
                                                ToWide(DisposalWords(animation.frames.Item(index).AnimDisposal)));
        }
    }
    Bitmap picture = sheet.Make(4, output);
    WritePicture(picture, output);
    if (!session.quiet)
        PrintOut(options.sheet + ": " + std::to_string(animation.frames.Count()) + " frames\n");
}

} // namespace

void AddFramesCommand(CLI::App &program, Session &session)
{
    CLI::App *command = program.add_subcommand("frames", "List the frames of an animated GIF");
    auto file = std::make_shared<std::string>();
    command->add_option("FILE", *file, "GIF file")->required();
    command->callback([file, &session] { RunFrames(*file, session); });
}

void AddPlayCommand(CLI::App &program, Session &session)
{
    CLI::App *command = program.add_subcommand("play", "Play an animated GIF onto a sheet of every state");
    auto options = std::make_shared<PlayOptions>();
    command->add_option("FILE", options->file, "GIF file")->required();
    command->add_option("--sheet", options->sheet, "Picture to write")->required();
    command->add_option("--background", options->background, "#rrggbb below the frames (default: white)");
    command->callback([options, &session] { RunPlay(*options, session); });
}

} // namespace vexo::tools
