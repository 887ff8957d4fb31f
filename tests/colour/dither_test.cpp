// Dithering against a plain model that diffuses over the whole picture at once: rows of a bitmap in every source depth,
// palette class and method, at every processor level, and segments for painting.
#include "colour/dither.h"
#include "colour/dither_engine.h"
#include "colour/fixed_palettes.h"
#include "colour/pixel_kernels.h"
#include "tests/colour/threshold_matrices.h"
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"

#include <algorithm>

namespace vexo::test {

namespace {

// ---- The model ------------------------------------------------------------------------------------------------

struct Color {
    int part[3]; // blue, green, red
};

int Clamp(int value) { return std::clamp(value, 0, 255); }
int Luma(const Color &c) { return (5 * c.part[1] + 2 * c.part[2] + c.part[0] + 4) >> 3; }

// What the pixels from three to the left to three to the right receive, in the row itself and in those below it.
struct Filter {
    int divisor;
    int weights[4][7];
};
constexpr Filter kFilters[] = {
    {1, {}},
    {16, {{0, 0, 0, 0, 7, 0, 0}, {0, 0, 3, 5, 1, 0, 0}}},
    {42, {{0, 0, 0, 0, 8, 4, 0}, {0, 2, 4, 8, 4, 2, 0}, {0, 1, 2, 4, 2, 1, 0}}},
    {32, {{0, 0, 0, 0, 8, 4, 0}, {0, 2, 4, 8, 4, 2, 0}}},
    {32, {{0, 0, 0, 0, 5, 3, 0}, {0, 2, 4, 5, 4, 2, 0}, {0, 0, 2, 3, 2, 0, 0}}},
    {200, {{0, 0, 0, 0, 0, 32, 0}, {12, 0, 26, 0, 30, 0, 16}, {0, 12, 0, 26, 0, 12, 0}, {5, 0, 12, 0, 12, 0, 5}}},
    {48, {{0, 0, 0, 0, 7, 5, 0}, {0, 3, 5, 7, 5, 3, 0}, {0, 1, 3, 5, 3, 1, 0}}},
};

// A target palette with the rule of its class.
struct Target {
    int paletteClass = 0, bits = 1, count = 0;
    std::vector<RGBQUAD> colors = std::vector<RGBQUAD>(256); // as shown
    std::vector<RGBQUAD> compact;
    std::vector<unsigned> cells; // classes 0 and 1

    void StartCells(const unsigned *table)
    {
        cells.assign(32768, 0);
        if (table)
            cells.assign(table, table + 32768);
        const bool noneIsFree = std::all_of(colors.begin(), colors.begin() + count,
                                            [](const RGBQUAD &color) { return (color.rgbReserved & 3) != 0; });
        for (int i = 0; i < count; ++i)
            if (noneIsFree || (colors[size_t(i)].rgbReserved & 3) == 0) {
                compact.push_back(colors[size_t(i)]);
                compact.back().rgbReserved = BYTE(i);
            }
        for (const RGBQUAD &color : compact)
            if (unsigned &cell = CellOf({color.rgbBlue, color.rgbGreen, color.rgbRed}); cell == 0)
                cell = color.rgbReserved + 1u;
    }
    unsigned &CellOf(const Color &c)
    {
        return cells[size_t(c.part[2] >> 3 << 10 | c.part[1] >> 3 << 5 | c.part[0] >> 3)];
    }
    int Index(const Color &c)
    {
        const auto [b, g, r] = c.part;
        switch (paletteClass) {
        case 2: return (5 * g + 2 * r + b + 4) >> 10;
        case 3: return Luma(c) >> 6;
        case 4: return (r >> 7) << 2 | (g >> 7) << 1 | b >> 7;
        case 5: {
            const int bright = (b >> 7) << 2 | (g >> 7) << 1 | r >> 7;
            return bright ? bright + 8 : 0;
        }
        case 6: return (r >> 6) << 3 | (g >> 6) << 1 | b >> 7;
        case 7: return (r >> 6) << 4 | (g >> 6) << 2 | b >> 6;
        case 8: return (r >> 6) << 5 | (g >> 5) << 2 | b >> 6;
        case 9: return (r & 0xE0) | (g >> 5) << 2 | b >> 6;
        case 10: return 36 * (r / 51) + 6 * (g / 51) + b / 51;
        default: break;
        }
        unsigned &cell = CellOf(c);
        if (cell == 0)
            cell =
                compact[size_t(V_FindPaletteIndex(compact.data(), int(compact.size()), r & 0xF8, g & 0xF8, b & 0xF8))]
                    .rgbReserved +
                1u;
        return int(cell) - 1;
    }
    Color Shown(int index) const
    {
        const RGBQUAD &c = colors[size_t(index)];
        return {c.rgbBlue, c.rgbGreen, c.rgbRed};
    }
    // Levels of a channel, for the classes that treat them apart.
    int Levels(int part) const
    {
        constexpr int kLevels[][3] = {{2, 2, 2}, {2, 2, 2}, {2, 4, 4}, {4, 4, 4}, {4, 8, 4}, {4, 8, 8}, {6, 6, 6}};
        return kLevels[paletteClass - 4][part];
    }
    int OrderedIndex(const Color &c, int value)
    {
        if (paletteClass == 2)
            return value < Luma(c);
        Color moved;
        for (int part = 0; part < 3; ++part) {
            int offset;
            if (paletteClass >= 4) {
                const int step = 255 / (Levels(part) - 1);
                offset = paletteClass == 10 ? (value + 2) * step / 256 : (value - 126) * step / 256;
            } else {
                constexpr int kCentres[] = {0, 128, 64, 42, 32, 25, 21, 18, 16};
                const int depth = paletteClass == 3 ? 2 : bits;
                offset = value / depth - kCentres[depth];
            }
            moved.part[part] = Clamp(c.part[part] + offset);
        }
        return Index(moved);
    }
};

// ---- Sources --------------------------------------------------------------------------------------------------

struct Source {
    Image image;
    int order;
    std::vector<RGBQUAD> palette;

    Color ColorAt(int row, int x) const
    {
        const COLORREF color = ColorOfPixel(image.At(row, x), image.bits, order, palette);
        return {GetBValue(color), GetGValue(color), GetRValue(color)};
    }
    // The bytes that hold pixels, at an unreadable page.
    void CopyRow(int row, GuardedBuffer *buffer) const
    {
        const std::vector<uint8_t> packed = image.PackedRow(row);
        std::copy_n(packed.begin(), buffer->size(), buffer->data());
    }
    size_t RowBytes() const { return size_t(PackedBytes(image.width, image.bits)); }
};

std::vector<int> DitherModel(int method, Target &target, const Source &source)
{
    const int width = source.image.width, height = source.image.height;
    std::vector<int> indices(source.image.pixels.size());
    std::vector<Color> sums(indices.size(), Color{});
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const size_t at = size_t(y) * size_t(width) + size_t(x);
            Color color = source.ColorAt(y, x);
            if (method >= 7) {
                indices[at] = target.OrderedIndex(color, Threshold(method == 8, y, x));
                continue;
            }
            const Filter &filter = kFilters[method];
            for (int part = 0; part < 3; ++part)
                color.part[part] = Clamp(color.part[part] + sums[at].part[part] / filter.divisor);
            indices[at] = target.Index(color);
            const Color shown = target.Shown(indices[at]);
            for (int ty = y; ty < std::min(y + 4, height); ++ty)
                for (int tx = std::max(x - 3, 0); tx < std::min(x + 4, width); ++tx)
                    for (int part = 0; part < 3; ++part)
                        sums[size_t(ty) * size_t(width) + size_t(tx)].part[part] +=
                            filter.weights[ty - y][tx - x + 3] * (color.part[part] - shown.part[part]);
        }
    return indices;
}

// Noise, or areas of one pixel where errors add up.
Source RandomSource(Random &random, int width, int height, int bits)
{
    Source source = {random.OneIn(3) ? Image::RandomRuns(random, width, height, bits)
                                     : Image::Random(random, width, height, bits),
                     random.OneIn(2) ? COLOR_ORDER_RGB : COLOR_ORDER_BGR, RandomPalette(random, 256)};
    if (random.OneIn(4))
        std::fill(source.image.pixels.begin(), source.image.pixels.end(),
                  random.OneIn(2) ? source.image.pixels[0]
                  : bits == 32    ? ~0u
                                  : (1u << bits) - 1);
    return source;
}

// A target of a class, as a caller gives it: colours, perhaps fewer than the class holds, or null.
struct Given {
    Target target;
    const RGBQUAD *colors;
};

void MakeTarget(Random &random, int paletteClass, Given *given)
{
    Target &target = given->target;
    target.paletteClass = paletteClass;
    if (paletteClass >= 2) {
        target.bits = std::min(paletteClass - 1, 8);
        const RGBQUAD *fixed = paletteClass == 10 ? CubePalette() : FixedPalette(target.bits);
        std::copy_n(fixed, 1 << target.bits, target.colors.begin());
        const int least = target.bits == 1 ? 1 : (1 << (target.bits - 1)) + 1;
        target.count = random.OneIn(2) ? 1 << target.bits : random.Between(least, 1 << target.bits);
        given->colors = paletteClass < 10 && random.OneIn(2) ? nullptr : target.colors.data();
        if (paletteClass == 10)
            target.count = random.OneIn(2) ? 216 : 256;
        return;
    }
    target.count = random.OneIn(3) ? random.Between(1, 9) : random.Between(1, 256);
    for (target.bits = 1; 1 << target.bits < target.count;)
        ++target.bits;
    const std::vector<RGBQUAD> palette = RandomPalette(random, target.count);
    const BYTE dark = random.OneIn(4) ? 0x1F : 0xFF; // all errors of one sign add up
    for (size_t i = 0; i < palette.size(); ++i) {
        const RGBQUAD &c = palette[i];
        const BYTE flags = random.OneIn(8) ? BYTE(random.Below(8)) : BYTE(4);
        target.colors[i] = {BYTE(c.rgbBlue & dark), BYTE(c.rgbGreen & dark), BYTE(c.rgbRed & dark), flags};
    }
    if (random.OneIn(8))
        for (RGBQUAD &color : target.colors)
            color.rgbReserved = BYTE(random.OneIn(2) ? PC_RESERVED : PC_EXPLICIT);
    given->colors = target.colors.data();
}

// ---- Running --------------------------------------------------------------------------------------------------

struct DitheredBitmap : TestBitmap {
    DitheredBitmap(const Source &source, int method)
        : TestBitmap(StorageKind::PageFile, source.image.width, source.image.height, source.image.bits,
                     {source.order, ORIENT_BOTTOM_UP, source.image.bits <= 8 ? source.palette : std::vector<RGBQUAD>()})
    {
        get()->DitherMode = method;
    }
    ~DitheredBitmap() { V_StopDithering(get()); }
};

void ExpectRows(BitmapHandle *bitmap, const Source &source, const std::vector<int> &indices, int bits)
{
    const int width = source.image.width;
    GuardedBuffer input(source.RowBytes()), output(size_t(PackedBytes(width, bits)));
    for (int y = 0; y < source.image.height; ++y) {
        source.CopyRow(y, &input);
        ASSERT_EQ(RESULT_SUCCESS, V_DitherLine(bitmap, input.data(), output.data()));
        for (int x = 0; x < width; ++x)
            ASSERT_EQ(indices[size_t(y) * size_t(width) + size_t(x)], int(PixelOf(output.data(), size_t(x), bits)))
                << "row " << y << ", pixel " << x << " of " << width;
        if (const int spare = int(output.size()) * 8 - width * bits) {
            ASSERT_EQ(0, output[output.size() - 1] & ((1 << spare) - 1));
        }
    }
}

class Dithering : public LibraryTest {
protected:
    ~Dithering() override { SelectPixelKernels(DetectCpuLevel()); }
};

} // namespace

TEST_F(Dithering, RowsMatchTheTextbookInEveryClassDepthAndMethod)
{
    Random random(31);
    for (int level = 0; level <= int(DetectCpuLevel()); level += 2) {
        SelectPixelKernels(CpuLevel(level));
        for (int method = 0; method <= 8; ++method)
            for (int paletteClass = 0; paletteClass <= 10; ++paletteClass)
                for (const int bits : kAllDepths) {
                    SCOPED_TRACE(testing::Message() << "level " << level << ", method " << method << ", class "
                                                    << paletteClass << ", " << bits << " bits");
                    // Several blocks: always where black and white have a scan of their own.
                    const bool wide = random.OneIn(20) || (paletteClass == 2 && bits == 24);
                    const Source source = RandomSource(random, wide ? random.Between(500, 1100) : random.Between(1, 40),
                                                       wide ? 3 : random.Between(1, 9), bits);
                    Given given;
                    MakeTarget(random, paletteClass, &given);
                    std::vector<unsigned> table;
                    if (paletteClass == 1) {
                        table.resize(32768);
                        for (unsigned &cell : table) // partly filled by the caller
                            cell = random.OneIn(2) ? unsigned(random.Below(given.target.count)) + 1 : 0;
                    }
                    DitheredBitmap bitmap(source, method);
                    ASSERT_EQ(RESULT_SUCCESS,
                              BeginDithering(bitmap.get(), given.colors, given.target.count, given.target.bits,
                                             table.empty() ? nullptr : table.data()));
                    if (paletteClass <= 1)
                        given.target.StartCells(table.empty() ? nullptr : table.data());
                    ExpectRows(bitmap.get(), source, DitherModel(method, given.target, source), given.target.bits);
                    if (paletteClass == 1) {
                        ASSERT_TRUE(table == given.target.cells);
                    }
                    ASSERT_FALSE(HasFatalFailure());
                }
    }
}

TEST_F(Dithering, StartsThatFailLeaveTheRunUnderWayAlone)
{
    Random random(32);
    const Source source = RandomSource(random, 33, 6, 4);
    DitheredBitmap bitmap(source, 6);
    Given first;
    MakeTarget(random, 5, &first);
    ASSERT_EQ(RESULT_SUCCESS, V_StartDithering(bitmap.get(), nullptr, 16));
    const BitmapHandle before = *bitmap.get();
    const std::vector<RGBQUAD> palette = RandomPalette(random, 7);
    std::vector<unsigned> table(32768);
    // Memory fails in turn for the state, the errors and the cells; nothing is kept and the caller's table is not
    // touched.
    for (unsigned *cells : {static_cast<unsigned *>(nullptr), table.data()})
        ForEachFault(kFaultMemory, [&](FaultInjector &faults) {
            std::ranges::fill(table, 0u);
            BitmapHandle copy = before;
            copy.DitherState = nullptr;
            const int status = faults.Run([&] { return BeginDithering(&copy, palette.data(), 7, 3, cells); });
            EXPECT_EQ(faults.struck() ? ERR_NO_MEMORY : RESULT_SUCCESS, status);
            EXPECT_EQ(faults.struck(), copy.DitherState == nullptr);
            if (faults.struck())
                EXPECT_EQ(32768, std::ranges::count(table, 0u));
            V_StopDithering(&copy);
        });
    EXPECT_EQ(ERR_INV_PARAMETER, BeginDithering(bitmap.get(), nullptr, 3, 1, nullptr));
    EXPECT_EQ(ERR_INV_PARAMETER, BeginDithering(bitmap.get(), nullptr, 256, 9, nullptr));
    ExpectRows(bitmap.get(), source, DitherModel(6, first.target, source), 4);
}

// ---- Painting -------------------------------------------------------------------------------------------------

namespace {

// The indices of a segment by the rules for painting; `waiting` are the sums for the columns of this row.
std::vector<int> SegmentModel(int method, Target &target, const Source &source, int row, int first, int end, int phase,
                              std::vector<Color> *waiting)
{
    std::vector<int> indices;
    std::vector<Color> next(waiting->size(), Color{});
    Color right = {};
    for (int x = first; x < end; ++x) {
        Color color = source.ColorAt(row, x);
        if (method >= 7) {
            indices.push_back(target.OrderedIndex(color, Threshold(method == 8, row, x + phase)));
            continue;
        }
        for (int part = 0; part < 3; ++part)
            color.part[part] = Clamp(color.part[part] + ((*waiting)[size_t(x)].part[part] + right.part[part]) / 16);
        indices.push_back(target.Index(color));
        for (int part = 0; part < 3; ++part) {
            const int error = color.part[part] - target.Shown(indices.back()).part[part];
            right.part[part] = 7 * error;
            if (x > first)
                next[size_t(x) - 1].part[part] += 3 * error;
            next[size_t(x)].part[part] += 5 * error;
            if (x + 1 < end)
                next[size_t(x) + 1].part[part] += error;
        }
    }
    if (method < 7)
        std::copy(next.begin() + first, next.begin() + end, waiting->begin() + first);
    return indices;
}

} // namespace

TEST_F(Dithering, SegmentsMatchTheTextbookAndLeaveTheirSurroundingsAlone)
{
    const struct {
        unsigned mode;
        int method;
    } kModes[] = {{0, 1}, {0x20, 1}, {1, 7}, {0x21, 8}, {0x100, 1}, {0x101, 7}};
    Random random(33);
    for (int round = 0; round < 600; ++round) {
        const auto &mode = kModes[round % 6];
        const int device = round % 18 < 6 ? 1 : round % 18 < 12 ? 4 : 8;
        const int bits = kAllDepths[size_t(random.Between(device < 8, 10))];
        SCOPED_TRACE(testing::Message() << "mode " << mode.mode << ", " << bits << " to " << device << " bits");
        const bool wide = random.OneIn(40);
        const int width = wide ? random.Between(500, 1100) : random.Between(1, 40), height = random.Between(1, 5);
        const Source source = RandomSource(random, width, height, bits);
        Target target;
        target.paletteClass = device == 1 ? 2 : device == 4 ? 5 : mode.mode & 0x100 ? 10 : 9;
        target.bits = device;

        V_SetDisplayMode(~0u, mode.mode);
        const SegmentDither routine = SelectSegmentDither(bits, device);
        ASSERT_TRUE(routine);
        std::copy_n(routine.colors(), 1 << device, target.colors.begin());
        PaintErrors errors(width);
        ASSERT_TRUE(errors);
        std::vector<Color> waiting(size_t(width), Color{});
        GuardedBuffer input(source.RowBytes()), output(size_t(PackedBytes(width, device)));
        for (int y = 0; y < height; ++y) {
            const int first = random.Below(width), end = random.Between(first, width), phase = random.Below(20);
            source.CopyRow(y, &input);
            random.Fill(output.data(), output.size());
            std::vector<uint8_t> expected(output.data(), output.data() + output.size());
            const std::vector<int> indices = SegmentModel(mode.method, target, source, y, first, end, phase, &waiting);
            for (int x = first; x < end; ++x)
                SetPixelOf(expected.data(), size_t(x), device, uint32_t(indices[size_t(x - first)]));
            routine.Dither(output.data(), input.data(), first, end, phase, y, errors,
                           {source.palette.data(), source.order});
            ASSERT_TRUE(std::equal(expected.begin(), expected.end(), output.data()))
                << "row " << y << ", " << first << " to " << end;
        }
    }
    EXPECT_FALSE(FaultInjector(kFaultMemory, 1).Run([] { return bool(PaintErrors(10)); }));
}

} // namespace vexo::test
