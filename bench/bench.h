// What the rows of the benchmark share: the pictures, the clock, and the list each file of rows adds itself to.
#ifndef VEXO_BENCH_BENCH_H
#define VEXO_BENCH_BENCH_H

#include "vexokit.h"

#include "bench/images.hpp"

#include <cstring>
#include <functional>
#include <span>
#include <vector>

namespace vexo::bench {

using testimg::PageHeight;
using testimg::PageWidth;
using testimg::PhotoSize;
using Bytes = std::vector<uint8_t>;

inline constexpr size_t kPhotoStride = size_t(PhotoSize) * 3;
inline constexpr size_t kPageStride = (PageWidth + 31) / 32 * 4;
inline constexpr double kPhotoPixels = double(PhotoSize) * PhotoSize;
inline constexpr double kPagePixels = double(PageWidth) * PageHeight;

// The pictures of the workloads, as bytes.
const Bytes &Photo24();
Bytes Gray8();
std::vector<RGBQUAD> Palette256();
Bytes Photo32();
Bytes Photo555();
Bytes Page1();

// A bitmap in memory, with the rows given or empty, that is freed with its scope.
struct Picture : BitmapHandle {
    Picture() : BitmapHandle{} {}
    Picture(int width, int height, int bits, const Bytes &rows = {}) : Picture() { Make(width, height, bits, rows); }
    ~Picture() { V_FreeBitmap(this); }
    Picture(const Picture &) = delete;
    Picture &operator=(const Picture &) = delete;

    // Frees the bitmap and makes another.
    void Make(int width, int height, int bits, const Bytes &rows = {});
    uint64_t Hash() const { return testimg::hash(static_cast<const uint8_t *>(Data), Size); }
};

// Measures `work` and prints its row; `sum` gives the checksum of its result afterwards.
void Report(const char *workload, double pixels, const std::function<void()> &work,
            const std::function<uint64_t()> &sum);

// The same for work that uses up its input, which `prepare` makes afresh before every repeat outside the clock.
void Report(const char *workload, double pixels, const std::function<void()> &prepare,
            const std::function<void()> &work, const std::function<uint64_t()> &sum);

// The median time of a run of `work`, each after an unmeasured `prepare`.
double MedianSeconds(const std::function<void()> &prepare, const std::function<void()> &work);

struct Workload {
    const char *name;
    void (*measure)();
};

// One list per file of rows.
std::span<const Workload> ConversionRows();
std::span<const Workload> AnimationRows();
std::span<const Workload> CompressionRows();
std::span<const Workload> DitherRows();
std::span<const Workload> CopyRows();
std::span<const Workload> TurnRows();
std::span<const Workload> RegionRows();
std::span<const Workload> SizeRows();
std::span<const Workload> ColourRows();
std::span<const Workload> PaintRows();

} // namespace vexo::bench

#endif
