// vexo effects IN OUT: every paint effect, stopped half way.
#include "vexo/commands.h"

#include "common/contact_sheet.h"
#include "common/errors.h"
#include "common/image_file.h"
#include "common/text.h"

#include <iterator>

namespace vexo::tools {

namespace {

// In the order of their numbers, from 1 on.
constexpr const wchar_t *kEffects[] = {
    L"rows from the top",
    L"rows from the bottom",
    L"columns from the left",
    L"columns from the right",
    L"tiles of 2",
    L"tiles of 4",
    L"tiles of 8",
    L"tiles of 16",
    L"rows at random",
    L"columns at random",
    L"columns from middle",
    L"rows from middle",
    L"rows from middle, 8th",
    L"columns, middle, 8th",
    L"frames inwards",
    L"frames outwards",
    L"frames inwards, 8th",
    L"frames outwards, 8th",
    L"spiral inwards",
    L"spiral outwards",
    L"rows to the middle",
    L"columns to the middle",
    L"columns, edges, 8th",
    L"rows, edges, 8th",
    L"columns from left, 8th",
    L"columns, right, 8th",
    L"rows from bottom, 8th",
    L"rows from the top, 8th",
    L"slides in from left",
    L"slides in from right",
    L"slides in from bottom",
    L"slides in from top",
};

int VEXO_CALL StopHalfWay(int percent) { return percent < 50 ? RESULT_SUCCESS : RESULT_FAILURE; }

// The picture half painted on a gray ground of its size.
Bitmap PaintHalf(Bitmap &picture, unsigned effect, const std::wstring &path)
{
    Bitmap canvas;
    CheckStatus(V_CreateBitmap(canvas.get(), STORAGE_MEMORY, picture->Width, picture->Height, 24, COLOR_ORDER_BGR,
                               nullptr, ORIENT_BOTTOM_UP),
                path, "cannot be painted");
    CheckStatus(V_FillBitmap(canvas.get(), RGB(200, 200, 200)), path, "cannot be painted");
    const HDC dc = V_CreateVexoDC(canvas.get());
    if (!dc)
        throw FileError(path, "cannot be painted");
    const RECT all = {0, 0, picture->Width, picture->Height};
    const VexoStatusCallback former = V_SetStatusCallBack(StopHalfWay);
    const int status = V_PaintDCEffect(dc, picture.get(), nullptr, nullptr, &all, nullptr, SRCCOPY, effect);
    V_SetStatusCallBack(former);
    GdiFlush();
    V_DeleteVexoDC(dc);
    if (status != RESULT_FAILURE) // which is the callback's own
        CheckStatus(status, path, "cannot be painted");
    return canvas;
}

void RunEffects(const std::string &input, const std::string &output, const Session &session)
{
    const std::wstring path = ToWide(input), sheetPath = ToWide(output);
    CheckOutputName(sheetPath);
    Bitmap bitmap = PictureFile(path).ReadFrame();
    Bitmap small = Thumbnail(bitmap, 160, path);
    ContactSheet sheet;
    for (unsigned i = 0; i < std::size(kEffects); ++i)
        sheet.Add(PaintHalf(small, i + 1, path), std::to_wstring(i + 1) + L": " + kEffects[i]);
    Bitmap picture = sheet.Make(6, path);
    WritePicture(picture, sheetPath);
    if (!session.quiet)
        PrintOut(output + ": " + std::to_string(std::size(kEffects)) + " effects\n");
}

} // namespace

void AddEffectsCommand(CLI::App &program, Session &session)
{
    CLI::App *command = program.add_subcommand("effects", "Show the middle of every paint effect on a sheet");
    struct Files {
        std::string input, output;
    };
    auto files = std::make_shared<Files>();
    command->add_option("IN", files->input, "Picture to paint")->required();
    command->add_option("OUT", files->output, "Sheet to write")->required();
    command->callback([files, &session] { RunEffects(files->input, files->output, session); });
}

} // namespace vexo::tools
