// resize, resample, rotate, shear, flip, reverse, combine, underlay.
#include "vexo/operations.h"

#include "common/errors.h"
#include "common/image_file.h"
#include "common/text.h"
#include "vexo/values.h"

#include <cmath>
#include <map>

namespace vexo::tools {

namespace {

// ---- Size -----------------------------------------------------------------------------------------------------

template <int(VEXO_CALL *Change)(BitmapHandle *, int, int)>
Step ChangeSize(CLI::App &parser)
{
    struct Size {
        int width, height;
    };
    auto size = std::make_shared<Size>();
    parser.add_option("WIDTH", size->width, "Pixels per row")->required();
    parser.add_option("HEIGHT", size->height, "Rows")->required();
    return [size](Workpiece &piece) {
        piece.Check(Change(piece.bitmap.get(), size->width, size->height), "cannot be given another size");
    };
}

// ---- Turns ----------------------------------------------------------------------------------------------------

struct TurnOptions {
    double degrees = 0;
    bool other = false; // keeps the size; moves columns
    std::string color = "#000000";

    int Hundredths() const { return int(std::lround(degrees * 100)); }
};

std::shared_ptr<TurnOptions> AddTurnOptions(CLI::App &parser, const char *otherFlag, const char *otherWords)
{
    auto options = std::make_shared<TurnOptions>();
    parser.add_option("DEGREES", options->degrees, "Angle, with up to two decimals")->required();
    parser.add_flag(otherFlag, options->other, otherWords);
    parser.add_option("--fill", options->color, "Colour of what is uncovered: #rrggbb or index:N (default: black)");
    return options;
}

Step Rotate(CLI::App &parser)
{
    const auto options = AddTurnOptions(parser, "--keep-size", "Cut off what is turned out of the picture");
    return [options](Workpiece &piece) {
        piece.Check(V_RotateBitmapFine(piece.bitmap.get(), options->Hundredths(), options->other ? 0 : 1,
                                       ParseColor(options->color, "--fill")),
                    "cannot be turned");
    };
}

Step Shear(CLI::App &parser)
{
    const auto options = AddTurnOptions(parser, "--vertical", "Move columns instead of rows");
    parser.get_option("DEGREES")->check(CLI::Range(-45.0, 45.0));
    return [options](Workpiece &piece) {
        piece.Check(V_ShearBitmap(piece.bitmap.get(), options->Hundredths(), options->other ? 0 : 1,
                                  ParseColor(options->color, "--fill")),
                    "cannot be sheared");
    };
}

template <int(VEXO_CALL *Change)(BitmapHandle *)>
Step Mirror(CLI::App &)
{
    return [](Workpiece &piece) { piece.Check(Change(piece.bitmap.get()), "cannot be mirrored"); };
}

// ---- Two pictures ---------------------------------------------------------------------------------------------

struct CombineOptions {
    std::string file;
    unsigned operation = CMB_OP_ADD;
    std::string place = "0,0";
};

// Reads a second picture in the format of the one in hand.
Bitmap ReadAlike(const std::string &file, const Bitmap &like)
{
    const std::wstring path = ToWide(file);
    Bitmap bitmap = PictureFile(path).ReadFrame();
    const std::vector<RGBQUAD> colors = like.Colors();
    const unsigned flags =
        colors.empty() ? (like->ColorOrder == COLOR_ORDER_BGR ? COLORRES_ORDER_BGR : 0) : COLORRES_CALLER_PALETTE;
    CheckStatus(V_ColorResBitmap(bitmap.get(), like->BitsPerPixel, flags, colors.data(), int(colors.size())), path,
                "cannot be converted");
    return bitmap;
}

Step Combine(CLI::App &parser)
{
    static const std::map<std::string, unsigned> kOperations = {
        {"and", CMB_OP_AND},
        {"or", CMB_OP_OR},
        {"xor", CMB_OP_XOR},
        {"add", CMB_OP_ADD},
        {"subtract", CMB_OP_SUBTRACT_SRC},
        {"multiply", CMB_OP_MULTIPLY},
        {"average", CMB_OP_AVERAGE},
        {"minimum", CMB_OP_MINIMUM},
        {"maximum", CMB_OP_MAXIMUM},
        {"copy", CMB_DST_ZERO | CMB_OP_OR},
    };
    auto options = std::make_shared<CombineOptions>();
    parser.add_option("FILE", options->file, "The other picture")->required();
    parser.add_option("--how", options->operation, "What is done with each pair of pixels (default: add)")
        ->transform(CLI::CheckedTransformer(kOperations));
    parser.add_option("--at", options->place, "LEFT,TOP of the other picture in this one (default: 0,0)");
    return [options](Workpiece &piece) {
        const std::vector<int> place = ParseNumbers(options->place, "--at", 2);
        BitmapHandle *bitmap = piece.bitmap.get();
        Bitmap other = ReadAlike(options->file, piece.bitmap);
        const int top = bitmap->Orientation == ORIENT_BOTTOM_UP ? bitmap->Height - place[1] - other->Height : place[1];
        piece.Check(
            V_CombineBitmap(bitmap, place[0], top, other->Width, other->Height, other.get(), 0, 0, options->operation),
            "cannot be combined");
    };
}

struct UnderlayOptions {
    std::string file;
    bool stretch = false;
};

Step Underlay(CLI::App &parser)
{
    auto options = std::make_shared<UnderlayOptions>();
    parser.add_option("FILE", options->file, "The picture to lay under what is transparent")->required();
    parser.add_flag("--stretch", options->stretch, "Stretch it instead of tiling");
    return [options](Workpiece &piece) {
        Bitmap ground = PictureFile(ToWide(options->file)).ReadFrame();
        piece.Check(
            V_UnderlayBitmap(piece.bitmap.get(), ground.get(), options->stretch ? UNDERLAY_STRETCH : UNDERLAY_TILE),
            "cannot be given a ground");
    };
}

constexpr Operation kOperations[] = {
    {"resize", "Change the size, taking the nearest pixels", ChangeSize<V_SizeBitmap>},
    {"resample", "Change the size smoothly", ChangeSize<V_ResampleBitmap>},
    {"rotate", "Turn the picture clockwise", Rotate},
    {"shear", "Slant it", Shear},
    {"flip", "Turn it upside down", Mirror<V_FlipBitmap>},
    {"reverse", "Exchange left and right", Mirror<V_ReverseBitmap>},
    {"combine", "Combine it with another picture", Combine},
    {"underlay", "Lay another picture under it", Underlay},
};

} // namespace

std::span<const Operation> GeometryOperations() { return kOperations; }

} // namespace vexo::tools
