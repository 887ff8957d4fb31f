// Indices of colours without regard to their neighbours: the cells of any palette, and the bit arithmetic of the fixed
// ones in loops that the compiler turns into vectors.
#include "colour/colour.h"
#include "colour/dither_engine.h"
#include "colour/pixel_kernels.h"

namespace vexo {

namespace {

constexpr BYTE kNotMatched = PC_RESERVED | PC_EXPLICIT;

unsigned KeyOf(unsigned blue, unsigned green, unsigned red) { return red >> 3 << 10 | green >> 3 << 5 | blue >> 3; }

template <class Word>
void ChooseByCells(uint8_t *indices, const uint8_t *quads, size_t count, CellPalette &cells)
{
    for (size_t i = 0; i < count; ++i, quads += 4)
        indices[i] = CellPalette::IndexOf(cells.Cell<Word>(KeyOf(quads[0], quads[1], quads[2])));
}

// The two highest bits of the luminance, or the highest one.
void ChooseGrays(uint8_t *indices, const uint8_t *quads, size_t count, int bits)
{
    pixelKernels.luminance(indices, quads, count);
    for (size_t i = 0; i < count; ++i)
        indices[i] = uint8_t(indices[i] >> (8 - bits));
}

constexpr unsigned Share(const ProductChannel &channel, unsigned value)
{
    return unsigned(channel.place) * (value * unsigned(LevelScale(channel.levels)) >> 16);
}

template <int Class>
void ChooseProduct(uint8_t *indices, const uint8_t *quads, size_t count)
{
    constexpr ProductRule rule = RuleOf(Class);
    for (size_t i = 0; i < count; ++i) {
        uint32_t quad;
        memcpy(&quad, quads + 4 * i, 4);
        const unsigned index =
            Share(rule.blue, quad & 255) + Share(rule.green, quad >> 8 & 255) + Share(rule.red, quad >> 16 & 255);
        indices[i] = uint8_t(rule.bright && index ? index | unsigned(rule.bright) : index);
    }
}

// By class, from eight colours on.
constexpr void (*kChooseProduct[])(uint8_t *, const uint8_t *,
                                   size_t) = {ChooseProduct<4>, ChooseProduct<5>, ChooseProduct<6>, ChooseProduct<7>,
                                              ChooseProduct<8>, ChooseProduct<9>, ChooseProduct<10>};

} // namespace

void CellPalette::Start(const RGBQUAD (&colors)[256], int count, unsigned *callersCells, uint16_t *ownCells)
{
    m_isOwn = ownCells != nullptr;
    m_cells = m_isOwn ? static_cast<void *>(ownCells) : callersCells;
    m_searching = false;
    m_compactCount = 0;
    for (int pass = 0; pass < 2 && m_compactCount == 0; ++pass)
        for (int i = 0; i < count; ++i)
            if (pass == 1 || !(colors[i].rgbReserved & kNotMatched)) {
                m_compact[m_compactCount] = colors[i];
                m_compact[m_compactCount++].rgbReserved = BYTE(i);
            }
    for (int i = 0; i < 256; ++i) {
        int16_t(&words)[4] = m_colors[uint8_t(i + 1)];
        words[0] = colors[i].rgbBlue;
        words[1] = colors[i].rgbGreen;
        words[2] = colors[i].rgbRed;
        words[3] = 0;
    }
    for (int i = 0; i < m_compactCount; ++i) {
        const RGBQUAD &color = m_compact[i];
        const unsigned key = KeyOf(color.rgbBlue, color.rgbGreen, color.rgbRed);
        if ((m_isOwn ? ownCells[key] : callersCells[key]) == 0)
            Put(key, color.rgbReserved + 1u);
    }
}

void CellPalette::Put(unsigned key, unsigned cell)
{
    if (m_isOwn)
        static_cast<uint16_t *>(m_cells)[key] = uint16_t(cell);
    else
        static_cast<unsigned *>(m_cells)[key] = cell;
}

unsigned CellPalette::Fill(unsigned key)
{
    if (!m_searching)
        m_search = PaletteSearch(m_compact, m_compactCount);
    m_searching = true;
    const int place = m_search.Find(int(key >> 10 << 3), int(key >> 5 & 31) << 3, int(key & 31) << 3);
    const unsigned cell = m_compact[place].rgbReserved + 1u;
    Put(key, cell);
    return cell;
}

void ChooseIndices(uint8_t *indices, const uint8_t *quads, size_t count, const DitherTarget &target)
{
    switch (target.paletteClass) {
    case kClassCells: ChooseByCells<uint16_t>(indices, quads, count, *target.cells); break;
    case kClassMatchTable: ChooseByCells<unsigned>(indices, quads, count, *target.cells); break;
    case kClassTwoGrays: ChooseGrays(indices, quads, count, 1); break;
    case kClassFourGrays: ChooseGrays(indices, quads, count, 2); break;
    default: kChooseProduct[target.paletteClass - kClassEightColors](indices, quads, count); break;
    }
}

} // namespace vexo
