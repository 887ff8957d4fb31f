// gray, halftone, dither.
#include "vexo/operations.h"

#include "common/contact_sheet.h"
#include "common/image_file.h"
#include "common/text.h"

#include <map>

namespace vexo::tools {

namespace {

Step Gray(CLI::App &)
{
    return [](Workpiece &piece) { piece.Check(V_GrayScaleBitmap(piece.bitmap.get()), "cannot be made gray"); };
}

Step Halftone(CLI::App &parser)
{
    auto isClustered = std::make_shared<bool>(false);
    parser.add_flag("--clustered", *isClustered, "Clustered dots instead of dispersed ones");
    return [isClustered](Workpiece &piece) {
        piece.Check(V_HalfToneBitmap(piece.bitmap.get(), *isClustered ? HALFTONE_CLUSTERED : HALFTONE_DISPERSED),
                    "cannot be made a halftone");
    };
}

// ---- Dithering ------------------------------------------------------------------------------------------------

constexpr const char *kMethods[] = {
    "none", "floyd-steinberg", "stucki", "burkes", "sierra", "stevenson-arce", "jarvis", "dispersed", "clustered",
};

struct DitherOptions {
    int method = DITHER_FLOYD_STEINBERG;
    int depth = 1;
    std::string palette = "fixed";
    bool all = false;
};

struct Palette {
    unsigned flag;
    std::vector<RGBQUAD> colors; // of a file
};

// The palette of an option's value: one of the three made here, or that of a picture file.
Palette FindPalette(const DitherOptions &options)
{
    if (options.palette == "fixed")
        return {COLORRES_FIXED_PALETTE, {}};
    if (options.palette == "gray")
        return {COLORRES_GRAY_PALETTE, {}};
    if (options.palette == "optimized")
        return {COLORRES_OPTIMIZED_PALETTE, {}};
    std::vector<RGBQUAD> colors = PictureFile(ToWide(options.palette)).ReadFrame().Colors();
    if (colors.empty())
        throw CLI::ValidationError("--palette", options.palette + " has no palette");
    colors.resize(std::min(colors.size(), size_t(1) << options.depth));
    return {COLORRES_CALLER_PALETTE, colors};
}

void Reduce(Workpiece &piece, Bitmap &bitmap, const DitherOptions &options, const Palette &palette)
{
    bitmap->DitherMode = options.method;
    const unsigned flags = palette.flag | (options.method == DITHER_NONE ? COLORRES_NO_DITHER : 0);
    piece.Check(V_ColorResBitmap(bitmap.get(), options.depth, flags, palette.colors.data(), int(palette.colors.size())),
                "cannot be dithered");
    bitmap->Flags &= ~FLAG_TRANSPARENT; // an index that was transparent says nothing in another palette
}

// Every method on a sheet.
void DitherAll(Workpiece &piece, DitherOptions options, const Palette &palette)
{
    ContactSheet sheet;
    Bitmap small = Thumbnail(piece.bitmap, 320, piece.path);
    for (options.method = 0; options.method < int(std::size(kMethods)); ++options.method) {
        Bitmap dithered = CopyOf(small, piece.path);
        Reduce(piece, dithered, options, palette);
        sheet.Add(std::move(dithered), ToWide(kMethods[options.method]));
    }
    piece.bitmap = sheet.Make(3, piece.path);
}

Step Dither(CLI::App &parser)
{
    auto options = std::make_shared<DitherOptions>();
    std::map<std::string, int> methods;
    for (int i = 0; i < int(std::size(kMethods)); ++i)
        methods[kMethods[i]] = i;
    parser.add_option("--method", options->method, "How errors or dots are spread (default: floyd-steinberg)")
        ->transform(CLI::CheckedTransformer(methods));
    parser.add_option("--depth", options->depth, "Bits per pixel, 1 to 8 (default: 1)")->check(CLI::Range(1, 8));
    parser.add_option("--palette", options->palette,
                      "fixed, gray, optimized, or a picture whose palette to take (default: fixed)");
    parser.add_flag("--all", options->all, "All methods on one sheet");
    return [options](Workpiece &piece) {
        const Palette palette = FindPalette(*options);
        if (options->all)
            DitherAll(piece, *options, palette);
        else
            Reduce(piece, piece.bitmap, *options, palette);
    };
}

constexpr Operation kOperations[] = {
    {"gray", "Make the picture gray", Gray},
    {"halftone", "Make it black and white dots", Halftone},
    {"dither", "Reduce it to few colours by one of nine methods", Dither},
};

} // namespace

std::span<const Operation> ColourOperations() { return kOperations; }

} // namespace vexo::tools
