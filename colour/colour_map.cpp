// Maps between palettes, which reduce the conversion of indices to one lookup a pixel.
#include "colour/colour.h"
#include "colour/nearest_colour.h"
#include "colour/pixel_kernels.h"

#include <cstring>

namespace vexo {

bool BuildColorMap(const RGBQUAD *source, int sourceCount, const RGBQUAD *destination, int destinationCount,
                   uint8_t *map)
{
    if (!source && !destination)
        return true;
    RGBQUAD grays[256];
    if (!source)
        V_GetFixedPalette(grays, 0);
    const RGBQUAD *colors = source ? source : grays;
    const int count = source ? sourceCount : 256;
    const uint8_t *quads = reinterpret_cast<const uint8_t *>(colors);
    // All four bytes must agree; then equal entries keep their own numbers.
    if (source && destination && destinationCount >= count && memcmp(source, destination, size_t(count) * 4) == 0) {
        for (int i = 0; i < count; ++i)
            map[i] = uint8_t(i);
        return true;
    }
    if (destination)
        PaletteSearch(destination, destinationCount).FindAll(map, quads, size_t(count));
    else
        pixelKernels.luminance(map, quads, size_t(count));
    for (int i = 0; i < count; ++i)
        if (map[i] != i)
            return false;
    return true;
}

} // namespace vexo
