// fill, frame, crop and alpha.
#include "vexo/operations.h"

#include "common/contact_sheet.h"
#include "common/errors.h"
#include "common/image_file.h"
#include "common/text.h"
#include "vexo/values.h"

namespace vexo::tools {

namespace {

Step Fill(CLI::App &parser)
{
    auto color = std::make_shared<std::string>();
    parser.add_option("COLOUR", *color, "#rrggbb or index:N")->required();
    return [color](Workpiece &piece) {
        piece.Check(V_FillBitmap(piece.bitmap.get(), ParseColor(*color, "fill")), "cannot be filled");
    };
}

Step Crop(CLI::App &parser)
{
    auto box = std::make_shared<std::string>();
    parser.add_option("BOX", *box, "LEFT,TOP,WIDTH,HEIGHT from the top left")->required();
    return [box](Workpiece &piece) {
        const std::vector<int> n = ParseNumbers(*box, "crop", 4);
        BitmapHandle *bitmap = piece.bitmap.get();
        const int top = bitmap->Orientation == ORIENT_BOTTOM_UP ? bitmap->Height - n[1] - n[3] : n[1];
        piece.Check(V_CopyBitmapRect(bitmap, bitmap, n[0], top, n[2], n[3]), "cannot be cropped");
    };
}

Step Alpha(CLI::App &parser)
{
    auto source = std::make_shared<std::string>();
    parser.add_option("--from", *source,
                      "Picture whose grays become the alpha; without it the alpha is shown as grays");
    return [source](Workpiece &piece) {
        if (source->empty()) {
            Bitmap alpha;
            piece.Check(V_GetBitmapAlpha(piece.bitmap.get(), alpha.get()), "has no alpha to be had");
            piece.bitmap = std::move(alpha);
            return;
        }
        Bitmap grays = PictureFile(ToWide(*source)).ReadFrame();
        piece.Check(V_SetBitmapAlpha(piece.bitmap.get(), grays.get()), "cannot be given an alpha");
    };
}

// Draws the marching frame of the region in one of its eight phases.
void DrawFrame(Workpiece &piece, Bitmap &bitmap, unsigned phase)
{
    const HDC dc = V_CreateVexoDC(bitmap.get());
    if (!dc)
        throw FileError(piece.path, "cannot be drawn on");
    const RegionTransform fromTop = {ORIENT_TOP_DOWN, 1, 1, 1, 1, 0, 0};
    const int status = V_FrameBitmapRgn(dc, bitmap.get(), &fromTop, phase);
    GdiFlush();
    V_DeleteVexoDC(dc);
    piece.Check(status, "cannot be framed");
}

Step Frame(CLI::App &parser)
{
    static constexpr unsigned kPhases = 8;
    struct Options {
        unsigned phase = 0;
        bool all = false;
    };
    auto options = std::make_shared<Options>();
    parser.add_option("--phase", options->phase, "0 to 7 (default: 0)")->check(CLI::Range(0u, kPhases - 1));
    parser.add_flag("--all", options->all, "All phases on one sheet");
    return [options](Workpiece &piece) {
        if (!options->all)
            return DrawFrame(piece, piece.bitmap, options->phase);
        ContactSheet sheet;
        for (unsigned phase = 0; phase < kPhases; ++phase) {
            Bitmap framed = CopyOf(piece.bitmap, piece.path);
            DrawFrame(piece, framed, phase);
            sheet.Add(std::move(framed), L"phase " + std::to_wstring(phase));
        }
        piece.bitmap = sheet.Make(4, piece.path);
    };
}

constexpr Operation kOperations[] = {
    {"fill", "Fill the region, or all, with a colour", Fill},
    {"frame", "Draw a marching frame around the region, or all", Frame},
    {"crop", "Cut a rectangle out", Crop},
    {"alpha", "Show the alpha as grays, or take it from a picture", Alpha},
};

} // namespace

std::span<const Operation> RegionOperations() { return kOperations; }

} // namespace vexo::tools
