// The pictures of the sample set, painted by formulas so that the project needs no picture files of its own.
#ifndef VEXO_TOOLS_SCENES_H
#define VEXO_TOOLS_SCENES_H

#include "common/bitmap.h"

#include <vector>

namespace vexo::tools {

Bitmap PaintLake();               // 24 bits: mountains and a low sun over water
Bitmap PaintStillLife();          // 24 bits: the benchmark's photo-like scene
Bitmap PaintMoon();               // 8-bit gray: a cratered moon
Bitmap PaintPage();               // 1 bit: a scanned page of text with a halftone picture, A4 at 150 dpi
Bitmap PaintMosaic();             // 4 bits, the 16 Windows colours: stained glass
Bitmap PaintGlass();              // 32 bits: translucent discs, the fourth byte is the opacity
std::vector<Bitmap> PaintOrbit(); // 8 bits: a planet on its orbit, small transparent frames over a first large one

} // namespace vexo::tools

#endif
