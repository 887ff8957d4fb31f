// vexo convert IN OUT: reads a picture into a bitmap of the library, changes its depth and palette there, and writes it
// in the format that OUT ends in.
#include "vexo/commands.h"

#include "common/errors.h"
#include "common/image_file.h"
#include "common/text.h"
#include "vexo/describe.h"
#include "vexo/progress.h"

namespace vexo::tools {
namespace {

struct ConvertOptions {
    std::string input;
    std::string output;
    int depth = 0; // 0: the picture's own
    std::string palette;
    std::string order;
    std::string storage = "memory";
};

// The depth of the result. A palette asked for without a depth means the deepest one that has palettes.
int TargetDepth(const ConvertOptions &options, const Bitmap &bitmap)
{
    if (options.depth)
        return options.depth;
    return !options.palette.empty() && bitmap->BitsPerPixel > 8 ? 8 : bitmap->BitsPerPixel;
}

void CheckOptions(const ConvertOptions &options, int depth)
{
    const std::string thisDepth = std::to_string(depth);
    if (depth > 8 && !options.palette.empty())
        throw CLI::ValidationError("--palette", "is for depths up to 8, not " + thisDepth);
    if (depth <= 8 && !options.order.empty())
        throw CLI::ValidationError("--order", "is for depths of 16 and more, not " + thisDepth);
    if (depth != 1 && options.storage == "compressed")
        throw CLI::ValidationError("--storage compressed", "is for a depth of 1, not " + thisDepth);
}

unsigned ReductionFlags(const ConvertOptions &options, const Bitmap &bitmap, int depth)
{
    if (depth > 8)
        return options.order == "rgb" ? 0 : COLORRES_ORDER_BGR;
    if (options.palette == "gray")
        return COLORRES_GRAY_PALETTE;
    // Without a word about the palette a picture keeps its own where all of it fits.
    const bool keepsOwn = options.palette.empty() && bitmap->BitsPerPixel <= depth;
    return options.palette == "own" || keepsOwn ? COLORRES_OWN_PALETTE : COLORRES_FIXED_PALETTE;
}

void ChangeDepth(const ConvertOptions &options, Bitmap &bitmap, int depth, bool showProgress)
{
    const std::wstring input = ToWide(options.input);
    if (depth == bitmap->BitsPerPixel && options.palette.empty() && options.order != "rgb")
        return;
    if (options.palette == "own" && bitmap->BitsPerPixel > 8)
        throw FileError(input, "has no palette of its own");
    const unsigned flags = ReductionFlags(options, bitmap, depth);
    const ProgressLine progress(options.input, showProgress);
    CheckStatus(V_ColorResBitmap(bitmap.get(), depth, flags | COLORRES_NO_DITHER, nullptr, 0), input,
                "cannot be converted");
    // An index that was transparent says nothing in another palette.
    if (flags != COLORRES_OWN_PALETTE)
        bitmap->Flags &= ~FLAG_TRANSPARENT;
}

// A copy of a 1-bit bitmap in compressed rows.
Bitmap Compress(Bitmap &source, const std::wstring &path)
{
    Bitmap compressed;
    const std::vector<RGBQUAD> colors = source.Colors();
    CheckStatus(V_CreateBitmap(compressed.get(), STORAGE_MEMORY | STORAGE_COMPRESSED, source->Width, source->Height, 1,
                               COLOR_ORDER_BGR, colors.data(), source->Orientation),
                path, "cannot be compressed");
    compressed->XResolution = source->XResolution;
    compressed->YResolution = source->YResolution;
    CheckStatus(V_CopyPlaybackParms(compressed.get(), source.get()), path, "cannot be compressed");
    std::vector<BYTE> line(size_t(source->BytesPerLine));
    Lines from(source), to(compressed);
    for (int y = 0; y < source->Height; ++y)
        if (!from.Get(y, line.data()) || !to.Put(y, line.data()))
            throw FileError(path, "a row could not be compressed");
    return compressed;
}

void RunConvert(const ConvertOptions &options, Session &session)
{
    const std::wstring input = ToWide(options.input);
    const std::wstring output = ToWide(options.output);
    CheckOutputName(output);
    Bitmap bitmap = PictureFile(input).ReadFrame();
    const int depth = TargetDepth(options, bitmap);
    CheckOptions(options, depth);
    ChangeDepth(options, bitmap, depth, !session.quiet);

    std::string report = options.output + ": " + DescribeSize(bitmap) + ", " + DescribePixels(bitmap);
    if (options.storage == "compressed") {
        const unsigned plainBytes = bitmap->Size;
        bitmap = Compress(bitmap, input);
        report += ", compressed rows took " + std::to_string(bitmap->Size) + " bytes instead of " +
                  std::to_string(plainBytes);
    }
    WritePicture(bitmap, output);
    if (!session.quiet)
        PrintOut(report + "\n");
}

} // namespace

void AddConvertCommand(CLI::App &program, Session &session)
{
    CLI::App *command = program.add_subcommand("convert", "Convert a picture to another format, depth or palette");
    auto options = std::make_shared<ConvertOptions>();
    command->add_option("IN", options->input, "Picture to read")->required();
    command->add_option("OUT", options->output, "Picture to write: .png .bmp .tif .gif .jpg")->required();
    command->add_option("--depth", options->depth, "Bits per pixel: 1 to 8, 16, 24 or 32 (default: as in the file)")
        ->check(CLI::IsMember({1, 2, 3, 4, 5, 6, 7, 8, 16, 24, 32}));
    command
        ->add_option("--palette", options->palette,
                     "fixed, own or gray, for up to 8 bits (default: own if it fits, else fixed)")
        ->check(CLI::IsMember({"fixed", "own", "gray"}));
    command->add_option("--order", options->order, "bgr or rgb in memory, for 16 bits and more (default: bgr)")
        ->check(CLI::IsMember({"bgr", "rgb"}));
    command
        ->add_option("--storage", options->storage,
                     "memory, or compressed: a 1-bit picture goes through compressed rows (default: memory)")
        ->check(CLI::IsMember({"memory", "compressed"}));
    command->callback([options, &session] { RunConvert(*options, session); });
}

} // namespace vexo::tools
