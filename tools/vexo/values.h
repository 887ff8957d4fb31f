// Values on the command line that more than one operation takes.
#ifndef VEXO_TOOLS_VALUES_H
#define VEXO_TOOLS_VALUES_H

#include "common/bitmap.h"

#include <string>
#include <vector>

namespace vexo::tools {

// "#rrggbb", or "index:5" for a palette entry. Throws CLI::ValidationError naming the option.
COLORREF ParseColor(const std::string &text, const char *option);
// "#rrggbb" only.
COLORREF ParseRgb(const std::string &text, const char *option);

// Whole numbers separated by commas: any number of them, or `count`.
std::vector<int> ParseNumbers(const std::string &text, const char *option, size_t count = 0);

// Combines a shape with the bitmap's region: [MODE:]SHAPE:VALUES, coordinates from the top left of the picture.
//
//   rect:LEFT,TOP,RIGHT,BOTTOM     ellipse:LEFT,TOP,RIGHT,BOTTOM     roundrect:LEFT,TOP,RIGHT,BOTTOM,WIDTH,HEIGHT
//   polygon:X,Y,X,Y,X,Y...         colour:#rrggbb                    colour:index:5
//
// MODE is replace (the default), union, intersect, minus, xor, not or reverse-minus.
void AddShape(Bitmap &bitmap, const std::string &shape);

} // namespace vexo::tools

#endif
