// Dithering of a bitmap's rows: the choice of the palette class, the state that hangs on the record while it runs, and
// the exported functions.
#include "colour/dither.h"

#include "colour/colour.h"
#include "colour/dither_engine.h"
#include "colour/fixed_palettes.h"

#include <bit>

using namespace vexo;

namespace {

// One for each bitmap while it is dithered. A plain block of memory, cleared.
struct DitherState {
    unsigned line; // counts the calls of ordered methods
    int width;
    int sourceBits;
    int method;
    DitherTarget target;
    RGBQUAD sourceColors[256];
    RGBQUAD targetColors[256];
    CellPalette cells;
    uint16_t *ownCells;   // null unless the run fills cells of its own
    uint8_t *errorMemory; // null for methods without
    ErrorRows errors;
};

void FreeState(DitherState *state)
{
    V_OsFree(state->ownCells);
    V_OsFree(state->errorMemory);
    V_OsFree(state);
}

class PendingState {
public:
    PendingState() : m_state(Buffer<DitherState>(1, Buffer<DitherState>::Fill::Zero).Release()) {}
    ~PendingState()
    {
        if (m_state)
            FreeState(m_state);
    }
    PendingState(const PendingState &) = delete;
    PendingState &operator=(const PendingState &) = delete;

    explicit operator bool() const { return m_state != nullptr; }
    DitherState *operator->() const { return m_state; }
    DitherState &operator*() const { return *m_state; }
    DitherState *Release()
    {
        DitherState *state = m_state;
        m_state = nullptr;
        return state;
    }

private:
    DitherState *m_state;
};

// The least depth that holds a number of colours.
int DepthFor(int count) { return count <= 2 ? 1 : int(std::bit_width(unsigned(count - 1))); }

// Takes the target palette over and tells its class. A palette that agrees with the head of a fixed one counts as that
// one: all of its indices can come out then, so the colours that are left out are put in.
int TakePalette(RGBQUAD (&target)[256], const RGBQUAD *colors, int count)
{
    const int depth = DepthFor(count);
    const auto isHeadOf = [&](const RGBQUAD *fixed) {
        return !colors || memcmp(colors, fixed, sizeof(RGBQUAD) * size_t(count)) == 0;
    };
    const auto take = [&](const RGBQUAD *from, int entries) {
        memcpy(target, from, sizeof(RGBQUAD) * size_t(entries));
    };
    if (isHeadOf(FixedPalette(depth))) {
        take(FixedPalette(depth), 1 << depth);
        return kClassTwoGrays + depth - 1;
    }
    if (depth == 8 && isHeadOf(CubePalette())) {
        take(CubePalette(), 256);
        return kClassCube;
    }
    take(colors, count);
    return kClassCells;
}

int StartTarget(DitherState *state, const RGBQUAD *colors, int count, int depth, unsigned *matchTable)
{
    const int paletteClass = TakePalette(state->targetColors, colors, count);
    state->target = {matchTable ? kClassMatchTable : paletteClass, depth, nullptr};
    if (!UsesCells(state->target.paletteClass))
        return RESULT_SUCCESS;
    if (!matchTable)
        state->ownCells = Buffer<uint16_t>(CellPalette::kCells, Buffer<uint16_t>::Fill::Zero).Release();
    if (!matchTable && !state->ownCells)
        return ERR_NO_MEMORY;
    state->cells.Start(state->targetColors, count, matchTable, state->ownCells);
    state->target.cells = &state->cells;
    return RESULT_SUCCESS;
}

int StartErrors(DitherState *state)
{
    if (!IsDiffusion(state->method))
        return RESULT_SUCCESS;
    const int64_t bytes = ErrorBytes(state->method, state->width);
    if (bytes > INT32_MAX)
        return ERR_NO_MEMORY;
    state->errorMemory = Buffer<uint8_t>(size_t(bytes), Buffer<uint8_t>::Fill::Zero).Release();
    if (!state->errorMemory)
        return ERR_NO_MEMORY;
    state->errors = LayErrorRows(state->errorMemory, state->method, state->width);
    return RESULT_SUCCESS;
}

DitherState *StateOf(const BitmapHandle *bitmap) { return static_cast<DitherState *>(bitmap->DitherState); }

} // namespace

int vexo::BeginDithering(BitmapHandle *bitmap, const RGBQUAD *colors, int count, int depth, unsigned *matchTable)
{
    const bool isValid = IsSupportedDepth(bitmap->BitsPerPixel) && bitmap->Width >= 0 && depth >= 1 && depth <= 8 &&
                         count >= 1 && count <= 1 << depth && bitmap->DitherMode >= DITHER_NONE &&
                         bitmap->DitherMode <= DITHER_CLUSTERED;
    if (!isValid)
        return ERR_INV_PARAMETER;
    PendingState state;
    if (!state)
        return ERR_NO_MEMORY;
    state->width = bitmap->Width;
    state->sourceBits = bitmap->BitsPerPixel;
    state->method = bitmap->DitherMode;
    ReadColors(bitmap, state->sourceColors);
    int status = StartErrors(&*state);
    if (!Failed(status)) // last, because it writes to the caller's table
        status = StartTarget(&*state, colors, count, depth, matchTable);
    if (Failed(status))
        return status;
    V_StopDithering(bitmap);
    bitmap->DitherState = state.Release();
    return RESULT_SUCCESS;
}

int VEXO_CALL V_StartDithering(BitmapHandle *bitmap, const RGBQUAD *colors, int count)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    if (count < 1 || count > 256)
        return ERR_INV_PARAMETER;
    return BeginDithering(bitmap, colors, count, DepthFor(count), nullptr);
}

int VEXO_CALL V_DitherLine(BitmapHandle *bitmap, const void *source, void *destination)
{
    if (!bitmap || !bitmap->DitherState || !source || !destination)
        return ERR_INV_PARAMETER;
    DitherState &state = *StateOf(bitmap);
    const DitherJob job = {state.method,       state.target,       state.sourceBits,
                           bitmap->ColorOrder, state.sourceColors, state.errors};
    uint8_t *row = static_cast<uint8_t *>(destination);
    const int64_t bits = int64_t(state.width) * state.target.bits;
    if (bits % 8) // the bits behind the last pixel come out as 0
        row[bits / 8] = 0;
    DitherSegment(job, row, static_cast<const uint8_t *>(source), 0, state.width, state.line, 0);
    state.line += !IsDiffusion(state.method);
    return RESULT_SUCCESS;
}

int VEXO_CALL V_StopDithering(BitmapHandle *bitmap)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    if (bitmap->DitherState)
        FreeState(StateOf(bitmap));
    bitmap->DitherState = nullptr;
    return RESULT_SUCCESS;
}
