// Error diffusion: the scans in their plain form, and what they leave behind. A scan puts a row's errors in a row of
// their own, from which the sums for the rows below are made many columns at a time.
#include "colour/dither_scan.h"
#include "colour/pixel_kernels.h"
#include "core/vectors.h"

#include <utility>

namespace vexo {

namespace {

// ---- Scans ----------------------------------------------------------------------------------------------------

template <int Method>
void ScanPlain(const DiffusionBlock &block, const DitherTarget &target)
{
    if (target.paletteClass == kClassTwoGrays)
        Scan<Method>(block, GrayChoice<1>(target));
    else
        ScanColors<Method>(block, target);
}

// By method, from Floyd-Steinberg on.
constexpr void (*kScans[])(const DiffusionBlock &, const DitherTarget &) = {ScanPlain<1>, ScanPlain<2>, ScanPlain<3>,
                                                                            ScanPlain<4>, ScanPlain<5>, ScanPlain<6>};

// ---- Errors to the rows below -----------------------------------------------------------------------------------

// Adds to the sums of eight words what reaches them from the pixels Distance before and after their columns, or from
// those above.
template <int Method, int Row, int Distance>
__m128i PlusReached(__m128i sums, const int16_t *errors)
{
    constexpr int before = FilterOf(Method).below[Row][kErrorMargin + Distance];
    constexpr int after = FilterOf(Method).below[Row][kErrorMargin - Distance];
    if constexpr (before == 0 && after == 0)
        return sums;
    else if constexpr (Distance == 0)
        return _mm_add_epi16(sums, Times<before>(Load128(errors)));
    else if constexpr (before == after)
        return _mm_add_epi16(
            sums, Times<before>(_mm_add_epi16(Load128(errors - 4 * Distance), Load128(errors + 4 * Distance))));
    else
        return _mm_add_epi16(_mm_add_epi16(sums, Times<before>(Load128(errors - 4 * Distance))),
                             Times<after>(Load128(errors + 4 * Distance)));
}

// The same for four words of 32 bits.
template <int Method, int Row, int Distance>
__m128i PlusReachedWide(__m128i sums, const int16_t *errors)
{
    constexpr int before = FilterOf(Method).below[Row][kErrorMargin + Distance];
    constexpr int after = Distance == 0 ? 0 : FilterOf(Method).below[Row][kErrorMargin - Distance];
    if constexpr (before == 0 && after == 0)
        return sums;
    const __m128i pairs = _mm_unpacklo_epi16(Load64(errors - 4 * Distance), Load64(errors + 4 * Distance));
    return _mm_add_epi32(sums, _mm_madd_epi16(pairs, _mm_set1_epi32(before | after << 16)));
}

// The sums of one row below: those of the row after it, if any, and the errors' shares.
template <int Method, int Row>
void SpreadRow(int16_t *sums, const int16_t *below, const int16_t *errors, size_t count)
{
    static_assert(FilterOf(Method).below[Row][0] == 0 && FilterOf(Method).below[Row][6] == 0);
    const auto spread = [&](__m128i sum, size_t i) {
        sum = PlusReached<Method, Row, 0>(sum, errors + i);
        sum = PlusReached<Method, Row, 1>(sum, errors + i);
        return PlusReached<Method, Row, 2>(sum, errors + i);
    };
    size_t i = 0;
    for (; i + 8 <= count; i += 8)
        Store128(sums + i, spread(below ? Load128(below + i) : _mm_setzero_si128(), i));
    if (i < count) {
        constexpr const int(&weights)[7] = FilterOf(Method).below[Row];
        for (; i < count; ++i) {
            int sum = below ? below[i] : 0;
            for (int reach = -2; reach <= 2; ++reach)
                sum += weights[reach + kErrorMargin] * errors[ptrdiff_t(i) - 4 * reach];
            sums[i] = int16_t(sum);
        }
    }
}

template <int Method, int Row>
void SpreadRow(int32_t *sums, const int32_t *below, const int16_t *errors, size_t count)
{
    for (size_t i = 0; i < count; i += 4) {
        __m128i sum = below ? Load128(below + i) : _mm_setzero_si128();
        sum = PlusReachedWide<Method, Row, 0>(sum, errors + i);
        sum = PlusReachedWide<Method, Row, 1>(sum, errors + i);
        sum = PlusReachedWide<Method, Row, 2>(sum, errors + i);
        sum = PlusReachedWide<Method, Row, 3>(sum, errors + i);
        Store128(sums + i, sum);
    }
}

template <int Method, size_t... Row>
void SpreadRows(const ErrorRows &rows, int first, int end, std::index_sequence<Row...>)
{
    using Word = typename Sums<Method>::Word;
    constexpr size_t kRows = sizeof...(Row);
    const size_t start = 4 * size_t(first);
    Word *sums[kRows + 1] = {static_cast<Word *>(rows.sums[Row])..., nullptr};
    const auto at = [&](Word *row) { return row ? row + start : nullptr; };
    (SpreadRow<Method, int(Row)>(at(sums[Row]), at(sums[Row + 1]), rows.errors + start, 4 * size_t(end - first)), ...);
}

template <int Method>
void Spread(const ErrorRows &rows, int first, int end)
{
    SpreadRows<Method>(rows, first, end, std::make_index_sequence<size_t(FilterOf(Method).rows)>());
}

// By method, from Floyd-Steinberg on.
constexpr void (*kSpread[])(const ErrorRows &, int, int) = {Spread<1>, Spread<2>, Spread<3>,
                                                            Spread<4>, Spread<5>, Spread<6>};

size_t SumBytes(int method) { return FitsWords(FilterOf(method)) ? sizeof(int16_t) : sizeof(int32_t); }

} // namespace

// ---- The engine's functions -----------------------------------------------------------------------------------

void DiffusePlain(const DiffusionBlock &block, int method, const DitherTarget &target)
{
    kScans[method - DITHER_FLOYD_STEINBERG](block, target);
}

int64_t ErrorBytes(int method, int64_t width)
{
    return 4 * ((width + 2 * kErrorMargin) * int64_t(sizeof(int16_t)) +
                width * FilterOf(method).rows * int64_t(SumBytes(method)));
}

ErrorRows LayErrorRows(uint8_t *memory, int method, int width)
{
    ErrorRows rows = {reinterpret_cast<int16_t *>(memory) + 4 * kErrorMargin, {}};
    memory += 4 * size_t(width + 2 * kErrorMargin) * sizeof(int16_t);
    for (int i = 0; i < FilterOf(method).rows; ++i, memory += 4 * size_t(width) * SumBytes(method))
        rows.sums[i] = memory;
    return rows;
}

void BeginSegment(const ErrorRows &rows, int first, int end)
{
    constexpr size_t kMarginBytes = 4 * kErrorMargin * sizeof(int16_t);
    memset(rows.errors + 4 * (ptrdiff_t(first) - kErrorMargin), 0, kMarginBytes);
    memset(rows.errors + 4 * ptrdiff_t(end), 0, kMarginBytes);
}

void DiffuseBlock(int method, const DitherTarget &target, const ErrorRows &rows, int x, size_t count,
                  const uint8_t *quads, uint8_t *indices)
{
    const size_t place = 4 * size_t(x);
    const void *waiting = static_cast<const uint8_t *>(rows.sums[0]) + place * SumBytes(method);
    pixelKernels.diffuse({quads, indices, rows.errors + place, waiting, count}, method, target);
}

void SpreadErrors(int method, const ErrorRows &rows, int first, int end)
{
    kSpread[method - DITHER_FLOYD_STEINBERG](rows, first, end);
}

} // namespace vexo
