// fill, crop and alpha.
#include "vexo/operations.h"

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

constexpr Operation kOperations[] = {
    {"fill", "Fill the region, or all, with a colour", Fill},
    {"crop", "Cut a rectangle out", Crop},
    {"alpha", "Show the alpha as grays, or take it from a picture", Alpha},
};

} // namespace

std::span<const Operation> RegionOperations() { return kOperations; }

} // namespace vexo::tools
