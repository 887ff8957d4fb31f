// Quarter turns. Pixels are moved in square tiles that fit the caches, so that neither the rows that are read nor those
// that are written are visited pixel by pixel; a square bitmap is turned where it is, four tiles at a time.
#include "core/packed_pixels.h"
#include "geometry/rotation.h"
#include "geometry/row_bands.h"
#include "geometry/turn_kernels.h"

#include <algorithm>

namespace vexo {

namespace {

constexpr int kTile = 128;       // whole-byte pixels a side: some cache lines of each row
constexpr int kPackedTile = 64;  // pixels of 2 to 7 bits a side, and rows of 1-bit pixels
constexpr int kBitColumns = 256; // columns of 1-bit pixels: half a cache line of each row

constexpr int TileRows(int bits) { return bits < 8 ? kPackedTile : kTile; }
constexpr int TileColumns(int bits) { return bits == 1 ? kBitColumns : TileRows(bits); }
constexpr int CountSteps(int total, int step) { return (total + step - 1) / step; }

// Pixels of 2 to 7 bits are turned as bytes. Tiles begin at a multiple of eight pixels, hence at a byte.
void TransposeIndices(int bits, uint8_t *to, ptrdiff_t toStride, const uint8_t *from, ptrdiff_t fromStride, int columns,
                      int rows)
{
    uint8_t pixels[kPackedTile * kPackedTile], turned[kPackedTile * kPackedTile];
    WithIndexDepth(bits, [&](auto format) {
        for (int r = 0; r < rows; ++r)
            format.Unpack(pixels + r * kPackedTile, from + r * fromStride, size_t(columns));
        turnKernels.bytes[0](turned, kPackedTile, pixels, kPackedTile, columns, rows);
        for (int c = 0; c < columns; ++c)
            format.Pack(to + c * toStride, turned + c * kPackedTile, size_t(rows));
    });
}

// Exchanges rows and columns of a strip of source columns, tile by tile.
void TransposeStrip(int bits, uint8_t *to, ptrdiff_t toStride, const uint8_t *from, ptrdiff_t fromStride, int columns,
                    int rows)
{
    for (int r = 0; r < rows; r += TileRows(bits)) {
        const int count = std::min(rows - r, TileRows(bits));
        uint8_t *const place = to + size_t(r) * size_t(bits) / 8;
        const uint8_t *const first = from + r * fromStride;
        if (bits == 1)
            turnKernels.bits(place, toStride, first, fromStride, columns, count);
        else if (bits < 8)
            TransposeIndices(bits, place, toStride, first, fromStride, columns, count);
        else
            turnKernels.bytes[bits / 8 - 1](place, toStride, first, fromStride, columns, count);
    }
}

} // namespace

int TurnSteps(const BitmapHandle *result, const BitmapHandle *source)
{
    const int windowRows = DirectRows(source) ? source->Height : WindowRows(source, kTile);
    return CountSteps(source->Height, windowRows) * CountSteps(result->Height, TileColumns(result->BitsPerPixel));
}

int TurnRows(BitmapHandle *result, BitmapHandle *source, bool clockwise, Progress *progress)
{
    const int bits = source->BitsPerPixel, stepRows = TileColumns(bits);
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
    // `waiting` has room for a tile.
    Square(BitmapHandle *bitmap, bool clockwise, uint8_t *waiting)
        : m_rows(DirectRows(bitmap)), m_stride(bitmap->BytesPerLine), m_size(bitmap->Width),
          m_bytes(bitmap->BitsPerPixel / 8), m_transpose(turnKernels.bytes[m_bytes - 1]), m_clockwise(clockwise),
          m_waiting(waiting)
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
        ptrdiff_t stride;
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
        return {m_rows + top * m_stride + left * m_bytes, m_stride, columns, rows};
    }

    // Writes a tile turned: clockwise its lowest row becomes the first column, otherwise its first column the last row.
    void Move(const Tile &to, const Tile &from, bool clockwise) const
    {
        if (clockwise)
            m_transpose(to.first, to.stride, from.first + (from.rows - 1) * from.stride, -from.stride, from.columns,
                        from.rows);
        else
            m_transpose(to.first + (to.rows - 1) * to.stride, -to.stride, from.first, from.stride, from.columns,
                        from.rows);
    }

    // Moves a tile of the upper left quarter and the three of its ring on by a quarter turn.
    void TurnRing(int top, int left, int rows, int columns, bool clockwise)
    {
        Tile tiles[4];
        for (int n = 0; n < 4; ++n)
            tiles[clockwise ? n : (4 - n) % 4] = Turned(n, top, left, rows, columns);
        // The first tile waits, turned already, while the other three move on one after the other.
        const Tile held = {m_waiting, tiles[1].columns * m_bytes, tiles[1].columns, tiles[1].rows};
        Move(held, tiles[0], clockwise);
        Move(tiles[0], tiles[3], clockwise);
        Move(tiles[3], tiles[2], clockwise);
        Move(tiles[2], tiles[1], clockwise);
        for (int r = 0; r < held.rows; ++r)
            memcpy(tiles[1].first + r * m_stride, m_waiting + r * held.stride, size_t(held.stride));
    }

    uint8_t *m_rows;
    ptrdiff_t m_stride;
    int m_size;
    int m_bytes; // of a pixel
    TurnKernels::Transpose m_transpose;
    bool m_clockwise;
    uint8_t *m_waiting;
};

} // namespace

bool CanTurnInPlace(const BitmapHandle *bitmap)
{
    return bitmap->Width == bitmap->Height && bitmap->BitsPerPixel >= 8 && DirectRows(bitmap);
}

int TurnInPlace(BitmapHandle *bitmap, bool clockwise, int progressFrom, int progressTo)
{
    Buffer<uint8_t> waiting(size_t(kTile) * kTile * unsigned(bitmap->BitsPerPixel / 8));
    if (!waiting)
        return ERR_NO_MEMORY;
    Square square(bitmap, clockwise, waiting.data());
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
