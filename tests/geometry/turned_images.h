// Images mirrored and turned pixel by pixel, for tests of the operations that do so.
#ifndef VEXO_TESTS_GEOMETRY_TURNED_IMAGES_H
#define VEXO_TESTS_GEOMETRY_TURNED_IMAGES_H

#include "tests/support/bitmaps.h"

#include <utility>

namespace vexo::test {

inline Image Transposed(const Image &image)
{
    Image result(image.height, image.width, image.bits);
    for (int row = 0; row < image.height; ++row)
        for (int x = 0; x < image.width; ++x)
            result.At(x, row) = image.At(row, x);
    return result;
}

inline Image Flipped(Image image)
{
    for (int row = 0; row < image.height / 2; ++row)
        for (int x = 0; x < image.width; ++x)
            std::swap(image.At(row, x), image.At(image.height - 1 - row, x));
    return image;
}

inline Image Reversed(const Image &image) { return Transposed(Flipped(Transposed(image))); }

// From stored rows to the lines of the picture, or back.
inline Image Oriented(const Image &image, int orientation)
{
    return orientation == ORIENT_BOTTOM_UP ? Flipped(image) : image;
}

// A quarter turn clockwise of a picture whose first row is its top line.
inline Image Turned(const Image &image) { return Transposed(Flipped(image)); }

} // namespace vexo::test

#endif
