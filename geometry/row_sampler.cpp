// Nearest sampling along a row. The plain walk serves single rows and defines the result. For many rows the walk is
// written down once: enlarged rows of whole bytes become shuffles, since 16 result bytes never come from more than 16
// source bytes; shrunk 1-bit rows become extractions of bits; what remains goes through a table of positions.
#include "geometry/row_sampler.h"

#include "core/packed_pixels.h"
#include "geometry/size_kernels.h"

#include <algorithm>
#include <cstring>

namespace vexo {

namespace {

constexpr size_t kWindow = 16;
constexpr size_t kWindowWords = sizeof(SampleWindow) / 4;
constexpr size_t kMaxPieces = 32; // beyond, a result word touches so many source words that nothing is gained

// The two forms in which a copying loop takes its positions.
struct SteppedPositions {
    Stepping stepping;
    size_t Next()
    {
        const int position = stepping.position;
        stepping.Advance();
        return size_t(position);
    }
};
struct ListedPositions {
    const uint32_t *next;
    size_t Next() { return *next++; }
};

template <size_t Bytes, class Positions>
void CopyPixels(uint8_t *destination, const uint8_t *source, Positions positions, size_t count)
{
    for (size_t i = 0; i < count; ++i, destination += Bytes) {
        uint8_t pixel[Bytes]; // the two places may be the same
        memcpy(pixel, source + positions.Next() * Bytes, Bytes);
        memcpy(destination, pixel, Bytes);
    }
}

// Eight pixels are a whole number of bytes, which are written when all eight have been read.
template <class Depth, class Positions>
void CopyPacked(uint8_t *destination, const uint8_t *source, Positions positions, size_t count)
{
    constexpr int kBits = Depth::kBits;
    for (; count > 0; destination += kBits) {
        const int pixels = int(std::min<size_t>(count, 8));
        uint64_t group = 0;
        for (int i = 0; i < pixels; ++i)
            group = group << kBits | Depth::Get(source, positions.Next());
        group <<= (8 - pixels) * kBits;
        const int bytes = (pixels * kBits + 7) / 8;
        for (int i = 0; i < bytes; ++i)
            destination[i] = uint8_t(group >> (kBits - 1 - i) * 8);
        count -= size_t(pixels);
    }
}

template <class Positions>
void CopySamples(int bits, uint8_t *destination, const uint8_t *source, Positions positions, size_t count)
{
    switch (bits) {
    case 8: CopyPixels<1>(destination, source, positions, count); break;
    case 16: CopyPixels<2>(destination, source, positions, count); break;
    case 24: CopyPixels<3>(destination, source, positions, count); break;
    case 32: CopyPixels<4>(destination, source, positions, count); break;
    default:
        WithIndexDepth(bits, [&](auto depth) { CopyPacked<decltype(depth)>(destination, source, positions, count); });
    }
}

void ClearBehind(uint8_t *destination, size_t destinationBytes, int bits, size_t count)
{
    const size_t used = size_t(PackedBytes(int64_t(count), bits));
    if (destinationBytes > used)
        memset(destination + used, 0, destinationBytes - used);
}

template <size_t Bytes>
void EnlargePixels(uint8_t *row, Stepping last, int newWidth)
{
    for (size_t i = size_t(newWidth); i-- > 0;) {
        last.StepBack();
        memmove(row + i * Bytes, row + size_t(last.position) * Bytes, Bytes);
    }
}

} // namespace

void SampleRow(int bits, size_t destinationBytes, Stepping stepping, const uint8_t *source, uint8_t *destination,
               int count)
{
    if (!IsSupportedDepth(bits) || count < 1)
        return;
    CopySamples(bits, destination, source, SteppedPositions{stepping}, size_t(count));
    ClearBehind(destination, destinationBytes, bits, size_t(count));
}

void EnlargeRowInPlace(int bits, uint8_t *row, int oldWidth, int newWidth)
{
    // One step beyond the last pixel; each pixel steps back before it is copied.
    const Stepping end = Stepping::Across(oldWidth, newWidth, newWidth);
    switch (bits) {
    case 8: EnlargePixels<1>(row, end, newWidth); break;
    case 16: EnlargePixels<2>(row, end, newWidth); break;
    case 24: EnlargePixels<3>(row, end, newWidth); break;
    case 32: EnlargePixels<4>(row, end, newWidth); break;
    default:
        WithIndexDepth(bits, [&](auto depth) {
            Stepping walk = end;
            for (size_t i = size_t(newWidth); i-- > 0;) {
                walk.StepBack();
                depth.Put(row, i, depth.Get(row, size_t(walk.position)));
            }
            if (const int used = int(size_t(newWidth) * size_t(bits) % 8))
                row[size_t(newWidth) * size_t(bits) / 8] &= uint8_t(0xFF00 >> used);
        });
    }
}

// ---- The tables of RowSampler ---------------------------------------------------------------------------------

RowSampler::Choice RowSampler::Choose(int bits, const Stepping &stepping, int count)
{
    constexpr Choice kPositions = {Method::Positions, 0, 0, 1};
    if (!IsSupportedDepth(bits) || count < 1)
        return kPositions;
    const bool neighbours =
        stepping.whole == 1 ? stepping.fraction == 0 : stepping.whole == 0 && stepping.fraction == stepping.denominator;
    if (neighbours && int64_t(stepping.position) * bits % 8 == 0)
        return {Method::Run, 0, 0, 1};
    if (bits >= 8 && (stepping.whole == 0 || neighbours) && sampleKernels.windows) {
        const int64_t bytes = int64_t(count) * (bits / 8);
        const int64_t sourceBytes = (stepping.PositionAfter(count - 1) + 1) * (bits / 8);
        const size_t windows = size_t(bytes + kWindow - 1) / kWindow;
        if (bytes >= int64_t(kWindow) && sourceBytes >= int64_t(kWindow))
            return {Method::Windows, windows, 0, windows * kWindowWords};
    }
    if (bits == 1 && stepping.whole == 2 && stepping.fraction == 0 && stepping.position % 8 == 0 &&
        sampleKernels.halveBits)
        return {Method::Halves, 0, 0, 1};
    if (bits == 1 && stepping.whole > 0 && stepping.whole < int(kMaxPieces) && sampleKernels.bitPicks)
        return ChooseBitPicks(stepping, count);
    return kPositions;
}

// Finds how many source words a result word comes from. They start at the byte of its first pixel, or earlier so that
// they end within the row.
RowSampler::Choice RowSampler::ChooseBitPicks(Stepping stepping, int count)
{
    size_t pieces = 1;
    for (int done = 0; done < count;) {
        const int first = stepping.position / 8 * 8;
        int last = first;
        for (int i = 0; i < 32 && done < count; ++i, ++done, stepping.Advance())
            last = stepping.position;
        pieces = std::max(pieces, size_t(last - first) / 32 + 1);
    }
    stepping.StepBack();
    if (size_t(stepping.position) / 8 + 1 < 4 * pieces)
        return {Method::Positions, 0, 0, 1};
    const size_t words = (size_t(count) + 31) / 32;
    return {Method::BitPicks, words, pieces, words * (1 + 2 * pieces)};
}

RowSampler::RowSampler(int bits, const Stepping &stepping, int count)
    : m_bits(bits), m_count(count > 0 ? size_t(count) : 0), m_choice(Choose(bits, stepping, count)),
      m_positions(std::max<size_t>(m_count, 1)), m_plan(m_choice.planSize)
{
    if (!*this)
        return;
    SteppedPositions positions = {stepping};
    for (size_t i = 0; i < m_count; ++i)
        m_positions[i] = uint32_t(positions.Next());
    if (m_choice.method == Method::Windows)
        PlanWindows();
    else if (m_choice.method == Method::BitPicks)
        PlanBitPicks();
}

// The positions of an enlarged row never grow faster than the pixels, so the 16 bytes of a window lie within 16 source
// bytes: either the pixels are neighbours like their sources, or one is taken twice and there is a pixel to spare.
// Windows that would reach beyond the last pixel start earlier.
void RowSampler::PlanWindows()
{
    const size_t pixelBytes = size_t(m_bits) / 8, bytes = m_count * pixelBytes;
    const size_t lastOffset = (m_positions[m_count - 1] + size_t(1)) * pixelBytes - kWindow;
    for (size_t i = 0; i < m_choice.steps; ++i) {
        const size_t start = std::min(i * kWindow, bytes - kWindow);
        size_t sources[kWindow], offset = lastOffset;
        for (size_t byte = 0; byte < kWindow; ++byte) {
            sources[byte] = m_positions[(start + byte) / pixelBytes] * pixelBytes + (start + byte) % pixelBytes;
            offset = std::min(offset, sources[byte]);
        }
        SampleWindow window = {uint32_t(offset), {}};
        for (size_t byte = 0; byte < kWindow; ++byte)
            window.order[byte] = uint8_t(sources[byte] - offset);
        memcpy(&m_plan[i * kWindowWords], &window, sizeof window);
    }
}

// Every result word reads as many source words as the widest one.
void RowSampler::PlanBitPicks()
{
    const uint32_t sourceBytes = m_positions[m_count - 1] / 8 + 1;
    const size_t pieces = m_choice.pieces;
    uint32_t *plan = m_plan.data();
    memset(plan, 0, m_choice.planSize * sizeof *plan);
    for (size_t done = 0; done < m_count; done += 32, plan += 1 + 2 * pieces) {
        const uint32_t offset = std::min(m_positions[done] / 8, sourceBytes - uint32_t(4 * pieces));
        *plan = offset;
        for (uint32_t i = 0; i < 32 && done + i < m_count; ++i) {
            const uint32_t bit = m_positions[done + i] - 8 * offset;
            uint32_t *pick = plan + 1 + 2 * size_t(bit / 32);
            pick[0] |= 0x80000000u >> bit % 32;
            pick[1] = 31 - i;
        }
    }
}

// The last word may be a part of one.
void RowSampler::PickBits(uint8_t *destination, const uint8_t *source) const
{
    const size_t wordPlan = 1 + 2 * m_choice.pieces, words = m_count / 32;
    sampleKernels.bitPicks(destination, words, source, m_plan.data(), m_choice.pieces);
    if (words == m_choice.steps)
        return;
    uint8_t last[4];
    sampleKernels.bitPicks(last, 1, source, m_plan.data() + words * wordPlan, m_choice.pieces);
    memcpy(destination + 4 * words, last, (m_count % 32 + 7) / 8);
}

// Does what a kernel can do and returns the number of pixels.
size_t RowSampler::SampleFast(uint8_t *destination, const uint8_t *source) const
{
    const size_t bytes = size_t(PackedBytes(int64_t(m_count), m_bits));
    switch (m_choice.method) {
    case Method::Run:
        memcpy(destination, source + BytesOf(m_positions[0]), bytes);
        if (const int used = int(m_count * size_t(m_bits) % 8))
            destination[bytes - 1] &= uint8_t(0xFF00 >> used);
        return m_count;
    case Method::Windows:
        sampleKernels.windows(destination, bytes, source, reinterpret_cast<const SampleWindow *>(m_plan.data()));
        return m_count;
    case Method::Halves:
        sampleKernels.halveBits(destination, m_count / 8, source + m_positions[0] / 8);
        return m_count / 8 * 8;
    case Method::BitPicks: PickBits(destination, source); return m_count;
    default: break;
    }
    const bool ascends = m_count > 1 && m_positions[m_count - 1] - m_positions[0] >= m_count - 1;
    if (m_bits == 24 && ascends && sampleKernels.gather24)
        return sampleKernels.gather24(destination, source, m_positions.data(), m_count);
    if (m_bits == 32 && ascends && sampleKernels.gather32)
        return sampleKernels.gather32(destination, source, m_positions.data(), m_count);
    return 0;
}

void RowSampler::Sample(uint8_t *destination, size_t destinationBytes, const uint8_t *source) const
{
    if (!IsSupportedDepth(m_bits) || m_count == 0)
        return;
    const size_t done = SampleFast(destination, source);
    CopySamples(m_bits, destination + BytesOf(done), source, ListedPositions{&m_positions[0] + done}, m_count - done);
    ClearBehind(destination, destinationBytes, m_bits, m_count);
}

} // namespace vexo
