// Rows of the run-length coding of 1-bit rows.
#include "bench/bench.h"

namespace vexo::bench {

namespace {

void CompressPage()
{
    const Bytes page = Page1();
    std::vector<WORD> runs(PageWidth + 1);
    const auto compressRow = [&](int y) { V_CompressRow(runs.data(), &page[size_t(y) * kPageStride], 0, PageWidth); };
    Report(
        "compress_1", kPagePixels,
        [&] {
            for (int y = 0; y < PageHeight; ++y)
                compressRow(y);
        },
        [&] {
            uint64_t count = 0;
            for (int y = 0; y < PageHeight; ++y) {
                compressRow(y);
                for (int x = 0, run = 0; x < PageWidth; ++run, ++count)
                    x += runs[size_t(run)];
            }
            return count;
        });
}

void ExpandPage()
{
    const Bytes page = Page1();
    std::vector<std::vector<WORD>> rows(PageHeight, std::vector<WORD>(PageWidth + 1));
    for (int y = 0; y < PageHeight; ++y)
        V_CompressRow(rows[size_t(y)].data(), &page[size_t(y) * kPageStride], 0, PageWidth);
    Bytes row(kPageStride);
    Report(
        "expand_1", kPagePixels,
        [&] {
            for (int y = 0; y < PageHeight; ++y)
                V_ExpandRow(rows[size_t(y)].data(), row.data(), 0, PageWidth);
        },
        [&] {
            uint64_t h = testimg::hash(nullptr, 0);
            for (int y = 0; y < PageHeight; ++y) {
                V_ExpandRow(rows[size_t(y)].data(), row.data(), 0, PageWidth);
                h = testimg::hash(row.data(), PageWidth / 8, h);
            }
            return h;
        });
}

constexpr Workload kRows[] = {
    {"compress_1", CompressPage},
    {"expand_1", ExpandPage},
};

} // namespace

std::span<const Workload> CompressionRows() { return kRows; }

} // namespace vexo::bench
