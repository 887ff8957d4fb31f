// Flip, reverse and the half turn, in place. All three are made of steps on one row or a pair of rows, and each step
// undoes itself when it is done a second time, which is how a stopped operation puts the rows back.
#include "geometry/mirror.h"

#include "core/compressed_rows.h"
#include "core/packed_pixels.h"
#include "regions/region.h"

#include <algorithm>

namespace vexo {

namespace {

MirrorUnit UnitOf(int bits)
{
    switch (bits) {
    case 1: return kBits1;
    case 2: return kBits2;
    case 4: return kBits4;
    case 16: return kBytes2;
    case 24: return kBytes3;
    case 32: return kBytes4;
    default: return kBytes1; // 8 bits, and the indices that straddling depths are unpacked to
    }
}

constexpr bool StraddlesBytes(int bits) { return bits < 8 && 8 % bits != 0; }

} // namespace

// ---- Rows -----------------------------------------------------------------------------------------------------

RowMirror::RowMirror(int width, int bits)
    : m_width(width), m_bits(bits), m_bytes(size_t(PackedBytes(width, bits))),
      m_spareBits(bits < 8 ? int(m_bytes * 8 - size_t(width) * size_t(bits)) : 0),
      m_unit(mirrorKernels.units[UnitOf(bits)])
{
    if (StraddlesBytes(bits))
        m_work.emplace(size_t(width));
}

// The reversal of whole bytes has brought the spare bits to the front.
void RowMirror::DropSpareBits(uint8_t *row) const
{
    if (m_spareBits > 0)
        mirrorKernels.shiftBits(row, m_bytes, m_spareBits);
}

void RowMirror::Reverse(uint8_t *row) const
{
    if (m_work) {
        WithIndexDepth(m_bits, [&](auto pixels) {
            pixels.Unpack(m_work->data(), row, size_t(m_width));
            m_unit.reverse(m_work->data(), size_t(m_width));
            pixels.Pack(row, m_work->data(), size_t(m_width));
        });
        return;
    }
    m_unit.reverse(row, m_bytes);
    DropSpareBits(row);
}

void RowMirror::ExchangeReversed(uint8_t *row, uint8_t *other) const
{
    if (m_work) {
        Reverse(row);
        Reverse(other);
        mirrorKernels.exchange(row, other, m_bytes);
        return;
    }
    m_unit.exchangeReversed(row, other, m_bytes);
    DropSpareBits(row);
    DropSpareBits(other);
}

// ---- Bitmaps --------------------------------------------------------------------------------------------------

namespace {

// One bitmap in the course of being mirrored. The three kinds of storage differ in how they reach a row: memory rows
// are mirrored where they are, compressed ones as runs, those of a file pass through two buffers.
class BitmapMirror {
public:
    BitmapMirror(BitmapHandle *bitmap, Mirroring mirroring)
        : m_bitmap(bitmap), m_mirroring(mirroring), m_direct(DirectRows(bitmap)), m_bytes(size_t(bitmap->BytesPerLine)),
          m_rowMirror(bitmap->Width, bitmap->BitsPerPixel)
    {
        if (!m_direct && !IsCompressed(bitmap))
            m_buffers.emplace(2 * m_bytes);
    }

    explicit operator bool() const { return m_rowMirror && (!m_buffers || *m_buffers); }

    int StepCount() const
    {
        const int height = m_bitmap->Height;
        return m_mirroring == Mirroring::Reverse ? height
                                                 : height / 2 + (m_mirroring == Mirroring::HalfTurn) * (height % 2);
    }

    // Does a step, or undoes it: every step is its own inverse.
    int Step(int row)
    {
        const int other = m_mirroring == Mirroring::Reverse ? row : m_bitmap->Height - 1 - row;
        if (m_direct)
            return StepInMemory(m_direct + size_t(row) * m_bytes, m_direct + size_t(other) * m_bytes);
        return IsCompressed(m_bitmap) ? StepOnRuns(row, other) : StepOnFile(row, other);
    }

private:
    int StepInMemory(uint8_t *row, uint8_t *other)
    {
        if (row == other)
            m_rowMirror.Reverse(row);
        else if (m_mirroring == Mirroring::HalfTurn)
            m_rowMirror.ExchangeReversed(row, other);
        else
            mirrorKernels.exchange(row, other, m_bytes);
        return RESULT_SUCCESS;
    }

    int StepOnRuns(int row, int other)
    {
        if (m_mirroring != Mirroring::Flip) {
            int status = ReverseCompressedRow(m_bitmap, row);
            if (Failed(status) || row == other)
                return status;
            status = ReverseCompressedRow(m_bitmap, other);
            if (Failed(status)) {
                ReverseCompressedRow(m_bitmap, row);
                return status;
            }
        }
        ExchangeCompressedRows(m_bitmap, row, other);
        return RESULT_SUCCESS;
    }

    int StepOnFile(int row, int other)
    {
        uint8_t *const rowBytes = m_buffers->data();
        uint8_t *const otherBytes = row == other ? rowBytes : rowBytes + m_bytes;
        int status = ReadRow(m_bitmap, rowBytes, row);
        if (!Failed(status) && row != other)
            status = ReadRow(m_bitmap, otherBytes, other);
        if (Failed(status))
            return status;
        StepInMemory(rowBytes, otherBytes);
        const auto write = [&] {
            const int written = WriteRow(m_bitmap, rowBytes, row);
            return Failed(written) || row == other ? written : WriteRow(m_bitmap, otherBytes, other);
        };
        status = write();
        if (Failed(status)) {
            StepInMemory(rowBytes, otherBytes);
            write(); // the first of the two may have reached the file
        }
        return status;
    }

    BitmapHandle *m_bitmap;
    Mirroring m_mirroring;
    uint8_t *m_direct; // the first row of memory storage
    size_t m_bytes;
    RowMirror m_rowMirror;
    std::optional<Buffer<uint8_t>> m_buffers; // two rows
};

void MirrorRegion(BitmapHandle *bitmap, Mirroring mirroring)
{
    if (!bitmap->Region)
        return;
    if (mirroring != Mirroring::Reverse)
        FlipRegion(*bitmap->Region, bitmap->Height);
    if (mirroring != Mirroring::Flip)
        ReverseRegion(*bitmap->Region, bitmap->Width);
}

} // namespace

int MirrorBitmap(BitmapHandle *bitmap, Mirroring mirroring, int progressFrom, int progressTo)
{
    const BitmapLock lock(bitmap);
    BitmapMirror mirror(bitmap, mirroring);
    if (!mirror)
        return ERR_NO_MEMORY;
    const int steps = mirror.StepCount();
    Progress progress(steps, progressFrom, progressTo);
    int status = progress.Start();
    int done = 0;
    while (done < steps && !Failed(status)) {
        status = mirror.Step(done);
        if (Failed(status))
            break;
        ++done;
        status = progress.Step();
    }
    if (steps == 0 && !Failed(status))
        status = progress.Step(); // nothing to exchange: complete at once
    if (Failed(status)) {
        while (done > 0)
            mirror.Step(--done);
        return status;
    }
    MirrorRegion(bitmap, mirroring);
    return RESULT_SUCCESS;
}

} // namespace vexo

// ---- Exports --------------------------------------------------------------------------------------------------

using namespace vexo;

int VEXO_CALL V_FlipBitmap(BitmapHandle *bitmap)
{
    return IsAllocated(bitmap) ? MirrorBitmap(bitmap, Mirroring::Flip, 0, 100) : ERR_NO_BITMAP;
}

int VEXO_CALL V_ReverseBitmap(BitmapHandle *bitmap)
{
    return IsAllocated(bitmap) ? MirrorBitmap(bitmap, Mirroring::Reverse, 0, 100) : ERR_NO_BITMAP;
}
