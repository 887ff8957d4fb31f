// What the rest of the library uses of the core: process and thread state, working memory, owners for the things an
// operation acquires, and the way to a bitmap's rows.
#ifndef VEXO_CORE_CORE_H
#define VEXO_CORE_CORE_H

#include "vexokit.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace vexo {

// ---- Process and thread state ---------------------------------------------------------------------------------

inline constexpr int kFrameBrushCount = 8;

// One instance per loaded library, written at process attach and detach only.
struct Process {
    LONG processCount = 0;        // processes attached
    bool isWin32s = false;        // running on the Win32s subset: global memory and temporary files hold pixels
    bool thunkRegistered = false; // the 16-bit companion library answered
    void *thunkEntry = nullptr;   // the 32-to-16-bit call entry it gave
    DWORD tlsIndex = TLS_OUT_OF_INDEXES;
    HBRUSH frameBrushes[kFrameBrushCount] = {}; // marching stripes for region frames
};
extern Process process;

// A DIB header followed by its colour table.
struct PaintHeader {
    BITMAPINFOHEADER header;
    union {
        RGBQUAD colors[256];
        WORD paletteIndices[256]; // for painting with palette indices
    };
};
static_assert(sizeof(PaintHeader) == 1064);

// Storage of a freed bitmap that waits for the next one (mappings.cpp).
struct KeptMapping {
    HANDLE handle;
    void *view;
    size_t capacity; // bytes; 0: none
};

// Settings and caches of one thread, zero-filled, then given the defaults of SetThreadDefaults (startup.cpp).
struct ThreadSettings {
    unsigned *userMatchTable;
    HDC printJob;
    VexoOpenCallback ioOpen;
    VexoReadCallback ioRead;
    VexoWriteCallback ioWrite;
    VexoSeekCallback ioSeek;
    VexoCloseCallback ioClose;
    int defaultDitherMode;
    int defaultXResolution;
    int defaultYResolution;
    VexoStatusCallback statusCallback;
    PaintHeader paintHeader;
    PaintHeader printPaintHeader;
    unsigned displayMode;
    int storageCaching;
    KeptMapping keptMappings[2];     // owned; the newest first
    struct ColourCache *colourCache; // owned; made and freed by the colour folder
};

// The calling thread's block, made on first use for a thread that was running before the library was loaded. Null only
// when memory for it cannot be had.
ThreadSettings *CurrentThread();
// The same without making one.
ThreadSettings *ExistingThread();
// The same for readers: the defaults stand in for a block that cannot be made.
const ThreadSettings &CurrentSettings();

// Closes the freed storage that the calling thread keeps for its next bitmaps. False when there was none. What cannot
// be allocated is tried again after this, before anyone hears of it.
bool FreeKeptMappings();

// Entry point steps; the DLL's DllMain and the tests' main call them.
bool AttachProcess(HMODULE module);
bool AttachThread();
void DetachThread();
void DetachProcess(HMODULE module);

// ---- Processor features ---------------------------------------------------------------------------------------

// Baseline is SSE2, Avx2 includes BMI1, BMI2, LZCNT and POPCNT, and Gfni is that with its forms of 32 bytes.
enum class CpuLevel { Baseline, Ssse3, Avx2, Gfni };
CpuLevel DetectCpuLevel();
// Whether the string instructions move large blocks as fast as the caches take them.
bool HasFastStringMoves();

// ---- Status values --------------------------------------------------------------------------------------------

constexpr bool Failed(int status) { return status != RESULT_SUCCESS; }
constexpr bool TransferFailed(int byteCount) { return byteCount < 0; }

// ---- Working memory -------------------------------------------------------------------------------------------

// Owns a block of V_OsAlloc. Tests as false when the allocation failed. The count is 64 bits wide, so that a product of
// sizes that is too large fails, too, instead of wrapping around to a small block.
template <class T>
class Buffer {
public:
    enum class Fill { None, Zero };

    explicit Buffer(uint64_t count, Fill fill = Fill::None)
        : m_data(count <= kMaxBytes / sizeof(T)
                     ? static_cast<T *>(V_OsAllocInit(unsigned(count * sizeof(T)), fill == Fill::Zero))
                     : nullptr),
          m_size(m_data ? size_t(count) : 0)
    {
    }
    ~Buffer()
    {
        if (m_data)
            V_OsFree(m_data);
    }
    Buffer(const Buffer &) = delete;
    Buffer &operator=(const Buffer &) = delete;

    explicit operator bool() const { return m_data != nullptr; }
    T *data() const { return m_data; }
    size_t size() const { return m_size; }
    T &operator[](size_t index) const { return m_data[index]; }
    std::span<T> span() const { return {m_data, m_size}; }

    // Hands the block over to the caller.
    T *Release()
    {
        T *data = m_data;
        m_data = nullptr;
        m_size = 0;
        return data;
    }

private:
    static constexpr size_t kMaxBytes = 0xFFFFFF00u;
    T *m_data;
    size_t m_size;
};

// V_OsReAlloc for blocks the library keeps: a block that cannot be re-sized stays locked, so its pointer stays good.
void *ReAllocKeepingLock(void *block, unsigned size);

// ---- Bitmaps --------------------------------------------------------------------------------------------------

constexpr bool IsSupportedDepth(int bits) { return (bits >= 1 && bits <= 8) || bits == 16 || bits == 24 || bits == 32; }
constexpr bool IsPalettised(int bits) { return bits <= 8; }

// Bytes of a row of packed pixels, and of one padded to 4 bytes. 64 bits wide, so that no width overflows them.
constexpr int64_t PackedBytes(int64_t width, int bits) { return (width * bits + 7) / 8; }
constexpr int64_t PaddedRowBytes(int64_t width, int bits) { return (width * bits + 31) / 32 * 4; }

// Clears the bytes of a padded row behind its last pixel, where a conversion leaves what was there before.
inline void ClearRowPadding(uint8_t *row, int width, int bits)
{
    const size_t packed = size_t(PackedBytes(width, bits));
    memset(row + packed, 0, size_t(PaddedRowBytes(width, bits)) - packed);
}

inline bool IsAllocated(const BitmapHandle *bitmap) { return bitmap && (bitmap->Flags & FLAG_ALLOCATED); }
// Deliberate: a deeper bitmap allocated with STORAGE_COMPRESSED keeps the flag that its record had. It means nothing.
inline bool IsCompressed(const BitmapHandle *bitmap)
{
    return (bitmap->Flags & FLAG_COMPRESSED) && bitmap->BitsPerPixel == 1;
}
// Rows one after the other in memory. They lie at Data while the bitmap is locked.
inline bool HasRowsInMemory(const BitmapHandle *bitmap)
{
    return IsAllocated(bitmap) && (bitmap->Flags & FLAG_MEMORY) && !IsCompressed(bitmap);
}

// The stored row that holds line y of the picture, counted from the top.
inline int StoredRow(const BitmapHandle *bitmap, int y)
{
    return bitmap->Orientation == ORIENT_BOTTOM_UP ? bitmap->Height - 1 - y : y;
}

// Locks a bitmap for a scope.
class BitmapLock {
public:
    explicit BitmapLock(BitmapHandle *bitmap) : m_bitmap(bitmap), m_previous(V_LockBitmap(bitmap)) {}
    ~BitmapLock() { V_UnlockBitmap(m_bitmap, m_previous); }
    BitmapLock(const BitmapLock &) = delete;
    BitmapLock &operator=(const BitmapLock &) = delete;

private:
    BitmapHandle *m_bitmap;
    int m_previous;
};

// The second record an operation builds. Frees it unless it was committed.
class PendingBitmap {
public:
    PendingBitmap() = default;
    ~PendingBitmap() { V_FreeBitmap(&m_record); }
    PendingBitmap(const PendingBitmap &) = delete;
    PendingBitmap &operator=(const PendingBitmap &) = delete;

    BitmapHandle *record() { return &m_record; }
    BitmapHandle *operator->() { return &m_record; }

    // Frees what the caller's record holds and moves this one into it.
    void CommitTo(BitmapHandle *caller);
    // Exchanges storage and size with a record of the same format that owns storage. All else of the caller's record
    // stays as it is, and so does its lock.
    void ExchangeStorage(BitmapHandle *caller);
    // Moves this record into one whose contents count for nothing.
    void MoveTo(BitmapHandle *empty);
    // Moves what was made from `source` into `destination`: a record to be filled, or the source's own, which is then
    // replaced.
    void DeliverTo(BitmapHandle *destination, const BitmapHandle *source);

private:
    BitmapHandle m_record = {};
};

// V_AllocateBitmap, and V_DupBitmapNewDim with DUP_ALLOCATE, for a bitmap whose rows are all written to the last byte
// of their padding before anyone sees them: rows in memory may start out as those of a freed bitmap.
int AllocateForFilling(BitmapHandle *bitmap, int memoryType);
int DuplicateForFilling(BitmapHandle *destination, const BitmapHandle *source, int width, int height, int bitsPerPixel,
                        unsigned flags);

// Clears a new bitmap where the storage does not start out as zeros, which only global memory does not. The bitmap must
// be locked.
void ClearNewStorage(BitmapHandle *bitmap);

// The first row of a bitmap whose rows lie in memory, BytesPerLine apart, or null for disk and compressed storage. The
// bitmap must be locked.
inline uint8_t *DirectRows(const BitmapHandle *bitmap)
{
    return HasRowsInMemory(bitmap) ? static_cast<uint8_t *>(bitmap->Data) : nullptr;
}

// Whole-row transfers as statuses: RESULT_SUCCESS or the error of the row functions.
int ReadRow(BitmapHandle *bitmap, void *buffer, int row);
int WriteRow(BitmapHandle *bitmap, const void *buffer, int row);

// What the transfers above are made of: the byte offset of a row, which moves the record's row cache, and bytes of a
// row of uncompressed storage, whatever pixels they belong to. Bytes moved, or an error.
unsigned RowOffset(BitmapHandle *bitmap, int row);
int GetRowBytes(BitmapHandle *bitmap, void *buffer, int row, unsigned firstByte, int byteCount);
int PutRowBytes(BitmapHandle *bitmap, const void *buffer, int row, unsigned firstByte, int byteCount);

// ---- Progress -------------------------------------------------------------------------------------------------

// The percentage of a long operation of `steps` steps: reports `from` (0) at the start, adds its share of the range a
// step and carries the remainder, so that the last step reports `to` (100). Quiet while the percentage does not change.
class Progress {
public:
    explicit Progress(int steps, int from = 0, int to = 100)
        : m_callback(CurrentSettings().statusCallback), m_steps(steps > 0 ? steps : 1),
          m_share(Range(from, to) / m_steps), m_rest(Range(from, to) % m_steps), m_percent(from)
    {
    }

    // Reports the start. RESULT_SUCCESS, or the callback's wish to stop.
    int Start() { return Report(); }

    // One more step is done.
    int Step()
    {
        const int64_t before = m_percent;
        m_percent += m_share;
        m_carry += m_rest;
        if (m_carry >= m_steps) {
            m_carry -= m_steps;
            ++m_percent;
        }
        return m_percent == before ? RESULT_SUCCESS : Report();
    }

private:
    static int64_t Range(int from, int to) { return to > from ? int64_t(to) - from : 0; }
    int Report() const { return m_callback ? m_callback(int(m_percent)) : RESULT_SUCCESS; }

    VexoStatusCallback m_callback;
    int m_steps;
    int64_t m_share; // of the range for each step, and what is left over; a caller may ask for any range
    int64_t m_rest;
    int64_t m_percent;
    int64_t m_carry = 0;
};

} // namespace vexo

#endif
