// A bitmap in words, as the commands print it.
#ifndef VEXO_TOOLS_DESCRIBE_H
#define VEXO_TOOLS_DESCRIBE_H

#include "common/bitmap.h"

#include <string>

namespace vexo::tools {

// "8 bits, fixed palette of 256 colours" or "24 bits, blue first"
std::string DescribePixels(const Bitmap &bitmap);

// "640 x 480"
std::string DescribeSize(const Bitmap &bitmap);

} // namespace vexo::tools

#endif
