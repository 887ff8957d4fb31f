// draw-text, an example of GDI at work on a bitmap's own pixels.
#include "vexo/operations.h"

#include "common/text.h"
#include "common/text_dc.h"
#include "vexo/values.h"

namespace vexo::tools {

namespace {

struct TextOptions {
    std::string text, place = "0,0", color = "#000000", font = "Arial";
    int size = 24;
};

void Draw(Workpiece &piece, const TextOptions &options)
{
    const std::vector<int> place = ParseNumbers(options.place, "--at", 2);
    const COLORREF color = ParseRgb(options.color, "--colour");
    TextDc dc(piece.bitmap, ToWide(options.font).c_str(), options.size, true, piece.path);
    if (!dc.Write(place[0], place[1], ToWide(options.text), color))
        throw FileError(piece.path, "cannot be written on");
}

Step DrawText(CLI::App &parser)
{
    auto options = std::make_shared<TextOptions>();
    parser.add_option("TEXT", options->text, "What to write")->required();
    parser.add_option("--at", options->place, "LEFT,TOP of the text (default: 0,0)");
    parser.add_option("--size", options->size, "Height of its letters in pixels (default: 24)")
        ->check(CLI::Range(1, 10000));
    parser.add_option("--colour,--color", options->color, "#rrggbb (default: black)");
    parser.add_option("--font", options->font, "Name of a font (default: Arial)");
    return [options](Workpiece &piece) { Draw(piece, *options); };
}

constexpr Operation kOperations[] = {
    {"draw-text", "Write text into the region, or anywhere", DrawText},
};

} // namespace

std::span<const Operation> TextOperations() { return kOperations; }

} // namespace vexo::tools
