// Mountains and a low sun over a lake: ridges of noise that fade into the haze, and a lower part that mirrors the
// upper.
#include "samples/painting.h"
#include "samples/scenes.h"

namespace vexo::tools {
namespace {

constexpr int kWidth = 640, kHeight = 480;
constexpr double kHorizon = 292, kSunX = 448, kSunY = 168;

Color Sky(double x, double y)
{
    const double height = y / kHorizon;
    Color color = Mix({0.16, 0.28, 0.55}, {0.62, 0.62, 0.72}, SmoothStep(0, 0.65, height));
    color = Mix(color, {0.99, 0.74, 0.48}, SmoothStep(0.35, 1, height));

    const double cloud = Cloud(x / 190, y / 46, 6, 40) - 0.08 * height;
    color = Mix(color, Mix({0.98, 0.83, 0.75}, {0.55, 0.47, 0.58}, SmoothStep(0.55, 0.75, cloud)),
                SmoothStep(0.48, 0.72, cloud) * 0.85);

    const double distance = std::hypot(x - kSunX, y - kSunY);
    color = Mix(color, {1, 0.9, 0.66}, 0.7 * std::exp(-distance / 60));
    return Mix({1, 0.97, 0.85}, color, SmoothStep(21, 24, distance));
}

// The colour above the water line, y from the top of the picture.
Color Land(double x, double y)
{
    struct Ridge {
        double top, rise, width;
        Color color;
    };
    static constexpr Ridge ridges[] = {
        {186, 96, 150, {0.62, 0.58, 0.70}},
        {214, 92, 105, {0.46, 0.45, 0.60}},
        {240, 74, 80, {0.30, 0.33, 0.46}},
        {268, 44, 46, {0.15, 0.22, 0.26}},
    };
    Color color = Sky(x, y);
    for (unsigned i = 0; i < std::size(ridges); ++i) {
        const Ridge &ridge = ridges[i];
        const double crest = ridge.top + ridge.rise * (0.5 - Cloud(x / ridge.width, i * 7.3, 6, 90 + i)) * 2;
        if (y < crest)
            continue;
        const double rock = Cloud(x / 14, y / 9, 4, 140 + i) - 0.5;
        Color slope = Scale(ridge.color, 1 + rock * 0.45);
        if (i == 0) // snow on the farthest ridge
            slope = Mix({0.95, 0.90, 0.92}, slope, SmoothStep(0, 30, y - crest + rock * 40));
        color = Mix(slope, {0.88, 0.72, 0.62}, 0.45 * SmoothStep(crest, kHorizon + 20, y) * (1 - i * 0.22));
    }
    return color;
}

Color Water(double x, double y)
{
    const double depth = y - kHorizon;
    const double wave = Cloud(x / (10 + depth / 3), depth * depth / 900 + depth / 5, 4, 200) - 0.5;
    const double mirrored = kHorizon - depth * 1.25 + wave * (4 + depth / 4);
    Color color = Scale(Land(x + wave * 12, std::clamp(mirrored, 0.0, kHorizon)), 0.82);
    color = Mix(color, {0.07, 0.16, 0.26}, 0.15 + 0.45 * depth / (kHeight - kHorizon));
    const double glitter = std::exp(-std::abs(x - kSunX) / (12 + depth / 3)) * SmoothStep(0.02, 0.16, wave);
    return Mix(color, {1, 0.9, 0.7}, glitter);
}

} // namespace

Bitmap PaintLake()
{
    Bitmap bitmap = NewBitmap(kWidth, kHeight, 24, 96);
    PaintLines(bitmap, [](int y, BYTE *line) {
        for (int x = 0; x < kWidth; ++x) {
            const double grain = (Random(x, y, 9) - 0.5) * 0.02;
            const Color color = y < kHorizon ? Land(x, y) : Water(x, y);
            line[x * 3 + 0] = ToByte(color.blue + grain);
            line[x * 3 + 1] = ToByte(color.green + grain);
            line[x * 3 + 2] = ToByte(color.red + grain);
        }
    });
    return bitmap;
}

} // namespace vexo::tools
