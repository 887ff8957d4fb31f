// Dithering straight into a device's rows: the choice of the routine for a pair of depths, which is the engine's with a
// fixed palette, and the errors a paint carries.
#include "colour/dither.h"
#include "colour/dither_engine.h"
#include "colour/fixed_palettes.h"

namespace vexo {

namespace {

int MethodFor(unsigned displayMode)
{
    if (!(displayMode & DISPLAYMODE_BIT0))
        return DITHER_FLOYD_STEINBERG;
    return displayMode & DISPLAYMODE_CLUSTERED ? DITHER_CLUSTERED : DITHER_DISPERSED;
}

uint8_t *AllocateErrors(int width)
{
    const int64_t bytes = width >= 0 ? ErrorBytes(DITHER_FLOYD_STEINBERG, width) : 0;
    if (bytes == 0 || bytes > INT32_MAX)
        return nullptr;
    return Buffer<uint8_t>(size_t(bytes), Buffer<uint8_t>::Fill::Zero).Release();
}

} // namespace

PaintErrors::PaintErrors(int width) : m_memory(AllocateErrors(width)), m_width(width) {}

PaintErrors::~PaintErrors() { V_OsFree(m_memory); }

SegmentDither SelectSegmentDither(int sourceBits, int deviceBits)
{
    SegmentDither routine;
    if (!IsSupportedDepth(sourceBits) || (sourceBits == 1 && deviceBits != 8))
        return routine;
    const unsigned mode = CurrentSettings().displayMode;
    switch (deviceBits) {
    case 1: routine.m_paletteClass = kClassTwoGrays; break;
    case 4: routine.m_paletteClass = kClassWindowsColors; break;
    case 8: routine.m_paletteClass = mode & DISPLAYMODE_FIXED_PALETTE_ALT ? kClassCube : kClassEightBits; break;
    default: return routine;
    }
    routine.m_colors = routine.m_paletteClass == kClassCube ? CubePalette() : FixedPalette(deviceBits);
    routine.m_sourceBits = sourceBits;
    routine.m_deviceBits = deviceBits;
    routine.m_method = MethodFor(mode);
    return routine;
}

void SegmentDither::Dither(uint8_t *destination, const uint8_t *source, int first, int end, int columnPhase, int row,
                           PaintErrors &errors, const PaintSource &format) const
{
    const DitherJob job = {m_method,       {m_paletteClass, m_deviceBits, nullptr},
                           m_sourceBits,   format.colorOrder,
                           format.palette, LayErrorRows(errors.m_memory, DITHER_FLOYD_STEINBERG, errors.m_width)};
    DitherSegment(job, destination, source, first, end, unsigned(row), unsigned(columnPhase));
}

} // namespace vexo
