// GDI palettes from colour quads and back, the palettes of bitmaps, and the questions asked about them. Quads are blue,
// green, red, reserved; GDI's entries are red, green, blue, flags.
#include "colour/colour.h"
#include "colour/fixed_palettes.h"
#include "core/gdi.h"

#include <bit>
#include <cstring>

using namespace vexo;

namespace {

constexpr WORD kPaletteVersion = 0x300;

PALETTEENTRY EntryOf(const RGBQUAD &quad) { return {quad.rgbRed, quad.rgbGreen, quad.rgbBlue, quad.rgbReserved}; }
RGBQUAD QuadOf(const PALETTEENTRY &entry) { return {entry.peBlue, entry.peGreen, entry.peRed, entry.peFlags}; }

// A LOGPALETTE with room for `Count` entries.
template <int Count>
struct LogicalPalette {
    WORD version;
    WORD count;
    PALETTEENTRY entries[Count];
};

template <int Count>
HPALETTE CreateFrom(LogicalPalette<Count> *logical)
{
    logical->version = kPaletteVersion;
    return ::CreatePalette(reinterpret_cast<const LOGPALETTE *>(logical));
}

template <int Count>
HPALETTE CreateFromQuads(LogicalPalette<Count> *logical, const RGBQUAD *colors, int count)
{
    logical->count = WORD(count);
    for (int i = 0; i < count; ++i)
        logical->entries[i] = EntryOf(colors[i]);
    return CreateFrom(logical);
}

bool IsGray(const RGBQUAD &color) { return color.rgbRed == color.rgbGreen && color.rgbGreen == color.rgbBlue; }

// Whether grays run evenly from the first entry; the values wrap at 8 bits like the bytes they are compared with.
bool IsEvenRamp(const RGBQUAD *colors, int count, bool whiteFirst)
{
    const int step = 255 / (count - 1) * (whiteFirst ? -1 : 1);
    uint8_t expected = whiteFirst ? 255 : 0;
    for (int i = 0; i < count; ++i, expected = uint8_t(expected + step))
        if (colors[i].rgbRed != expected)
            return false;
    return true;
}

struct BitCounts {
    BYTE counts[256];
};
constexpr BitCounts CountBits()
{
    BitCounts table = {};
    for (unsigned i = 0; i < 256; ++i)
        table.counts[i] = BYTE(std::popcount(i));
    return table;
}
constexpr BitCounts kBitCounts = CountBits();

} // namespace

// ---- Palettes -------------------------------------------------------------------------------------------------

HPALETTE VEXO_CALL V_CreatePalette(const RGBQUAD *colors, int count)
{
    if (!colors || count < 1 || count > 0xFFFF)
        return nullptr;
    if (count <= 256) {
        LogicalPalette<256> logical;
        return CreateFromQuads(&logical, colors, count);
    }
    Buffer<LogicalPalette<0xFFFF>> logical(1);
    return logical ? CreateFromQuads(logical.data(), colors, count) : nullptr;
}

int VEXO_CALL V_GetPaletteSize(HPALETTE palette)
{
    WORD count = 0;
    return palette && ::GetObjectA(palette, sizeof count, &count) ? count : 0;
}

int VEXO_CALL V_GetPaletteEntries(HPALETTE palette, int first, int count, RGBQUAD *colors)
{
    PALETTEENTRY entries[256];
    if (!palette || !colors || first < 0 || count < 1)
        return 0;
    int total = 0;
    while (total < count) {
        const UINT wanted = UINT(count - total < 256 ? count - total : 256);
        const UINT got = ::GetPaletteEntries(palette, UINT(first + total), wanted, entries);
        for (UINT i = 0; i < got && i < wanted; ++i)
            colors[total + int(i)] = QuadOf(entries[i]);
        total += int(got < wanted ? got : wanted);
        if (got < wanted)
            break;
    }
    return total;
}

int VEXO_CALL V_SetPaletteEntries(HPALETTE palette, int first, int count, const RGBQUAD *colors)
{
    PALETTEENTRY entries[256];
    if (!palette || !colors || first < 0 || count < 1)
        return 0;
    int total = 0;
    while (total < count) {
        const int wanted = count - total < 256 ? count - total : 256;
        for (int i = 0; i < wanted; ++i)
            entries[i] = EntryOf(colors[total + i]);
        const int set = int(::SetPaletteEntries(palette, UINT(first + total), UINT(wanted), entries));
        total += set;
        if (set < wanted)
            break;
    }
    return total;
}

HPALETTE VEXO_CALL V_CreateSystemPalette(void)
{
    const gdi::ScreenDC screen;
    if (!screen || !(::GetDeviceCaps(screen.get(), RASTERCAPS) & RC_PALETTE))
        return nullptr;
    LogicalPalette<256> logical;
    const int size = ::GetDeviceCaps(screen.get(), SIZEPALETTE);
    logical.count = WORD(size < 256 ? size : 256);
    if (::GetSystemPaletteEntries(screen.get(), 0, logical.count, logical.entries) == 0)
        return nullptr;
    return CreateFrom(&logical);
}

int vexo::GetSystemStaticColors(RGBQUAD *colors, int count)
{
    const gdi::ScreenDC screen;
    if (!screen || count < 1 || !(::GetDeviceCaps(screen.get(), RASTERCAPS) & RC_PALETTE))
        return 0;
    const int reserved = ::GetDeviceCaps(screen.get(), NUMRESERVED);
    const int placed = reserved < count ? reserved : count;
    const int low = placed / 2, high = placed - low;
    const int size = ::GetDeviceCaps(screen.get(), SIZEPALETTE);
    if (placed < 1 || size < high || placed > 256)
        return 0;
    PALETTEENTRY entries[256];
    ::GetSystemPaletteEntries(screen.get(), 0, UINT(low), entries);
    ::GetSystemPaletteEntries(screen.get(), UINT(size - high), UINT(high), entries + low);
    for (int i = 0; i < placed; ++i) {
        RGBQUAD &color = colors[i < low ? i : count - placed + i];
        color = QuadOf(entries[i]);
        color.rgbReserved = 0;
    }
    return placed;
}

HPALETTE VEXO_CALL V_DupPalette(HPALETTE palette)
{
    const int count = V_GetPaletteSize(palette);
    if (count == 0)
        return nullptr;
    Buffer<RGBQUAD> colors{size_t(count)};
    if (!colors || V_GetPaletteEntries(palette, 0, count, colors.data()) != count)
        return nullptr;
    return V_CreatePalette(colors.data(), count);
}

int VEXO_CALL V_CompareHandleToPalette(HPALETTE palette, const RGBQUAD *colors, int count)
{
    if (!colors)
        return 1;
    // Deliberate: a shorter palette that agrees with the head of the array counts as equal, an empty one always.
    RGBQUAD entries[256];
    for (int first = 0; first < count; first += 256) {
        const int wanted = count - first < 256 ? count - first : 256;
        const int have = V_GetPaletteEntries(palette, first, wanted, entries);
        for (int i = 0; i < have; ++i) {
            const RGBQUAD &color = colors[first + i];
            if (entries[i].rgbBlue != color.rgbBlue || entries[i].rgbGreen != color.rgbGreen ||
                entries[i].rgbRed != color.rgbRed)
                return 0;
        }
        if (have < wanted)
            break;
    }
    return 1;
}

// ---- Fixed and gray palettes ----------------------------------------------------------------------------------

const RGBQUAD *VEXO_CALL V_IntGetFixedPalette(int depth) { return FixedPalette(depth); }

int VEXO_CALL V_GetFixedPalette(RGBQUAD *colors, int depth)
{
    if (!colors || depth < 0 || depth > 8)
        return ERR_INV_PARAMETER;
    if (depth == 0) {
        for (int i = 0; i < 256; ++i)
            colors[i] = {BYTE(i), BYTE(i), BYTE(i), 0};
    } else {
        memcpy(colors, FixedPalette(depth), sizeof(RGBQUAD) << depth);
    }
    return RESULT_SUCCESS;
}

HPALETTE VEXO_CALL V_CreateFixedPalette(int depth)
{
    const int tableDepth = depth == 0 ? 1 : depth;
    const RGBQUAD *colors = FixedPalette(tableDepth);
    return colors ? V_CreatePalette(colors, 1 << tableDepth) : nullptr;
}

int VEXO_CALL V_CreateBitmapFixedPalette(BitmapHandle *bitmap)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    const int count = bitmap->ColorCount;
    if (count < 2 || count > 256 || !std::has_single_bit(unsigned(count)))
        return RESULT_FAILURE;
    const HPALETTE palette = V_CreateFixedPalette(std::countr_zero(unsigned(count)));
    if (!palette)
        return RESULT_FAILURE;
    bitmap->Palette = palette;
    return RESULT_SUCCESS;
}

HPALETTE VEXO_CALL V_CreateGrayPalette(int depth)
{
    const unsigned bits = unsigned(depth) & 31;
    const unsigned count = depth == 0 ? 256 : 1u << bits;
    if (count < 2 || count > 0xFFFF)
        return nullptr;
    Buffer<RGBQUAD> colors(count, Buffer<RGBQUAD>::Fill::Zero);
    if (!colors)
        return nullptr;
    for (unsigned i = 0; i < count; ++i) {
        const BYTE gray = BYTE(i * 255 / (count - 1));
        colors[i] = {gray, gray, gray, 0};
    }
    return V_CreatePalette(colors.data(), int(count));
}

// ---- Palettes of bitmaps --------------------------------------------------------------------------------------

bool vexo::ReadPalette(const BitmapHandle *bitmap, RGBQUAD (&colors)[256])
{
    memset(colors, 0, sizeof colors);
    if (!IsPalettised(bitmap->BitsPerPixel) || !bitmap->Palette)
        return false;
    return V_GetPaletteEntries(bitmap->Palette, 0, 1 << bitmap->BitsPerPixel, colors) > 0;
}

void vexo::ReadColors(const BitmapHandle *bitmap, RGBQUAD (&colors)[256])
{
    if (!ReadPalette(bitmap, colors) && IsPalettised(bitmap->BitsPerPixel))
        memcpy(colors, FixedPalette(bitmap->BitsPerPixel), sizeof colors[0] << bitmap->BitsPerPixel);
}

int VEXO_CALL V_GetBitmapColors(const BitmapHandle *bitmap, int first, int count, RGBQUAD *colors)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    if (count < 1 || !colors || !IsPalettised(bitmap->BitsPerPixel))
        return ERR_INV_PARAMETER;
    return V_GetPaletteEntries(bitmap->Palette, first, count, colors) == count ? RESULT_SUCCESS : ERR_INV_PARAMETER;
}

int VEXO_CALL V_PutBitmapColors(BitmapHandle *bitmap, int first, int count, const RGBQUAD *colors)
{
    if (!IsAllocated(bitmap))
        return ERR_NO_BITMAP;
    if (first < 0 || count < 0 || first > bitmap->ColorCount || count > bitmap->ColorCount - first || !colors ||
        !IsPalettised(bitmap->BitsPerPixel) || bitmap->ColorCount > 256)
        return ERR_INV_PARAMETER;
    RGBQUAD all[256];
    ReadPalette(bitmap, all);
    memcpy(all + first, colors, sizeof(RGBQUAD) * size_t(count));
    if (bitmap->Palette)
        ::DeleteObject(bitmap->Palette);
    bitmap->Palette = V_CreatePalette(all, bitmap->ColorCount);
    return RESULT_SUCCESS;
}

int VEXO_CALL V_IsGrayScaleBitmap(const BitmapHandle *bitmap)
{
    if (!bitmap || !IsPalettised(bitmap->BitsPerPixel))
        return GRAYSCALE_NO;
    RGBQUAD colors[256];
    const int count = bitmap->ColorCount;
    if (count < 1 || count > 256 || V_GetPaletteEntries(bitmap->Palette, 0, count, colors) < count)
        return GRAYSCALE_NO;
    for (int i = 0; i < count; ++i)
        if (!IsGray(colors[i]))
            return GRAYSCALE_NO;
    const bool whiteFirst = colors[0].rgbRed != 0;
    if (count > 1 && !IsEvenRamp(colors, count, whiteFirst))
        return GRAYSCALE_UNORDERED;
    return whiteFirst ? GRAYSCALE_WHITE_FIRST : GRAYSCALE_BLACK_FIRST;
}

const BYTE *VEXO_CALL V_Get1BitOnTable(void) { return kBitCounts.counts; }

// ---- User match tables ----------------------------------------------------------------------------------------

unsigned *VEXO_CALL V_SetUserMatchTable(unsigned *table)
{
    ThreadSettings *thread = CurrentThread();
    if (!thread)
        return nullptr;
    unsigned *previous = thread->userMatchTable;
    thread->userMatchTable = table;
    return previous;
}

int VEXO_CALL V_FreeUserMatchTable(unsigned *table)
{
    V_OsFree(table);
    return RESULT_SUCCESS;
}
