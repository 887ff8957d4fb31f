// Rows of mirroring, turning and combining.
#include "bench/bench.h"

namespace vexo::bench {

namespace {

// Operations on a bitmap in place, repeated on their own result.
template <class Work>
void MeasurePhoto(const char *workload, Work &&work)
{
    Picture photo(PhotoSize, PhotoSize, 24, Photo24());
    Report(
        workload, kPhotoPixels, [&] { work(&photo); }, [&] { return photo.Hash(); });
}

template <class Work>
void MeasurePage(const char *workload, Work &&work)
{
    Picture page(PageWidth, PageHeight, 1, Page1());
    Report(
        workload, kPagePixels, [&] { work(&page); }, [&] { return page.Hash(); });
}

// Operations that replace the storage, each time on the picture itself.
template <class Work>
void MeasureFresh(const char *workload, double pixels, const Bytes &bytes, int width, int height, int bits, Work &&work)
{
    Picture picture;
    Report(
        workload, pixels, [&] { picture.Make(width, height, bits, bytes); }, [&] { work(&picture); },
        [&] { return picture.Hash(); });
}

void MeasureRotate15()
{
    constexpr double kResultPixels = 5017.0 * 5017.0;
    MeasureFresh("rotate15_24", kResultPixels, Photo24(), PhotoSize, PhotoSize, 24,
                 [](BitmapHandle *bitmap) { V_RotateBitmap(bitmap, 15, 1); });
}

// The photo, or its gray form, with the same turned by a half turn.
void MeasureCombine(const char *workload, const Bytes &bytes, int bits, unsigned flags)
{
    Picture destination(PhotoSize, PhotoSize, bits, bytes), source(PhotoSize, PhotoSize, bits, bytes);
    V_FlipBitmap(&source);
    V_ReverseBitmap(&source);
    Report(
        workload, kPhotoPixels,
        [&] { V_CombineBitmap(&destination, 0, 0, PhotoSize, PhotoSize, &source, 0, 0, flags); },
        [&] { return destination.Hash(); });
}

constexpr Workload kRows[] = {
    {"flip24", [] { MeasurePhoto("flip24", V_FlipBitmap); }},
    {"reverse24", [] { MeasurePhoto("reverse24", V_ReverseBitmap); }},
    {"reverse1", [] { MeasurePage("reverse1", V_ReverseBitmap); }},
    {"rotate90_24", [] { MeasurePhoto("rotate90_24", [](BitmapHandle *bitmap) { V_RotateBitmap(bitmap, 90, 1); }); }},
    {"rotate90_1",
     [] {
         MeasureFresh("rotate90_1", kPagePixels, Page1(), PageWidth, PageHeight, 1,
                      [](BitmapHandle *bitmap) { V_RotateBitmap(bitmap, 90, 1); });
     }},
    {"rotate180_24",
     [] { MeasurePhoto("rotate180_24", [](BitmapHandle *bitmap) { V_RotateBitmap(bitmap, 180, 1); }); }},
    {"rotate15_24", MeasureRotate15},
    {"combine_add_24", [] { MeasureCombine("combine_add_24", Photo24(), 24, CMB_OP_ADD); }},
    {"combine_multiply_24", [] { MeasureCombine("combine_multiply_24", Photo24(), 24, CMB_OP_MULTIPLY); }},
    {"combine_and_24", [] { MeasureCombine("combine_and_24", Photo24(), 24, CMB_OP_AND); }},
    {"combine_average_8", [] { MeasureCombine("combine_average_8", Gray8(), 8, CMB_OP_AVERAGE); }},
};

} // namespace

std::span<const Workload> TurnRows() { return kRows; }

} // namespace vexo::bench
