// Puts a bitmap into words. The kind of palette is what the library says it is.
#include "vexo/describe.h"

namespace vexo::tools {
namespace {

std::string DescribePalette(const Bitmap &bitmap)
{
    const std::string count = std::to_string(bitmap->ColorCount);
    if (bitmap->BitsPerPixel == 1 && V_IsGrayScaleBitmap(bitmap.get()) == GRAYSCALE_BLACK_FIRST)
        return "black and white";
    if (V_GetPaletteSize(bitmap->Palette) == 0)
        return "no palette";
    switch (V_IsGrayScaleBitmap(bitmap.get())) {
    case GRAYSCALE_BLACK_FIRST: return count + " grays from black";
    case GRAYSCALE_WHITE_FIRST: return count + " grays from white";
    case GRAYSCALE_UNORDERED: return count + " grays in no order";
    }
    const RGBQUAD *fixed = V_IntGetFixedPalette(bitmap->BitsPerPixel);
    return (V_CompareHandleToPalette(bitmap->Palette, fixed, bitmap->ColorCount) ? "fixed palette of "
                                                                                 : "palette of ") +
           count + " colours";
}

} // namespace

std::string DescribePixels(const Bitmap &bitmap)
{
    const std::string bits = std::to_string(bitmap->BitsPerPixel) + (bitmap->BitsPerPixel == 1 ? " bit, " : " bits, ");
    if (bitmap->BitsPerPixel <= 8)
        return bits + DescribePalette(bitmap);
    return bits + (bitmap->ColorOrder == COLOR_ORDER_BGR ? "blue first" : "red first");
}

std::string DescribeSize(const Bitmap &bitmap)
{
    return std::to_string(bitmap->Width) + " x " + std::to_string(bitmap->Height);
}

} // namespace vexo::tools
