// Quarter turns. Pixels are moved in square tiles that fit the caches, so that neither the rows that are read nor those
// that are written are visited pixel by pixel; a square bitmap is turned where it is, four tiles at a time.
#include "core/packed_pixels.h"
#include "core/prefetch.h"
#include "geometry/rotation.h"
#include "geometry/row_bands.h"
#include "geometry/turn_kernels.h"

#include <algorithm>

namespace vexo {

namespace {

constexpr int kTile = 64;          // pixels a side: whole cache lines of each row where they are whole bytes
constexpr int kStripColumns = 256; // of 1-bit pixels half a cache line of each row, of others what few pages hold

constexpr int StripColumns(int bits) { return bits > 1 && bits < 8 ? kTile : kStripColumns; }
constexpr int CountSteps(int total, int step) { return (total + step - 1) / step; }

// Pixels of 2 to 7 bits are turned as bytes. Tiles begin at a multiple of eight pixels, hence at a byte.
void TransposeIndices(int bits, uint8_t *to, ptrdiff_t toStride, const uint8_t *from, ptrdiff_t fromStride, int columns,
                      int rows)
{
    uint8_t pixels[kTile * kTile], turned[kTile * kTile];
    WithIndexDepth(bits, [&](auto format) {
        for (int r = 0; r < rows; ++r)
            format.Unpack(pixels + r * kTile, from + r * fromStride, size_t(columns));
        turnKernels.bytes[0](turned, kTile, pixels, kTile, columns, rows);
        for (int c = 0; c < columns; ++c)
            format.Pack(to + c * toStride, turned + c * kTile, size_t(rows));
    });
}

// A tile of whole-byte pixels with rows and columns exchanged, in one piece. Rows of a picture often begin at the same
// place of their pages, and few such places fit the first cache at a time: here the tile's own rows are written whole.
class TurnedTile {
public:
    explicit TurnedTile(int bytes) : m_bytes(bytes), m_stride(kTile * bytes) {}

    // Takes the pixels, and asks for those `ahead` of them, which will be taken next.
    void Read(const uint8_t *from, ptrdiff_t fromStride, int columns, int rows, ptrdiff_t ahead)
    {
        const int band = 8 * (4 / m_bytes); // a block of every kernel; only so much can be on its way at a time
        m_columns = columns;
        m_rows = rows;
        for (int r = 0; r < rows; r += band) {
            const int count = std::min(rows - r, band);
            const uint8_t *const first = from + r * fromStride;
            for (int i = 0; i < count; ++i)
                for (int byte = 0; byte < columns * m_bytes; byte += int(kCacheLine))
                    Prefetch(first + i * fromStride + byte, ahead);
            turnKernels.bytes[m_bytes - 1](m_pixels + r * m_bytes, m_stride, first, fromStride, columns, count);
        }
    }
    void Write(uint8_t *to, ptrdiff_t toStride) const
    {
        turnKernels.copyRows(to, toStride, m_pixels, m_stride, size_t(m_rows) * size_t(m_bytes), m_columns);
    }

private:
    alignas(32) uint8_t m_pixels[kTile * kTile * 4];
    const int m_bytes; // of a pixel
    const ptrdiff_t m_stride;
    int m_columns = 0, m_rows = 0; // of what was read
};

void TransposePixels(int bytes, uint8_t *to, ptrdiff_t toStride, const uint8_t *from, ptrdiff_t fromStride, int columns,
                     int rows)
{
    TurnedTile tile(bytes);
    for (int c = 0; c < columns; c += kTile) {
        const ptrdiff_t ahead = c + kTile < columns ? ptrdiff_t(kTile) * bytes : kTile * fromStride - c * bytes;
        tile.Read(from + c * bytes, fromStride, std::min(columns - c, kTile), rows, ahead);
        tile.Write(to + c * toStride, toStride);
    }
}

// Exchanges rows and columns of a strip of source columns, tile by tile.
void TransposeStrip(int bits, uint8_t *to, ptrdiff_t toStride, const uint8_t *from, ptrdiff_t fromStride, int columns,
                    int rows)
{
    if (bits == 1)
        return turnKernels.bits(to, toStride, from, fromStride, columns, rows);
    for (int r = 0; r < rows; r += kTile) {
        const int count = std::min(rows - r, kTile);
        uint8_t *const place = to + size_t(r) * size_t(bits) / 8;
        const uint8_t *const first = from + r * fromStride;
        if (bits < 8)
            TransposeIndices(bits, place, toStride, first, fromStride, columns, count);
        else
            TransposePixels(bits / 8, place, toStride, first, fromStride, columns, count);
    }
}

} // namespace

int TurnSteps(const BitmapHandle *result, const BitmapHandle *source)
{
    const int windowRows = DirectRows(source) ? source->Height : WindowRows(source, kTile);
    return CountSteps(source->Height, windowRows) * CountSteps(result->Height, StripColumns(result->BitsPerPixel));
}

int TurnRows(BitmapHandle *result, BitmapHandle *source, bool clockwise, Progress *progress)
{
    const int bits = source->BitsPerPixel, stepRows = StripColumns(bits);
    RowBand window(source, WindowRows(source, kTile)), band(result, stepRows);
    if (!window || !band)
        return ERR_NO_MEMORY;
    int status = progress ? progress->Start() : RESULT_SUCCESS;
    // A window of source rows becomes columns of the result, from `x` on. Turned clockwise, the last row comes first.
    for (int x = 0; x < source->Height && !Failed(status); x += window.capacity()) {
        const int rows = std::min(source->Height - x, window.capacity());
        status = window.Open(clockwise ? source->Height - x - rows : x, rows, true);
        const ptrdiff_t fromStride = clockwise ? -window.stride() : window.stride();
        for (int y = 0; y < source->Width && !Failed(status); y += stepRows) {
            // Columns from `y` on become rows; turned the other way, the last of them is the topmost row.
            const int columns = std::min(source->Width - y, stepRows);
            const int top = clockwise ? y : source->Width - y - columns;
            status = band.Open(top, columns, x > 0);
            if (Failed(status))
                return status;
            uint8_t *const to = band.Row(clockwise ? top : top + columns - 1) + size_t(x) * size_t(bits) / 8;
            const uint8_t *const from =
                window.Row(clockwise ? source->Height - 1 - x : x) + size_t(y) * size_t(bits) / 8;
            TransposeStrip(bits, to, clockwise ? band.stride() : -band.stride(), from, fromStride, columns, rows);
            for (int row = top; row < top + columns; ++row)
                ClearRowPadding(band.Row(row), result->Width, bits);
            status = band.Write();
            if (!Failed(status) && progress)
                status = progress->Step();
        }
    }
    return status;
}

// ---- In place -------------------------------------------------------------------------------------------------

namespace {

// The pixels of a square bitmap. A pixel at (row, column) in the upper left quarter and the three that a quarter turn
// moves it through take each other's places; all such rings together are the upper left quarter, to which the middle
// row of an odd size belongs and its middle column does not.
class Square {
public:
    Square(BitmapHandle *bitmap, bool clockwise)
        : m_rows(DirectRows(bitmap)), m_stride(bitmap->BytesPerLine), m_size(bitmap->Width),
          m_bytes(bitmap->BitsPerPixel / 8), m_clockwise(clockwise), m_waiting(m_bytes), m_moving(m_bytes)
    {
    }

    int StepCount() const { return CountSteps((m_size + 1) / 2, kTile); }

    // Turns the tiles that begin in one strip of rows, or turns them back.
    void Step(int step, bool back)
    {
        const int top = step * kTile, rows = std::min((m_size + 1) / 2 - top, kTile);
        for (int left = 0; left < m_size / 2; left += kTile) {
            const int columns = std::min(m_size / 2 - left, kTile);
            TurnRing(top, left, rows, columns, m_clockwise != back);
        }
    }

private:
    struct Tile {
        uint8_t *first;
        int columns, rows;
    };

    // The tile that n quarter turns clockwise move the given one to, its rows in their order on the screen.
    Tile Turned(int n, int top, int left, int rows, int columns) const
    {
        for (; n > 0; --n) {
            const int newTop = left, newLeft = m_size - top - rows;
            top = newTop;
            left = newLeft;
            std::swap(rows, columns);
        }
        return {m_rows + top * m_stride + left * m_bytes, columns, rows};
    }

    // Takes a tile turned: clockwise its lowest row becomes the first column, otherwise its first column the last row.
    void Read(TurnedTile *turned, const Tile &tile, bool clockwise, ptrdiff_t ahead) const
    {
        const uint8_t *const first = clockwise ? tile.first + (tile.rows - 1) * m_stride : tile.first;
        turned->Read(first, clockwise ? -m_stride : m_stride, tile.columns, tile.rows, ahead);
    }
    void Write(const TurnedTile &turned, const Tile &tile, bool clockwise) const
    {
        turned.Write(clockwise ? tile.first : tile.first + (tile.rows - 1) * m_stride,
                     clockwise ? m_stride : -m_stride);
    }

    // Moves a tile of the upper left quarter and the three of its ring on by a quarter turn.
    void TurnRing(int top, int left, int rows, int columns, bool clockwise)
    {
        // From one ring to the next the tiles move along the four sides.
        const ptrdiff_t across = ptrdiff_t(kTile) * m_bytes, down = kTile * m_stride;
        const ptrdiff_t steps[4] = {across, down, -across, -down};
        Tile tiles[4];
        ptrdiff_t ahead[4];
        for (int n = 0; n < 4; ++n) {
            const int place = clockwise ? n : (4 - n) % 4;
            tiles[place] = Turned(n, top, left, rows, columns);
            ahead[place] = steps[n];
        }
        // The first tile waits, turned already, while the other three move on one after the other.
        Read(&m_waiting, tiles[0], clockwise, ahead[0]);
        for (int n = 3; n > 0; --n) {
            Read(&m_moving, tiles[n], clockwise, ahead[n]);
            Write(m_moving, tiles[(n + 1) % 4], clockwise);
        }
        Write(m_waiting, tiles[1], clockwise);
    }

    uint8_t *m_rows;
    ptrdiff_t m_stride;
    int m_size;
    int m_bytes; // of a pixel
    bool m_clockwise;
    TurnedTile m_waiting, m_moving;
};

} // namespace

bool CanTurnInPlace(const BitmapHandle *bitmap)
{
    return bitmap->Width == bitmap->Height && bitmap->BitsPerPixel >= 8 && DirectRows(bitmap);
}

int TurnInPlace(BitmapHandle *bitmap, bool clockwise, int progressFrom, int progressTo)
{
    Square square(bitmap, clockwise);
    const int steps = square.StepCount();
    Progress progress(steps, progressFrom, progressTo);
    int status = progress.Start();
    int done = 0;
    while (done < steps && !Failed(status)) {
        square.Step(done++, false);
        status = progress.Step();
    }
    while (Failed(status) && done > 0)
        square.Step(--done, true);
    return status;
}

} // namespace vexo
