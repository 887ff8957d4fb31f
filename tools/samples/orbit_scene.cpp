// A planet that circles its sun: the first frame is the whole canvas, the others hold the planet alone, in its place
// and transparent around it, and give way to what was there before.
#include "samples/painting.h"
#include "samples/scenes.h"

namespace vexo::tools {
namespace {

constexpr int kWidth = 320, kHeight = 240, kFrames = 12, kPlanetSize = 44;
constexpr BYTE kTransparent = 255;

// Sky 0 to 63, sun 64 to 159, planet 160 to 254.
std::vector<RGBQUAD> OrbitColors()
{
    std::vector<RGBQUAD> colors(256);
    const auto ramp = [&](int first, int count, Color dark, Color middle, Color bright) {
        for (int i = 0; i < count; ++i) {
            const double t = 2.0 * i / (count - 1);
            const Color color = t < 1 ? Mix(dark, middle, t) : Mix(middle, bright, t - 1);
            colors[size_t(first + i)] = {ToByte(color.blue), ToByte(color.green), ToByte(color.red), 0};
        }
    };
    ramp(0, 64, {0.02, 0.02, 0.07}, {0.14, 0.10, 0.30}, {0.95, 0.95, 1});
    ramp(64, 96, {0.14, 0.08, 0.16}, {0.95, 0.45, 0.08}, {1, 0.98, 0.8});
    ramp(160, 95, {0.02, 0.06, 0.10}, {0.10, 0.48, 0.62}, {0.92, 1, 0.96});
    return colors;
}

BYTE SkyIndex(int x, int y)
{
    const double distance = std::hypot(x - kWidth / 2, y - kHeight / 2);
    if (distance < 90) {
        const double boil = Cloud(x / 9.0, y / 9.0, 4, 700) * 0.25;
        const double heat = distance < 34 ? 0.75 + boil - distance / 140 : 0.62 * std::exp(-(distance - 34) / 17);
        if (heat > 0.02 + 0.2 * Random(x, y, 715)) // the rim of the glow is scattered into the sky
            return BYTE(64 + std::clamp(int(heat * 95), 0, 95));
    }
    const double star = Random(x, y, 710);
    if (star > 0.996)
        return BYTE(30 + int((star - 0.996) / 0.004 * 33));
    return BYTE(Cloud(x / 70.0, y / 50.0, 5, 720) * 34);
}

BYTE PlanetIndex(int x, int y, double angle)
{
    const double centre = (kPlanetSize - 1) / 2.0;
    const double u = (x - centre) / centre, v = (y - centre) / centre;
    if (u * u + v * v > 1)
        return kTransparent;
    const double z = std::sqrt(1 - u * u - v * v);
    const double light = -u * std::cos(angle) - v * 0.4 * std::sin(angle) + z * 0.35; // from the sun
    const double bands = Cloud(u * 1.5 + angle, v * 7, 3, 730);
    return BYTE(
        160 + std::clamp(int((0.08 + 0.75 * std::max(0.0, light) + 0.25 * bands * std::max(0.2, light)) * 94), 0, 94));
}

} // namespace

std::vector<Bitmap> PaintOrbit()
{
    const std::vector<RGBQUAD> colors = OrbitColors();
    std::vector<Bitmap> frames;
    frames.push_back(NewBitmap(kWidth, kHeight, 8, 96, colors.data()));
    PaintLines(frames.back(), [](int y, BYTE *line) {
        for (int x = 0; x < kWidth; ++x)
            line[x] = SkyIndex(x, y);
    });
    frames.back()->AnimDelay = 20; // the shortest that browsers honour; the planet is missing meanwhile
    frames.back()->AnimDisposal = 1;
    for (int i = 0; i < kFrames; ++i) {
        const double angle = i * 6.283185307 / kFrames;
        Bitmap frame = NewBitmap(kPlanetSize, kPlanetSize, 8, 96, colors.data());
        PaintLines(frame, [angle](int y, BYTE *line) {
            for (int x = 0; x < kPlanetSize; ++x)
                line[x] = PlanetIndex(x, y, angle);
        });
        frame->AnimLeft = int(std::lround((kWidth - kPlanetSize) / 2 + 125 * std::cos(angle)));
        frame->AnimTop = int(std::lround((kHeight - kPlanetSize) / 2 + 82 * std::sin(angle)));
        frame->AnimDelay = 120;
        frame->AnimDisposal = 3;
        frame->AnimTransparent = COLOR_INDEX(kTransparent);
        frame->Flags |= FLAG_TRANSPARENT;
        frames.push_back(std::move(frame));
    }
    return frames;
}

} // namespace vexo::tools
