// The tables behind filtering along a row, and the plain way: sums divided by multiplication, ramps that carry the
// remainder of their slope, so that nothing is divided per pixel.
#include "geometry/row_resampler.h"

#include <cstring>

namespace vexo {

namespace {

constexpr size_t kWindow = 16;
constexpr size_t kGroup = 8;    // result pixels of a step of the kernel of means
constexpr uint8_t kNone = 0x80; // shuffled in: a zero

// One channel on its way from a to b in `steps` steps: a + floor(step (b - a) / steps).
class Ramp {
public:
    void Start(int a, int b, int steps)
    {
        m_value = a;
        m_steps = steps;
        m_slope = b >= a ? (b - a) / steps : -((a - b + steps - 1) / steps);
        m_rest = b - a - m_slope * steps;
        m_carry = 0;
    }
    void Advance()
    {
        m_value += m_slope;
        m_carry += m_rest;
        if (m_carry >= m_steps) {
            m_carry -= m_steps;
            ++m_value;
        }
    }
    uint8_t value() const { return uint8_t(m_value); }

private:
    int m_value = 0, m_steps = 1, m_slope = 0, m_rest = 0, m_carry = 0;
};

template <size_t PixelBytes>
void EnlargePlain(uint8_t *destination, const uint8_t *padded, int oldWidth, int newWidth)
{
    Ramp ramps[PixelBytes];
    ForEachBlend(oldWidth, newWidth, [&](int, int a, int step, int steps) {
        const uint8_t *pixel = padded + size_t(a) * PixelBytes;
        for (size_t channel = 0; channel < PixelBytes; ++channel) {
            if (step == 0)
                ramps[channel].Start(pixel[channel], pixel[channel + PixelBytes], steps);
            else
                ramps[channel].Advance();
            *destination++ = ramps[channel].value();
        }
        return true;
    });
}

template <size_t PixelBytes>
void ShrinkPlain(uint8_t *destination, const uint8_t *source, std::span<const MeanPlan::Pixel> pixels, unsigned n)
{
    const MeanDivider divide[2] = {MeanDivider(n), MeanDivider(n + 1)};
    for (const MeanPlan::Pixel &pixel : pixels) {
        const uint8_t *p = source + pixel.offset;
        uint32_t sums[PixelBytes] = {};
        for (unsigned i = 0; i < n + pixel.variant; ++i, p += PixelBytes)
            for (size_t channel = 0; channel < PixelBytes; ++channel)
                sums[channel] += p[channel];
        for (size_t channel = 0; channel < PixelBytes; ++channel)
            *destination++ = divide[pixel.variant](sums[channel]);
    }
}

} // namespace

RowResampler::RowResampler(int oldWidth, int newWidth, int pixelBytes)
    : m_oldWidth(oldWidth), m_newWidth(newWidth), m_pixelBytes(size_t(pixelBytes)),
      m_pixels(enlarges() ? 1 : size_t(newWidth)),
      m_windows(CanUseWindows() ? (size_t(newWidth) * m_pixelBytes + kWindow - 1) / kWindow : 1),
      m_padded(enlarges() ? (size_t(oldWidth) + 1) * m_pixelBytes : 1)
{
    if (!*this)
        return;
    if (!enlarges())
        PlanMeans();
    else if (CanUseWindows())
        PlanBlends();
}

void RowResampler::Resample(uint8_t *destination, const uint8_t *source) const
{
    if (enlarges())
        Enlarge(destination, source);
    else
        Shrink(destination, source);
}

// ---- Shrinking ------------------------------------------------------------------------------------------------

void RowResampler::PlanMeans()
{
    const int n = m_oldWidth / m_newWidth;
    Stepping walk = Stepping::Across(m_oldWidth, m_newWidth);
    for (size_t i = 0; i < m_pixels.size(); ++i) {
        const int start = walk.position;
        walk.Advance();
        m_pixels[i] = {uint32_t(size_t(start) * m_pixelBytes), uint32_t(walk.position - start - n)};
    }
    if (!resampleKernels.meanPixels || n >= kMostMeanPixels)
        return;

    m_plan.pixelBytes = m_pixelBytes;
    m_plan.chunks = size_t(n) / 4 + 1; // n + 1 pixels fit
    for (int variant = 0; variant < 2; ++variant) {
        const size_t inLast = size_t(n + variant) - 4 * (m_plan.chunks - 1);
        for (size_t byte = 0; byte < 16; ++byte) {
            const size_t channel = byte / 4, pixel = byte % 4;
            const bool counts = channel < m_pixelBytes && pixel < inLast;
            m_plan.lastOrder[variant][byte] = counts ? uint8_t(pixel * m_pixelBytes + channel) : kNone;
        }
        m_plan.reciprocal[variant] = ((1u << 24) + uint32_t(n + variant) - 1) / uint32_t(n + variant);
    }
    // The kernel reads whole chunks, which must end within the row, and may write 8 bytes behind its last pixel.
    const size_t reach = 4 * m_pixelBytes * (m_plan.chunks - 1) + 16;
    const size_t rowBytes = size_t(m_oldWidth) * m_pixelBytes;
    const size_t spare = m_pixelBytes == 3 ? 3 : 0;
    while (m_fastPixels + kGroup + spare <= m_pixels.size() &&
           m_pixels[m_fastPixels + kGroup - 1].offset + reach <= rowBytes)
        m_fastPixels += kGroup;
}

void RowResampler::Shrink(uint8_t *destination, const uint8_t *source) const
{
    if (m_fastPixels)
        resampleKernels.meanPixels(destination, source, m_pixels.data(), m_fastPixels, m_plan);
    destination += m_fastPixels * m_pixelBytes;
    const auto rest = std::span<const MeanPlan::Pixel>(m_pixels.span()).subspan(m_fastPixels);
    const unsigned n = unsigned(m_oldWidth / m_newWidth);
    if (m_pixelBytes == 3)
        ShrinkPlain<3>(destination, source, rest, n);
    else
        ShrinkPlain<4>(destination, source, rest, n);
}

// ---- Enlarging ------------------------------------------------------------------------------------------------

bool RowResampler::CanUseWindows() const
{
    // A run's first pixel has all of the weight, which must fit a signed byte.
    return enlarges() && resampleKernels.blendPixels && m_newWidth / m_oldWidth + 1 < kMostBlendSteps &&
           size_t(m_oldWidth) * m_pixelBytes >= kWindow;
}

// As in nearest sampling, the 16 bytes of a window come from 16 source bytes, and those of the next pixels from the 16
// bytes a pixel further on.
void RowResampler::PlanBlends()
{
    const size_t bytes = size_t(m_newWidth) * m_pixelBytes;
    const size_t lastOffset = size_t(m_oldWidth) * m_pixelBytes - kWindow;
    const int least = m_newWidth / m_oldWidth;
    const int scale = least == 1 ? 2 : 1; // the division starts at sums of 2
    m_shift = LaneDivision::Shift(least * scale);

    memset(m_windows.data(), 0xFF, m_windows.size() * sizeof(BlendWindow));
    const auto put = [&](BlendWindow &window, size_t lane, size_t from, int step, int steps) {
        window.offset = std::min(window.offset, uint32_t(std::min(from, lastOffset)));
        window.order[lane] = uint8_t(from); // made relative below; windows are shorter than 256 bytes
        window.weights[2 * lane] = uint8_t((steps - step) * scale);
        window.weights[2 * lane + 1] = uint8_t(step * scale);
        window.reciprocals[lane] = LaneDivision::Multiplier(steps * scale, m_shift);
    };
    const size_t lastWindow = m_windows.size() - 1, lastStart = bytes - kWindow;
    ForEachBlend(m_oldWidth, m_newWidth, [&](int x, int a, int step, int steps) {
        // The first pixels, which stand still, take part with the steps of the others.
        const int of = steps < least ? least : steps;
        for (size_t channel = 0; channel < m_pixelBytes; ++channel) {
            const size_t byte = size_t(x) * m_pixelBytes + channel, from = size_t(a) * m_pixelBytes + channel;
            if (byte / kWindow < lastWindow)
                put(m_windows[byte / kWindow], byte % kWindow, from, step, of);
            if (byte >= lastStart)
                put(m_windows[lastWindow], byte - lastStart, from, step, of);
        }
        return true;
    });
    for (size_t i = 0; i <= lastWindow; ++i)
        for (uint8_t &from : m_windows[i].order)
            from = uint8_t(from - m_windows[i].offset);
}

void RowResampler::Enlarge(uint8_t *destination, const uint8_t *source) const
{
    const size_t bytes = size_t(m_oldWidth) * m_pixelBytes;
    memcpy(m_padded.data(), source, bytes);
    memcpy(m_padded.data() + bytes, source + bytes - m_pixelBytes, m_pixelBytes);
    if (CanUseWindows())
        resampleKernels.blendPixels(destination, size_t(m_newWidth) * m_pixelBytes, m_padded.data(), m_windows.data(),
                                    m_pixelBytes, m_shift);
    else if (m_pixelBytes == 3)
        EnlargePlain<3>(destination, m_padded.data(), m_oldWidth, m_newWidth);
    else
        EnlargePlain<4>(destination, m_padded.data(), m_oldWidth, m_newWidth);
}

} // namespace vexo
