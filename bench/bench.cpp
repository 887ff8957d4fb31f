// Measures the DLL through its public header. Prints rows workload <TAB> vexokit <TAB> ns_per_pixel, the median of at
// least five repeats and half a second after one unmeasured repeat, with a checksum of the result as a comment behind
// each. usage: vexokit_bench [--only TEXT]
#include "bench/bench.h"

#include <algorithm>
#include <cstdio>

namespace vexo::bench {

namespace {

double Seconds()
{
    LARGE_INTEGER now, frequency;
    QueryPerformanceCounter(&now);
    QueryPerformanceFrequency(&frequency);
    return double(now.QuadPart) / double(frequency.QuadPart);
}

} // namespace

void Report(const char *workload, double pixels, const std::function<void()> &work,
            const std::function<uint64_t()> &sum)
{
    Report(
        workload, pixels, [] {}, work, sum);
}

double MedianSeconds(const std::function<void()> &prepare, const std::function<void()> &work)
{
    prepare();
    work();
    std::vector<double> times;
    for (double total = 0; total < 0.5 || times.size() < 5;) {
        prepare();
        const double start = Seconds();
        work();
        times.push_back(Seconds() - start);
        total += times.back();
    }
    std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
    return times[times.size() / 2];
}

void Report(const char *workload, double pixels, const std::function<void()> &prepare,
            const std::function<void()> &work, const std::function<uint64_t()> &sum)
{
    const double seconds = MedianSeconds(prepare, work);
    printf("%s\tvexokit\t%.4f\n# %s checksum %016llx\n", workload, seconds / pixels * 1e9, workload,
           static_cast<unsigned long long>(sum()));
    fflush(stdout);
}

} // namespace vexo::bench

namespace {

constexpr std::span<const vexo::bench::Workload> (*kRows[])() = {
    vexo::bench::ConversionRows, vexo::bench::AnimationRows, vexo::bench::CompressionRows, vexo::bench::CopyRows,
    vexo::bench::DitherRows,     vexo::bench::RegionRows,    vexo::bench::SizeRows,        vexo::bench::TurnRows,
    vexo::bench::ColourRows,     vexo::bench::PaintRows,
};

} // namespace

int main(int argc, char **argv)
{
    using namespace vexo::bench;
    const char *only = "";
    if (argc == 3 && strcmp(argv[1], "--only") == 0) {
        only = argv[2];
    } else if (argc != 1) {
        fprintf(stderr, "usage: vexokit_bench [--only TEXT]\n");
        return 2;
    }
    V_SetStorageCaching(1);
    for (const auto rows : kRows)
        for (const Workload &workload : rows())
            if (strstr(workload.name, only))
                workload.measure();
    return 0;
}
