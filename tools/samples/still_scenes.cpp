// The single pictures other than the lake, one for each kind of pixels.
#include "samples/scenes.h"

#include "bench/images.hpp"
#include "samples/painting.h"

namespace vexo::tools {
namespace {

// ---- Moon -----------------------------------------------------------------------------------------------------

struct Crater {
    double x, y, radius;
};

// Height of the moon's surface at a point of its disc (-1 to 1).
double SurfaceHeight(double x, double y, const std::vector<Crater> &craters)
{
    double height = Cloud(x * 6 + 20, y * 6 + 20, 6, 300) * 0.05;
    for (const Crater &crater : craters) {
        const double d = std::hypot(x - crater.x, y - crater.y) / crater.radius;
        if (d < 1.6)
            height += crater.radius * (0.30 * std::exp(-(d - 1) * (d - 1) * 18) - 0.35 * (1 - SmoothStep(0.5, 1, d)));
    }
    return height;
}

// The light a point of the disc throws back, with the slope of the ground there.
double MoonLight(double x, double y, double slopeX, double slopeY)
{
    const double z = std::sqrt(std::max(0.0, 1 - x * x - y * y));
    const double normal[] = {x - slopeX, y - slopeY, z + 0.15};
    const double length = std::hypot(normal[0], normal[1], normal[2]);
    const double light = (-0.66 * normal[0] - 0.42 * normal[1] + 0.62 * normal[2]) / length;
    const double sea = SmoothStep(0.48, 0.6, Cloud(x * 1.7 + 5, y * 1.7 + 8, 4, 340));
    return std::max(0.0, light) * (0.95 - 0.42 * sea);
}

// ---- Mosaic ---------------------------------------------------------------------------------------------------

constexpr int kMosaicCell = 40;

// The nearest cell of jittered points, and how much farther the second nearest is.
struct Cell {
    int column, row;
    double margin;
};

Cell NearestCell(int x, int y)
{
    Cell best = {0, 0, 0};
    double first = 1e9, second = 1e9;
    for (int row = y / kMosaicCell - 1; row <= y / kMosaicCell + 1; ++row)
        for (int column = x / kMosaicCell - 1; column <= x / kMosaicCell + 1; ++column) {
            const double px = (column + 0.15 + 0.7 * Random(column, row, 501)) * kMosaicCell;
            const double py = (row + 0.15 + 0.7 * Random(column, row, 502)) * kMosaicCell;
            const double distance = std::hypot(x - px, y - py);
            if (distance < first) {
                second = first;
                first = distance;
                best = {column, row, 0};
            } else {
                second = std::min(second, distance);
            }
        }
    best.margin = second - first;
    return best;
}

// A flower of bright colours on a ground of dark ones, by the cell's place.
int MosaicColor(const Cell &cell, double centreX, double centreY)
{
    static constexpr int petals[] = {9, 13, 11, 9}, heart[] = {11, 15}, leaves[] = {2, 10, 2, 6},
                         ground[] = {4, 12, 4, 6, 14, 5};
    const double dx = (cell.column + 0.5) * kMosaicCell - centreX, dy = (cell.row + 0.5) * kMosaicCell - centreY;
    const double radius = std::hypot(dx, dy);
    const double petalEdge = 130 + 45 * std::cos(std::atan2(dy, dx) * 5);
    const double pick = Random(cell.column, cell.row, 503);
    if (radius < 48)
        return heart[int(pick * std::size(heart))];
    if (radius < petalEdge)
        return petals[int(pick * std::size(petals))];
    return dy > 60 && std::abs(dx) < 90 + dy / 2 ? leaves[int(pick * std::size(leaves))]
                                                 : ground[int(pick * std::size(ground))];
}

} // namespace

Bitmap PaintStillLife()
{
    constexpr int kSize = 512;
    std::vector<BYTE> pixels(size_t(kSize) * kSize * 3);
    testimg::photo24(pixels.data(), kSize * 3, kSize);
    Bitmap bitmap = NewBitmap(kSize, kSize, 24, 96);
    PaintLines(bitmap, [&](int y, BYTE *line) { std::copy_n(&pixels[size_t(y) * kSize * 3], kSize * 3, line); });
    return bitmap;
}

Bitmap PaintMoon()
{
    constexpr int kSize = 480;
    constexpr double kRadius = 205;
    std::vector<Crater> craters;
    for (int i = 0; i < 90; ++i)
        craters.push_back(
            {Random(i, 1, 310) * 2 - 1, Random(i, 2, 310) * 2 - 1, 0.015 + 0.13 * std::pow(Random(i, 3, 310), 5)});
    std::vector<double> heights(kSize * kSize);
    for (int i = 0; i < kSize * kSize; ++i)
        heights[size_t(i)] =
            SurfaceHeight((i % kSize - kSize / 2) / kRadius, (i / kSize - kSize / 2) / kRadius, craters);

    Bitmap bitmap = NewBitmap(kSize, kSize, 8, 96, GrayColors(8).data());
    PaintLines(bitmap, [&](int y, BYTE *line) {
        for (int x = 0; x < kSize; ++x) {
            const double u = (x - kSize / 2) / kRadius, v = (y - kSize / 2) / kRadius;
            const double radius = std::hypot(u, v);
            const double brightness = Random(x, y, 320);
            const double sky = 0.03 + (brightness > 0.9985 ? (brightness - 0.9985) * 600 : 0);
            double moon = 0;
            if (radius < 1.01) { // well inside the picture, so that all four neighbours exist
                const double *height = &heights[size_t(y * kSize + x)];
                moon = MoonLight(u, v, (height[1] - height[-1]) * kRadius / 2,
                                 (height[kSize] - height[-kSize]) * kRadius / 2);
            }
            line[x] = ToByte(std::lerp(moon, sky, SmoothStep(0.995, 1.005, radius)));
        }
    });
    return bitmap;
}

Bitmap PaintMosaic()
{
    constexpr int kWidth = 560, kHeight = 480;
    Bitmap bitmap = NewBitmap(kWidth, kHeight, 4, 96);
    PaintLines(bitmap, [](int y, BYTE *line) {
        for (int x = 0; x < kWidth; ++x) {
            const Cell cell = NearestCell(x, y);
            const int index = cell.margin < 3 ? 0 : MosaicColor(cell, kWidth / 2, kHeight * 0.4);
            line[x / 2] |= BYTE(x % 2 ? index : index << 4);
        }
    });
    return bitmap;
}

Bitmap PaintGlass()
{
    constexpr int kSize = 480;
    constexpr int kDiscs = 7;
    Bitmap bitmap = NewBitmap(kSize, kSize, 32, 96);
    PaintLines(bitmap, [](int y, BYTE *line) {
        for (int x = 0; x < kSize; ++x) {
            Color color = {0, 0, 0};
            double opacity = 0;
            for (int i = 0; i < kDiscs; ++i) {
                const double angle = i * 6.283185307 / kDiscs;
                const double dx = x - kSize / 2 - 118 * std::cos(angle), dy = y - kSize / 2 - 118 * std::sin(angle);
                const double radius = std::hypot(dx, dy) / 105;
                const Color tint = {0.55 + 0.45 * std::cos(angle), 0.55 + 0.45 * std::cos(angle - 2.1),
                                    0.55 + 0.45 * std::cos(angle + 2.1)};
                const double shine = std::exp(-((dx + 38) * (dx + 38) + (dy + 42) * (dy + 42)) / 700);
                const double cover = (1 - SmoothStep(0.97, 1, radius)) * (0.35 + 0.35 * radius * radius + 0.3 * shine);
                const double total = cover + opacity * (1 - cover);
                if (total > 0)
                    color = Mix(color, Mix(tint, {1, 1, 1}, shine), cover / total);
                opacity = total;
            }
            line[x * 4 + 0] = ToByte(color.blue);
            line[x * 4 + 1] = ToByte(color.green);
            line[x * 4 + 2] = ToByte(color.red);
            line[x * 4 + 3] = ToByte(opacity);
        }
    });
    return bitmap;
}

} // namespace vexo::tools
