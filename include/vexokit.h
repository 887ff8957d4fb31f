/* VEXOKIT: the kernel library of a raster-imaging toolkit for Windows.
 *
 * Every operation works on one record, the BitmapHandle, which the caller owns and passes by address. The library
 * fills it in, allocates the pixel storage behind it and reads and writes it row by row. A minimal program:
 *
 *     BitmapHandle bitmap;
 *     if (V_CreateBitmap(&bitmap, STORAGE_MEMORY, 640, 480, 24, COLOR_ORDER_BGR, NULL, ORIENT_BOTTOM_UP)
 *         == RESULT_SUCCESS) {
 *         V_PutPixelColor(&bitmap, 0, 0, RGB(255, 0, 0));
 *         V_FreeBitmap(&bitmap);
 *     }
 *
 * Conventions that hold for the whole interface:
 *
 * - Functions use the callee-pops convention (VEXO_CALL); the file functions that double as redirection callbacks
 *   use the caller-pops one (VEXO_CDECL).
 * - Most functions return a status: RESULT_SUCCESS (1), RESULT_FAILURE (0) or one of the negative ERR_ values.
 * - A failing call leaves the caller's bitmap as it was and keeps nothing it had allocated, unless the comment of the
 *   function says otherwise. A null record gives ERR_NO_BITMAP where no other status is named.
 * - Row numbers are stored rows: row 0 is the bottom line of the picture when Orientation is ORIENT_BOTTOM_UP.
 * - Rectangles are left, top, right, bottom; right and bottom are exclusive.
 * - The library starts no threads and takes no locks. Settings belong to the calling thread. One record must not be
 *   used by two threads at once; different records may.
 * - Colour arrays are RGBQUADs (blue, green, red, reserved).
 *
 * The header needs windows.h only and compiles as C and as C++. The 64-bit library has the same fields in the same
 * order with native pointers and handles; sizes given in bytes are those of the 32-bit library. */
#ifndef VEXOKIT_H
#define VEXOKIT_H

#include <windows.h>

#ifdef __cplusplus
extern "C" {
#endif

#define VEXO_CALL  __stdcall
#define VEXO_CDECL __cdecl
#ifndef VEXO_API
#define VEXO_API
#endif

/* ---- Status values ------------------------------------------------------------------------------------------- */

#define RESULT_SUCCESS          1    /* done */
#define RESULT_FAILURE          0    /* plain failure */
#define ERR_NO_MEMORY           (-1) /* an allocation, a mapping or a temporary file could not be had */
#define ERR_NO_BITMAP           (-2) /* null record, or a bitmap without storage */
#define ERR_FILE_SEEK           (-4) /* a seek on disk storage did not land where asked */
#define ERR_FILE_WRITE          (-5) /* short write to disk storage */
#define ERR_FILE_READ           (-7) /* short read from disk storage */
#define ERR_INV_RANGE           (-11) /* a size or range of zero, outside the bitmap, or beyond 32 bits */
#define ERR_INV_PARAMETER       (-13) /* null pointer, bad mode, depth, index or flag */
#define ERR_BAD_REQUEST         (-16) /* a layout the library does not handle */
#define ERR_BAD_BITS_PER_PIXEL  (-27) /* a depth other than 1 to 8, 16, 24 or 32 */

/* ---- Colours --------------------------------------------------------------------------------------------------
 * A colour is 0x00BBGGRR, or COLOR_INDEX(i) to name entry i of a palette (top byte 1). */

#define COLOR_INDEX(index)      ((COLORREF)(0x01000000u | (unsigned)(index)))
#define COLOR_INVALID           ((COLORREF)0x80000000u) /* what V_GetPixelColor returns for no pixel */

/* ---- The bitmap record --------------------------------------------------------------------------------------- */

/* Orientation: which line of the picture stored row 0 holds. Code tests for ORIENT_BOTTOM_UP only. */
#define ORIENT_TOP_DOWN         0
#define ORIENT_BOTTOM_UP        2

/* ColorOrder of 16, 24 and 32-bit pixels: the first byte (24, 32 bits) or the lowest field (16 bits). */
#define COLOR_ORDER_RGB         0
#define COLOR_ORDER_BGR         1

/* Flags */
#define FLAG_ALLOCATED          0x001u /* storage exists */
#define FLAG_MEMORY             0x002u /* memory storage; set for compressed storage too */
#define FLAG_DISK               0x004u /* temporary-file storage */
#define FLAG_LOCKED             0x010u /* global-memory storage is locked and Data is valid */
#define FLAG_BIT5               0x020u /* not interpreted; V_DupBitmapNewDim carries it over */
#define FLAG_WAIT_INPUT         0x040u /* animation: wait for user input after this frame */
#define FLAG_TRANSPARENT        0x080u /* animation: AnimTransparent is in force */
#define FLAG_COMPRESSED         0x100u /* compressed 1-bit rows */

/* Memory types of V_AllocateBitmap and V_CreateBitmap */
#define STORAGE_MEMORY          1     /* page-file mapping (Win32s: global memory, else a temporary file) */
#define STORAGE_DISK            128   /* page-file mapping (Win32s: temporary file) */
#define STORAGE_MEMORY_ONLY     256   /* page-file mapping (Win32s: global memory) */
#define STORAGE_COMPRESSED      0x200 /* | one of the above: compressed rows at 1 bit per pixel, ignored otherwise */

struct BitmapRegion; /* internal to the library */

/* Describes one image. The caller owns the record; between V_AllocateBitmap and V_FreeBitmap the record owns its
 * storage, its Palette and its Region. 26 fields of 32 bits (104 bytes) in the 32-bit library. */
typedef struct BitmapHandle {
    UINT_PTR Handle;             /* global-memory, file-mapping or file handle; unused for compressed storage */
    void *Data;                  /* memory: the pixels (global memory: only while locked); disk: the file's name;
                                    compressed: the library's row table */
    int Width;                   /* pixels per row */
    int Height;                  /* rows */
    int BitsPerPixel;            /* 1 to 8, 16, 24 or 32 */
    int BytesPerLine;            /* bytes per stored row, a multiple of 4 */
    unsigned CachedRowOffset;    /* byte offset of row CachedRow: the library's row-address cache */
    int CachedRow;
    unsigned Flags;              /* FLAG_ bits */
    int ColorCount;              /* 1 << BitsPerPixel for 8 bits or fewer, else 0 */
    HPALETTE Palette;            /* the bitmap's palette or null; owned by the record */
    int Orientation;             /* ORIENT_BOTTOM_UP (default) or ORIENT_TOP_DOWN */
    int ColorOrder;              /* COLOR_ORDER_ value; not looked at for palettised depths */
    unsigned Size;               /* bytes of uncompressed storage; 0: never initialised. Compressed storage: bytes of
                                    the row pool after each row write */
    void *DitherState;           /* working state of a dithering pass, or null */
    int DitherMode;              /* dithering method of reductions, 0 to 8 */
    unsigned Reserved;           /* not interpreted */
    struct BitmapRegion *Region; /* the bitmap's region or null; owned by the record */
    int XResolution;             /* dots per inch */
    int YResolution;             /* dots per inch */
    int AnimLeft;                /* left edge of this frame on an animation canvas */
    int AnimTop;                 /* top edge, from the top of the canvas */
    unsigned AnimDelay;          /* milliseconds to show the frame; 0: no delay */
    COLORREF AnimBackground;     /* background colour of the canvas */
    COLORREF AnimTransparent;    /* transparent colour, in force with FLAG_TRANSPARENT */
    int AnimDisposal;            /* 2: background colour, 3: previous contents; other: leave the frame in place */
} BitmapHandle;

/* What V_VersionInfo fills in: 104 bytes in both libraries. */
typedef struct VersionRecord {
    char Product[60];    /* Windows-1252, padded with zero bytes */
    unsigned Zero;       /* always 0 */
    unsigned Major;      /* 7 */
    unsigned Minor;      /* 0 */
    char BuildDate[16];  /* "Apr  7 1997" */
    char BuildTime[16];  /* "17:25:29" */
} VersionRecord;

/* ---- Settings of the calling thread -------------------------------------------------------------------------- */

/* Progress of a long operation: called with 0 first, then with growing percentages up to 100. Any result other than
 * RESULT_SUCCESS stops the operation, which then returns that value. */
typedef int(VEXO_CALL *VexoStatusCallback)(int percent);

/* Sets the resolution that V_InitBitmap gives to new bitmaps, in dots per inch. The value is stored unchecked; values
 * below 1 stand for 150. Returns the previous value (150 at first). */
VEXO_API int VEXO_CALL V_SetDefaultXResolution(int dotsPerInch);
VEXO_API int VEXO_CALL V_SetDefaultYResolution(int dotsPerInch);
VEXO_API int VEXO_CALL V_GetDefaultXResolution(void);
VEXO_API int VEXO_CALL V_GetDefaultYResolution(void);

/* Sets the dithering method (0 to 8) that V_InitBitmap gives to new bitmaps; 7 at first.
 * Returns RESULT_SUCCESS, or ERR_INV_PARAMETER for a method above 8 (nothing changes). */
VEXO_API int VEXO_CALL V_DefaultDithering(unsigned method);

/* Sets the display-mode bits: new mode = (old and not mask) or (value and mask). Returns the old mode (12 at first).
 * When the old mode lacked value 4 and `value` itself has it, the thread's table of palette indices starts over.
 * Returns 0 and changes nothing when the thread's settings cannot be allocated. */
VEXO_API unsigned VEXO_CALL V_SetDisplayMode(unsigned mask, unsigned value);
VEXO_API unsigned VEXO_CALL V_GetDisplayMode(void);

/* Sets the progress callback (null: none). Returns the previous one. */
VEXO_API VexoStatusCallback VEXO_CALL V_SetStatusCallBack(VexoStatusCallback callback);
VEXO_API VexoStatusCallback VEXO_CALL V_GetStatusCallBack(void);

/* Chooses how page-file mappings are cached: 0 (default) makes them with SEC_NOCACHE, 1 without it. On current Windows
 * versions every access to an uncached mapping goes to main memory, so 1 is many times faster; set it unless another
 * process or a device must see each write at once. It holds for bitmaps allocated afterwards by the calling thread.
 * With 1 the calling thread also keeps storage that it frees for bitmaps to come, because new storage is dear to touch
 * for the first time: see V_FreeBitmap. 0 gives kept storage back to the system.
 * Returns the previous value. */
VEXO_API int VEXO_CALL V_SetStorageCaching(int cached);

/* Copies the version record. Returns RESULT_SUCCESS, or ERR_INV_PARAMETER for a null pointer. */
VEXO_API int VEXO_CALL V_VersionInfo(VersionRecord *version);

/* ---- Memory and files ---------------------------------------------------------------------------------------- */

/* Working memory from the global heap, locked for its whole life. All return null on failure. V_OsAllocInit clears the
 * block when `zero` is not 0. V_OsReAlloc keeps the contents up to the smaller size; when it fails the old block stays
 * allocated but is left unlocked. V_OsFree returns 0; null is accepted. */
VEXO_API void *VEXO_CALL V_OsAlloc(unsigned size);
VEXO_API void *VEXO_CALL V_OsAllocInit(unsigned size, int zero);
VEXO_API void *VEXO_CALL V_OsReAlloc(void *block, unsigned size);
VEXO_API int VEXO_CALL V_OsFree(void *block);

/* Open flags: the low two bits choose the access (0 read, 1 write, 2 and 3 both); OS_CREATE makes the file or empties
 * it, OS_TRUNCATE empties an existing file, neither opens an existing file. */
#define OS_READ_ONLY            0
#define OS_WRITE_ONLY           1
#define OS_READ_WRITE           2
#define OS_CREATE               0x100
#define OS_TRUNCATE             0x200

/* Permission flags, which choose the sharing: both read and write, 0x80 alone none, 0x100 alone read; neither: none. */
#define OS_PERMIT_WRITE         0x080
#define OS_PERMIT_READ          0x100

/* Files are Win32 file handles; -1 means no file.
 *
 * V_OsOpen returns a handle or -1. V_OsRead and V_OsWrite return the bytes moved or -1. V_OsSeek takes origin 0 for
 * the beginning, 1 for the current position, anything else for the end, and returns the new position or 0xFFFFFFFF.
 * V_OsClose returns 0 or -1. */
VEXO_API INT_PTR VEXO_CDECL V_OsOpen(const char *name, int openFlags, int permissionFlags);
VEXO_API int VEXO_CDECL V_OsRead(INT_PTR file, void *buffer, unsigned count);
VEXO_API int VEXO_CDECL V_OsWrite(INT_PTR file, const void *buffer, unsigned count);
VEXO_API unsigned VEXO_CDECL V_OsSeek(INT_PTR file, int offset, int origin);
VEXO_API int VEXO_CDECL V_OsClose(INT_PTR file);

/* Creates or empties a file. Attribute bits: 1 read-only (the handle then reads only), 2 hidden, 4 system.
 * Returns a handle or -1. */
VEXO_API INT_PTR VEXO_CALL V_OsCreat(const char *name, int attributes);
/* Deletes a file. Returns 0 or -1. */
VEXO_API int VEXO_CALL V_OsDelete(const char *name);
/* Makes an empty file of a new name in the temporary directory and stores its name in `buffer` (260 characters or
 * more). Always returns 0; after a failure the buffer holds an empty string. */
VEXO_API int VEXO_CALL V_OsGetTempName(char *buffer);

typedef INT_PTR(VEXO_CDECL *VexoOpenCallback)(const char *name, int openFlags, int permissionFlags);
typedef int(VEXO_CDECL *VexoReadCallback)(INT_PTR file, void *buffer, unsigned count);
typedef int(VEXO_CDECL *VexoWriteCallback)(INT_PTR file, const void *buffer, unsigned count);
typedef unsigned(VEXO_CDECL *VexoSeekCallback)(INT_PTR file, int offset, int origin);
typedef int(VEXO_CDECL *VexoCloseCallback)(INT_PTR file);

/* Replaces the calling thread's five file callbacks, which the V_Redirected functions call. A null argument puts the
 * V_Os function back. */
VEXO_API void VEXO_CALL V_RedirectIO(VexoOpenCallback open, VexoReadCallback read, VexoWriteCallback write,
                                     VexoSeekCallback seek, VexoCloseCallback close);
/* Exchanges callbacks: for each pointer that is not null, the current callback is written to it, and the value it held
 * becomes the current one unless it was null. A second call with the same pointers restores the former set. */
VEXO_API void VEXO_CALL V_FilterIO(VexoOpenCallback *open, VexoReadCallback *read, VexoWriteCallback *write,
                                   VexoSeekCallback *seek, VexoCloseCallback *close);
/* Call the calling thread's current callback and return its result. */
VEXO_API INT_PTR VEXO_CDECL V_RedirectedOpen(const char *name, int openFlags, int permissionFlags);
VEXO_API int VEXO_CDECL V_RedirectedRead(INT_PTR file, void *buffer, unsigned count);
VEXO_API int VEXO_CDECL V_RedirectedWrite(INT_PTR file, const void *buffer, unsigned count);
VEXO_API unsigned VEXO_CDECL V_RedirectedSeek(INT_PTR file, int offset, int origin);
VEXO_API int VEXO_CDECL V_RedirectedClose(INT_PTR file);

/* ---- Bitmaps and their storage ------------------------------------------------------------------------------- */

/* Fills in a record without storage: zeroes it, then sets the size fields, Orientation (bottom up), ColorOrder (blue
 * first above 8 bits), ColorCount, the thread's dithering method and resolutions. Any storage the record had is
 * forgotten, not freed. Width and height are checked by V_AllocateBitmap.
 * Returns RESULT_SUCCESS, ERR_NO_BITMAP for a null record, or ERR_BAD_BITS_PER_PIXEL (the record is zeroed). */
VEXO_API int VEXO_CALL V_InitBitmap(BitmapHandle *bitmap, int width, int height, int bitsPerPixel);

/* Makes row storage, all zero bits except for global memory, for a record that V_InitBitmap has filled.
 * Storage that the calling thread has kept serves again where it is large enough and at most a quarter of it is left
 * over; it is zero all the same. What is kept is given back to the system before anything is refused for lack of
 * memory.
 * memoryType: a STORAGE_ value. STORAGE_COMPRESSED counts at 1 bit per pixel, where the rest of the value is not
 * looked at, and is dropped at other depths, where FLAG_COMPRESSED stays as it was and counts for nothing.
 * Returns RESULT_SUCCESS; ERR_INV_RANGE for an empty size, a width or height below 1 or a size beyond 32 bits;
 * ERR_INV_PARAMETER for an unknown type; ERR_NO_MEMORY; ERR_FILE_WRITE when the temporary file cannot be extended. */
VEXO_API int VEXO_CALL V_AllocateBitmap(BitmapHandle *bitmap, int memoryType);

/* V_InitBitmap and V_AllocateBitmap in one, with a palette.
 * bitsPerPixel  a depth, or 0 for 8 bits with a palette of 256 grays
 * colorOrder    kept for 16 bits and more
 * palette       1 << bitsPerPixel quads for palettised depths, or null for the fixed palette of the depth
 * Returns RESULT_SUCCESS; ERR_INV_PARAMETER for a null record; ERR_BAD_BITS_PER_PIXEL (the record is zeroed); the
 * errors of V_AllocateBitmap, or ERR_NO_MEMORY when the palette cannot be made (the record is unchanged). */
VEXO_API int VEXO_CALL V_CreateBitmap(BitmapHandle *bitmap, int memoryType, int width, int height, int bitsPerPixel,
                                      int colorOrder, const RGBQUAD *palette, int orientation);

/* Frees the region, the palette and the storage. Harmless on a record without them. Sizes and Data are left as they
 * were; after compressed storage FLAG_MEMORY stays set.
 * A page-file mapping is closed at once, unless the calling thread has chosen V_SetStorageCaching(1): then the last two
 * it freed, of 256 KB to 128 MB and no more than 128 MB together, stay open for bitmaps to come, until the thread ends
 * or chooses otherwise. The address in Data is not to be used in either case. */
VEXO_API void VEXO_CALL V_FreeBitmap(BitmapHandle *bitmap);
/* V_FreeBitmap for an allocated bitmap, nothing otherwise. With freeAttachments 0 Palette and Region are first set to
 * null, so that a caller who copied them keeps them. Returns RESULT_SUCCESS. */
VEXO_API int VEXO_CALL V_FreeImage(BitmapHandle *bitmap, int freeAttachments);

/* Lock pairs around direct use of Data. They matter for global-memory storage only; elsewhere Data needs no lock.
 * V_LockBitmap returns the previous state (1 locked, 0 not), which goes to V_UnlockBitmap, so that pairs nest. */
VEXO_API int VEXO_CALL V_LockBitmap(BitmapHandle *bitmap);
VEXO_API void VEXO_CALL V_UnlockBitmap(BitmapHandle *bitmap, int previousState);
/* Lock without reporting, and unlock whatever the nesting. */
VEXO_API void VEXO_CALL V_AccessBitmap(BitmapHandle *bitmap);
VEXO_API void VEXO_CALL V_ReleaseBitmap(BitmapHandle *bitmap);

/* Changes the number of rows. Stored rows below the new height keep their contents (bottom up: the lower lines of the
 * picture); new rows of page-file and compressed storage are zero.
 * Returns RESULT_SUCCESS; ERR_NO_BITMAP; ERR_INV_PARAMETER for a locked bitmap; ERR_INV_RANGE for a height below 1 or
 * a size beyond 32 bits; ERR_NO_MEMORY. When shrinking compressed storage runs out of memory, Height is the new one
 * all the same and the rows beyond it are gone. */
VEXO_API int VEXO_CALL V_ChangeBitmapHeight(BitmapHandle *bitmap, int newHeight);

/* Copies all fields. Both records then share storage, palette and region; only one of them may be freed. */
VEXO_API void VEXO_CALL V_CopyBitmapHandle(BitmapHandle *destination, const BitmapHandle *source);

/* What V_DupBitmapNewDim makes for the destination itself rather than sharing it with the source */
#define DUP_ALLOCATE            1 /* storage */
#define DUP_PALETTE             2 /* a palette of its own */
#define DUP_REGION              4 /* a region of its own */

/* Makes `destination` a bitmap of another size or depth with the attributes of `source`: orientation, colour order,
 * resolutions, FLAG_BIT5, compression (1 bit only), palette, region and animation fields. Pixels are not copied.
 * Returns RESULT_SUCCESS; ERR_NO_BITMAP for a null record or a source without storage; the errors of V_AllocateBitmap;
 * ERR_NO_MEMORY when the palette or region cannot be copied. */
VEXO_API int VEXO_CALL V_DupBitmapNewDim(BitmapHandle *destination, const BitmapHandle *source, int width, int height,
                                         int bitsPerPixel, unsigned flags);

/* Copies the animation fields and their two flags; the colours pass through V_TranslateBitmapColor.
 * Returns RESULT_SUCCESS, or ERR_INV_PARAMETER for a null record. */
VEXO_API int VEXO_CALL V_CopyPlaybackParms(BitmapHandle *destination, const BitmapHandle *source);

/* Makes a colour of `source` usable in `destination`: a palette index becomes a colour where the destination is deeper
 * than 8 bits, and a colour or an index of another palette becomes the index that GDI finds nearest where it is not.
 * `source` may be null. Returns the colour. */
VEXO_API COLORREF VEXO_CALL V_TranslateBitmapColor(const BitmapHandle *destination, const BitmapHandle *source,
                                                   COLORREF color);

/* ---- Rows and pixels ----------------------------------------------------------------------------------------- */

/* Move bytes between a buffer and stored rows, in the bitmap's own format. A count beyond one row goes on in the rows
 * that follow. The `Col` forms start at a pixel column, rounded down to the byte that holds it. The bitmap must be
 * locked (V_LockBitmap); rows and counts are not checked against the size of uncompressed bitmaps.
 *
 * Compressed bitmaps: the start column is rounded down to a multiple of 8, and a transfer consumes whole stored rows:
 * each step takes min(width - start, 8 x remaining bytes) pixels and BytesPerLine - start / 8 bytes of the buffer, so
 * that BytesPerLine bytes are exactly one row. It ends at the last row.
 *
 * Return the bytes moved; ERR_NO_MEMORY for a record without storage; ERR_NO_BITMAP for a null record;
 * ERR_INV_PARAMETER for a null buffer, a negative count, or (compressed) a row or column outside the bitmap;
 * ERR_FILE_SEEK, ERR_FILE_READ, ERR_FILE_WRITE. */
VEXO_API int VEXO_CALL V_GetBitmapRow(BitmapHandle *bitmap, void *buffer, int row, int byteCount);
VEXO_API int VEXO_CALL V_PutBitmapRow(BitmapHandle *bitmap, const void *buffer, int row, int byteCount);
VEXO_API int VEXO_CALL V_GetBitmapRowCol(BitmapHandle *bitmap, void *buffer, int row, int column, int byteCount);
VEXO_API int VEXO_CALL V_PutBitmapRowCol(BitmapHandle *bitmap, const void *buffer, int row, int column, int byteCount);

/* Compressed rows as runs: unsigned 16-bit lengths of pixels that alternate between value 0 and value 1, the first of
 * value 0 (length 0 when the first pixel is 1). A run above 65535 is written as 65535, 0, rest. In expanded form the
 * first bit of the buffer is the start column; columns need not be multiples of 8.
 *
 * expanded    (pixelCount + 7) / 8 bytes, or null
 * runs        up to pixelCount + 1 words, or null
 * runCount    the number of runs read or given; pixels beyond the given runs are 0. When both buffers are given to the
 *             writer the runs count.
 * Return the pixel count; ERR_NO_BITMAP; ERR_INV_PARAMETER for a bitmap that is not compressed, both buffers null,
 * pixels outside the row or runs longer than the pixel count; ERR_NO_MEMORY. */
VEXO_API int VEXO_CALL V_GetBitmapRowColCompressed(BitmapHandle *bitmap, void *expanded, WORD *runs, int row,
                                                   int column, int pixelCount, int *runCount);
VEXO_API int VEXO_CALL V_PutBitmapRowColCompressed(BitmapHandle *bitmap, const void *expanded, const WORD *runs,
                                                   int row, int column, int pixelCount, int runCount);

/* Expands runs to bits, most significant bit first: output bit 0 is pixel `start`. `runs` must cover start + count
 * pixels; null gives zeros. Writes (count + 7) / 8 bytes. Returns 1. */
VEXO_API int VEXO_CALL V_ExpandRow(const WORD *runs, void *output, int start, int count);
/* Codes `count` bits of `input`, from bit `startBit` on, into at most count + 1 runs. Returns the pixel count. */
VEXO_API int VEXO_CALL V_CompressRow(WORD *runs, const void *input, int startBit, int count);

/* Returns the colour of a pixel as 0x00BBGGRR, or COLOR_INVALID for a null or unallocated bitmap, a pixel outside it
 * or a read that failed. */
VEXO_API COLORREF VEXO_CALL V_GetPixelColor(BitmapHandle *bitmap, int row, int column);
/* Sets a pixel of the bitmap's region. Palettised bitmaps take COLOR_INDEX(i), masked to the depth, as it is and other
 * colours through V_FindPaletteIndex. Deeper bitmaps take the nearest form of the colour; COLOR_INDEX(i) writes black.
 * The fourth byte of 32-bit pixels becomes 0.
 * Returns RESULT_SUCCESS, ERR_NO_BITMAP, ERR_INV_RANGE for a pixel outside the region or the bitmap, or a storage
 * error. */
VEXO_API int VEXO_CALL V_PutPixelColor(BitmapHandle *bitmap, int row, int column, COLORREF color);

/* ---- Copying bitmaps and alpha ------------------------------------------------------------------------------- */

/* Copies the pixels of every stored row of `source` to the same row of `destination`, as they are: both have the same
 * size and depth, and orientation plays no part. Where the sizes differ the rows and bytes that both have are copied.
 * Compressed rows stay compressed when both bitmaps have them.
 * Returns RESULT_SUCCESS; ERR_NO_BITMAP for a null record or one without storage; ERR_NO_MEMORY. Rows that a temporary
 * file does not give or take, or that a compressed destination has no memory for, are left out and not reported
 * (deliberate); between two compressed bitmaps the first such row ends the copy with its error. */
VEXO_API int VEXO_CALL V_CopyBitmapData(BitmapHandle *destination, BitmapHandle *source);

/* Makes `destination` a full copy of `source` with storage, palette and region of its own. Whatever the destination
 * held is forgotten, not freed, as by V_InitBitmap; a bitmap copied to its own record is replaced by the copy.
 * Returns RESULT_SUCCESS; the errors of V_DupBitmapNewDim and V_CopyBitmapData. */
VEXO_API int VEXO_CALL V_CopyBitmap(BitmapHandle *destination, BitmapHandle *source);

/* Makes `destination` a new bitmap of width x height with the pixels of that rectangle of `source`, in stored rows and
 * columns, and with the attributes that V_DupBitmapNewDim carries over, a palette of its own and the source's region
 * moved along. The rectangle may lie partly or wholly outside the source; there the result has zero bits, also behind
 * the last pixel copied of each row. What the destination held is treated as by V_CopyBitmap, so a bitmap can be
 * cropped in its own record.
 * Returns RESULT_SUCCESS; ERR_NO_BITMAP; ERR_INV_RANGE for a width or height below 1; ERR_NO_MEMORY; a storage error.
 * The destination is unchanged on failure. */
VEXO_API int VEXO_CALL V_CopyBitmapRect(BitmapHandle *destination, BitmapHandle *source, int left, int top, int width,
                                        int height);

/* Alpha is the fourth byte of 32-bit pixels and the top bit of 16-bit ones; other depths have none. */

/* Makes `destination` an 8-bit bitmap with 256 grays that holds the alpha of `source`: the fourth bytes; 255 or 0 for
 * the top bit; 0 throughout for other depths. Orientation, resolutions and region are those of the source, and rows
 * keep their numbers. What the destination held is treated as by V_CopyBitmap.
 * Returns RESULT_SUCCESS; ERR_NO_BITMAP; ERR_NO_MEMORY; a storage error. The destination is unchanged on failure. */
VEXO_API int VEXO_CALL V_GetBitmapAlpha(BitmapHandle *source, BitmapHandle *destination);

/* Writes the gray levels of `alphaSource` into the alpha of a bitmap, where the two pictures overlap when they are laid
 * on each other at the top left: lines are matched from the top by each bitmap's own Orientation (deliberately unlike
 * V_GetBitmapAlpha). Levels from 128 on set the top bit of 16-bit pixels. A bitmap of another depth is converted to 32
 * bits first, blue first unless it has 24 bits with red first. An alpha source that is not 8 bits deep with evenly
 * spaced grays from black is turned to gray in a copy. Region and colours stay.
 * Returns RESULT_SUCCESS; ERR_NO_BITMAP for either; ERR_NO_MEMORY; a storage error; the errors of V_ColorResBitmap and
 * V_GrayScaleBitmap and the result of a callback that stops them. The bitmap is unchanged on failure, except after a
 * storage error, when the lines before the failing one are written. */
VEXO_API int VEXO_CALL V_SetBitmapAlpha(BitmapHandle *bitmap, BitmapHandle *alphaSource);

/* ---- Bitmap lists --------------------------------------------------------------------------------------------
 * A list is an array of records that grows as needed. It owns the storage, palettes and regions of its items: a record
 * that goes in is the list's, one that is removed is the caller's. Callers hold a list by the handle of a global block
 * that stays locked; every function returns ERR_INV_PARAMETER for a null handle or one that does not lock. Items are
 * numbered from 0, and indices are unsigned, so that -1 is the largest. */

/* Makes an empty list and stores its handle, or null when it fails.
 * Returns RESULT_SUCCESS; ERR_INV_PARAMETER for a null pointer; ERR_NO_MEMORY. */
VEXO_API int VEXO_CALL V_CreateBitmapList(HGLOBAL *list);
/* Frees the items and the list; the handle is no longer valid. Returns RESULT_SUCCESS or ERR_INV_PARAMETER. */
VEXO_API int VEXO_CALL V_DestroyBitmapList(HGLOBAL list);

/* Inserts a copy of the record in front of item `index`, or at the end for an index at or beyond the count. A null
 * record inserts an item of zeros. The list owns from now on what the record describes.
 * Returns RESULT_SUCCESS; ERR_INV_PARAMETER; ERR_NO_MEMORY (the list is unchanged). */
VEXO_API int VEXO_CALL V_InsertBitmapListItem(HGLOBAL list, unsigned index, const BitmapHandle *bitmap);
/* Takes an item out of the list. `bitmap` receives the record, and the caller owns what it describes; with null that is
 * forgotten, not freed. Returns RESULT_SUCCESS, or ERR_INV_PARAMETER for an index at or beyond the count. */
VEXO_API int VEXO_CALL V_RemoveBitmapListItem(HGLOBAL list, unsigned index, BitmapHandle *bitmap);
/* Frees `count` items from `index` on, or those that there are up to the end.
 * Returns RESULT_SUCCESS, or ERR_INV_PARAMETER for an index at or beyond the number of items or a count of 0. */
VEXO_API int VEXO_CALL V_DeleteBitmapListItems(HGLOBAL list, unsigned index, unsigned count);

/* Stores the number of items. Returns RESULT_SUCCESS, or ERR_INV_PARAMETER for a null pointer. */
VEXO_API int VEXO_CALL V_GetBitmapListCount(HGLOBAL list, unsigned *count);
/* Copies the record of an item. The list keeps what it describes: the copy must not be freed.
 * Returns RESULT_SUCCESS, or ERR_INV_PARAMETER for an index at or beyond the count or a null pointer. */
VEXO_API int VEXO_CALL V_GetBitmapListItem(HGLOBAL list, unsigned index, BitmapHandle *bitmap);
/* Overwrites an item with a copy of the record, or with zeros for a null one. What the item described is not freed: the
 * caller must have taken or freed it. Returns RESULT_SUCCESS, or ERR_INV_PARAMETER for an index at or beyond the
 * count. */
VEXO_API int VEXO_CALL V_SetBitmapListItem(HGLOBAL list, unsigned index, const BitmapHandle *bitmap);

/* Makes a new list of full copies (V_CopyBitmap) of `count` items from `index` on, or of those that there are up to the
 * end, and stores its handle in `copy`, which is left alone on failure.
 * Returns RESULT_SUCCESS; ERR_INV_PARAMETER for an index at or beyond the number of items, a count of 0 or a null
 * pointer; ERR_NO_MEMORY; the errors of V_CopyBitmap, among them ERR_NO_BITMAP for an item without storage. */
VEXO_API int VEXO_CALL V_CopyBitmapListItems(HGLOBAL *copy, HGLOBAL list, unsigned index, unsigned count);

/* ---- Palettes and colour matching ---------------------------------------------------------------------------- */

/* Makes a GDI palette of `count` quads; the reserved bytes become peFlags. The caller owns it (DeleteObject).
 * Returns null for null quads, a count below 1 or above 65535, or a GDI failure. */
VEXO_API HPALETTE VEXO_CALL V_CreatePalette(const RGBQUAD *colors, int count);
/* Returns the number of entries, 0 for null. */
VEXO_API int VEXO_CALL V_GetPaletteSize(HPALETTE palette);
/* Read and write entries as quads; peFlags and reserved bytes are carried across. Both return GDI's count; on 0
 * nothing was read or written. */
VEXO_API int VEXO_CALL V_GetPaletteEntries(HPALETTE palette, int first, int count, RGBQUAD *colors);
VEXO_API int VEXO_CALL V_SetPaletteEntries(HPALETTE palette, int first, int count, const RGBQUAD *colors);
/* Returns a palette of the display's system palette, or null when the display has none. */
VEXO_API HPALETTE VEXO_CALL V_CreateSystemPalette(void);

/* The fixed palettes of depths 1 to 8: black and white; four grays; the eight corners of the cube; the 16 Windows
 * colours; and 2 or 4 evenly spaced levels a channel at 5 and 6 bits, with 8 levels of green at 7 bits and of green and
 * red at 8 bits. Returns a pointer to constant quads, or null for any other depth. */
VEXO_API const RGBQUAD *VEXO_CALL V_IntGetFixedPalette(int depth);
/* Copies the fixed palette of a depth; depth 0 gives 256 grays. Returns RESULT_SUCCESS or ERR_INV_PARAMETER. */
VEXO_API int VEXO_CALL V_GetFixedPalette(RGBQUAD *colors, int depth);
/* Returns a new palette of the fixed colours, null for a depth other than 0 (as 1) to 8. */
VEXO_API HPALETTE VEXO_CALL V_CreateFixedPalette(int depth);
/* Gives the bitmap the fixed palette for its ColorCount; the old handle is not deleted.
 * Returns RESULT_SUCCESS, or RESULT_FAILURE for another count or when the palette cannot be made. */
VEXO_API int VEXO_CALL V_CreateBitmapFixedPalette(BitmapHandle *bitmap);
/* Returns a new palette of 1 << depth evenly spaced grays (depth 0: 256; only the low five bits of depth count), null
 * for a depth that GDI cannot hold, and on failure. */
VEXO_API HPALETTE VEXO_CALL V_CreateGrayPalette(int depth);
/* Returns a new palette with the same entries, null for an empty or null one, or when memory fails. */
VEXO_API HPALETTE VEXO_CALL V_DupPalette(HPALETTE palette);

/* Reads entries of the bitmap's palette. Returns RESULT_SUCCESS; ERR_NO_BITMAP for a null record; ERR_INV_PARAMETER
 * for a count of 0, a null buffer, a bitmap deeper than 8 bits, or a palette without that many entries. */
VEXO_API int VEXO_CALL V_GetBitmapColors(const BitmapHandle *bitmap, int first, int count, RGBQUAD *colors);
/* Replaces entries; the bitmap gets a new palette object and the old one is deleted.
 * Returns RESULT_SUCCESS; ERR_NO_BITMAP for a null record or one without storage; ERR_INV_PARAMETER for a range
 * outside ColorCount, null colours or a bitmap deeper than 8 bits. When GDI cannot make the new palette, Palette is
 * null afterwards. */
VEXO_API int VEXO_CALL V_PutBitmapColors(BitmapHandle *bitmap, int first, int count, const RGBQUAD *colors);

/* Compares red, green and blue of as many entries as the palette has, up to count. Returns 1 if they are equal or the
 * palette is null or empty, else 0. */
VEXO_API int VEXO_CALL V_CompareHandleToPalette(HPALETTE palette, const RGBQUAD *colors, int count);

/* Results of V_IsGrayScaleBitmap */
#define GRAYSCALE_NO            0 /* has colours, is deeper than 8 bits or has no full palette */
#define GRAYSCALE_BLACK_FIRST   1 /* an even ramp from black */
#define GRAYSCALE_WHITE_FIRST   2 /* an even ramp from white */
#define GRAYSCALE_UNORDERED     3 /* grays that are not an even ramp */
/* Tells what grays the bitmap's palette holds. A single-colour palette counts by its own entry. */
VEXO_API int VEXO_CALL V_IsGrayScaleBitmap(const BitmapHandle *bitmap);

/* Returns a table of 256 bytes: the number of 1 bits in each byte value. */
VEXO_API const BYTE *VEXO_CALL V_Get1BitOnTable(void);

/* Finds the palette entry nearest to a colour by squared distance in red, green and blue.
 * Black takes entry 0 if that is black, else the last entry if that is; white takes the last entry first, then entry
 * 0. Among equally near entries the last one with the target's order of hue wins over an earlier one of another order;
 * the first exact match ends the search.
 * Components are 0 to 255. Returns the index, or -1 when count is below 1. */
VEXO_API int VEXO_CALL V_FindPaletteIndex(const RGBQUAD *colors, int count, int red, int green, int blue);

/* Makes a match table: 32768 words indexed by the top five bits of red (bits 10-14), green and blue; each is the index
 * nearest to the key's colour (components shifted left by three) plus one. The caller frees it with
 * V_FreeUserMatchTable. Returns null for an empty palette or when memory fails. */
VEXO_API unsigned *VEXO_CALL V_CreateUserMatchTable(const RGBQUAD *colors, int count);
/* Lends a table to the calling thread's reductions (null: none). It must have been made for the palette in use.
 * Returns the previous one. */
VEXO_API unsigned *VEXO_CALL V_SetUserMatchTable(unsigned *table);
/* Frees a table; null is accepted. Returns RESULT_SUCCESS. */
VEXO_API int VEXO_CALL V_FreeUserMatchTable(unsigned *table);

/* ---- Pixel buffer conversion --------------------------------------------------------------------------------- */

/* Converts pixels in place from one format to another, nearest colours without dithering.
 *
 * buffer        at least V_CalcConvertSize(count, sourceBits, count, destinationBits) bytes, packed from bit 0 on
 * count         pixels; a negative count does nothing
 * ...Bits       1 to 8 (palette indices, most significant bit first), 16 (five bits a channel, blue in the low bits
 *               when blue is first), 24, 32, or 0 for 8-bit gray without a palette
 * ...Order      COLOR_ORDER_ value for 16, 24 and 32 bits; not looked at otherwise
 * ...Palette    1 << bits quads, or null for the fixed palette of the depth; not looked at for 0, 16, 24 and 32 bits
 *
 * Gray levels are (5 G + 2 R + B + 4) / 8. Five-bit channels widen as (x << 3) | (x >> 2). The fourth byte of 32-bit
 * pixels survives from 32 to 32 bits and is 0 otherwise; bit 15 survives from 16 to 16 bits and is 0 otherwise.
 * Bits behind the last pixel in its byte become 0 where the pixels change.
 * Returns RESULT_SUCCESS, or ERR_INV_PARAMETER for a null buffer, a count of 0, an unknown depth or order; the buffer
 * is then untouched. */
VEXO_API int VEXO_CALL V_ConvertBuffer(void *buffer, int count, int sourceBits, int destinationBits, int sourceOrder,
                                       int destinationOrder, const RGBQUAD *sourcePalette,
                                       const RGBQUAD *destinationPalette);

/* Returns the bytes of the largest of three rows, each padded to 4 bytes: sourceCount pixels of sourceBits,
 * destinationCount pixels of sourceBits and destinationCount pixels of destinationBits. Depth 0 counts as 8. */
VEXO_API unsigned VEXO_CALL V_CalcConvertSize(int sourceCount, int sourceBits, int destinationCount,
                                              int destinationBits);

/* ---- Dithering, gray and halftone ---------------------------------------------------------------------------- */

/* Dithering methods: the DitherMode of a bitmap, V_DefaultDithering. Error diffusion goes from left to right in each of
 * the three channels; weights and divisors are those of the papers named. */
#define DITHER_NONE             0 /* nearest colours */
#define DITHER_FLOYD_STEINBERG  1 /* 1976 */
#define DITHER_STUCKI           2 /* 1981 */
#define DITHER_BURKES           3 /* 1988 */
#define DITHER_SIERRA           4 /* 1989, three rows */
#define DITHER_STEVENSON_ARCE   5 /* 1985 */
#define DITHER_JARVIS           6 /* Jarvis, Judice and Ninke 1976 */
#define DITHER_DISPERSED        7 /* ordered, 8 x 8 matrix of dispersed dots (after Bayer 1973) */
#define DITHER_CLUSTERED        8 /* ordered, 8 x 8 matrix of clustered dots */

/* Dither a bitmap's rows to a palette, one row at a time: V_StartDithering, V_DitherLine for each line of the picture
 * from the top down, V_StopDithering. The bitmap is the source; it need not have storage. Its Width, BitsPerPixel,
 * DitherMode and palette are those at the start (without a palette, the fixed one of the depth). The state hangs on the
 * record's DitherState; stop before the record is freed or filled anew. Operations that put a bitmap of another size or
 * depth in its place stop the run.
 *
 * colors       the target palette, or null for the fixed one of the depth. Entries whose reserved byte has bit 0 or 1
 *              (PC_RESERVED, PC_EXPLICIT) are not chosen unless all have. A palette equal in all bytes to the fixed one
 *              of its depth or to the head of it is matched by bit arithmetic, and the indices behind its end may come
 *              out too, for the fixed colours; the same holds for the palette of 6 x 6 x 6 levels. Other palettes are
 *              matched in a cube of 32 x 32 x 32 colours, each as the nearest entry of its corner next to black.
 * count        1 to 256. The rows that come out have the least depth that holds it.
 *
 * V_StartDithering returns RESULT_SUCCESS; ERR_NO_BITMAP for a null record; ERR_INV_PARAMETER for another count, source
 * depth or method; ERR_NO_MEMORY. On success an earlier run of the bitmap has ended; on failure it goes on. */
VEXO_API int VEXO_CALL V_StartDithering(BitmapHandle *bitmap, const RGBQUAD *colors, int count);
/* Converts the Width pixels of a row, packed from the most significant bit; ColorOrder says how pixels of more than 8
 * bits are stored. The bits behind the last pixel in its byte become 0; bytes behind it are not touched. The two rows
 * must not overlap. Returns RESULT_SUCCESS, or ERR_INV_PARAMETER for a null pointer or a bitmap without a run. */
VEXO_API int VEXO_CALL V_DitherLine(BitmapHandle *bitmap, const void *source, void *destination);
/* Ends a run and frees its state. Returns RESULT_SUCCESS, also without a run, or ERR_NO_BITMAP for a null record. */
VEXO_API int VEXO_CALL V_StopDithering(BitmapHandle *bitmap);

/* Replace a bitmap's contents in place. Orientation, resolutions, animation fields and region are kept, the storage
 * becomes STORAGE_MEMORY and the other fields those of a new bitmap; a dithering run of the bitmap ends. Progress goes
 * to the status callback, row by row.
 *
 * V_GrayScaleBitmap    to 8 bits with a palette of 256 grays: every pixel becomes its luminance,
 *                      (5 G + 2 R + B + 4) / 8
 * V_HalfToneBitmap     to 1 bit, black and white: a pixel becomes white where its luminance is above the matrix value
 *                      at stored row & 7, column & 7
 * V_HalfToneBitmapExt  the same in the two colours given, the one for the darker pixels first; null: black and white.
 *                      `flags` is 0.
 * Return RESULT_SUCCESS; ERR_NO_BITMAP for a null or unallocated bitmap, and for one of 8 bits or fewer whose palette
 * has less than ColorCount entries; ERR_INV_PARAMETER for an unknown matrix type or flags; ERR_NO_MEMORY; a storage
 * error; the callback's result when it is not RESULT_SUCCESS. */
#define HALFTONE_CLUSTERED      0
#define HALFTONE_DISPERSED      1
VEXO_API int VEXO_CALL V_GrayScaleBitmap(BitmapHandle *bitmap);
VEXO_API int VEXO_CALL V_HalfToneBitmap(BitmapHandle *bitmap, int matrixType);
VEXO_API int VEXO_CALL V_HalfToneBitmapExt(BitmapHandle *bitmap, int matrixType, const RGBQUAD *colors, unsigned flags);

/* ---- Colour spaces ------------------------------------------------------------------------------------------- */

/* Colour spaces and their pixels. Words are signed, 16 bits wide and need no alignment; 16384 stands for a component of
 * 255. A hue runs through the circle in 256 steps (HSV) or 255 steps (HLS). */
#define SPACE_BGR               0 /* 3 bytes: blue, green, red */
#define SPACE_YUV               1 /* 3 words: Y, blue - Y, red - Y */
#define SPACE_CMYK              2 /* 4 bytes: cyan, magenta, yellow, black */
#define SPACE_HSV               3 /* 3 bytes: hue, saturation, value */
#define SPACE_HLS               4 /* 3 bytes: hue, lightness, saturation */
#define SPACE_YIQ               5 /* 3 words: Y, I, Q */
#define SPACE_CMY               6 /* 3 bytes: cyan, magenta, yellow */

/* Converts pixels between two colour spaces, by way of blue-green-red bytes. Integer arithmetic throughout. Words that
 * stand for no byte wrap around when they become one; the results of CMYK and HLS are clamped.
 *
 * source, destination   `count` pixels of their spaces each. They may overlap; from SPACE_BGR they may be the same
 *                       buffer, to a space of 3 bytes a pixel.
 * count                 a count below 1 does nothing
 * Returns RESULT_SUCCESS; ERR_INV_PARAMETER for an unknown space, or for a null buffer with a count above 0;
 * ERR_NO_MEMORY when the buffers overlap and 3 bytes a pixel cannot be had. The destination is written only on
 * success. */
VEXO_API int VEXO_CALL V_ConvertColorSpace(const void *source, void *destination, int count, int sourceSpace,
                                           int destinationSpace);

/* ---- Colour reduction ---------------------------------------------------------------------------------------- */

/* Flags of V_ColorResBitmap. At most one of the palette flags may be given; without one the fixed palette serves. They
 * count for 8 bits or fewer. */
#define COLORRES_FIXED_PALETTE     0x00001u /* the fixed palette of the depth */
#define COLORRES_OWN_PALETTE       0x00002u /* the bitmap's own palette, cut or padded with black to the depth */
#define COLORRES_ORDER_BGR         0x00004u /* deeper than 8 bits: blue first; without it red first */
#define COLORRES_OPTIMIZED_PALETTE 0x00008u /* made for the colours of the bitmap */
#define COLORRES_CALLER_PALETTE    0x00010u /* the quads given; the rest of the palette is black and not used */
#define COLORRES_GRAY_PALETTE      0x00020u /* evenly spaced grays */
#define COLORRES_SYSTEM_COLORS     0x00040u /* with an optimized palette: the static colours of a display that has a
                                               palette stand at both ends of it */
#define COLORRES_NO_DITHER         0x10000u /* nearest colours */

/* Convert in place to another depth: a bitmap, or all bitmaps of a list. With an optimized palette a list gets one
 * palette for all its bitmaps. All or nothing: on failure every bitmap is as it was.
 *
 * Pixels of 8 bits or fewer are dithered by the bitmap's DitherMode, from the top of the picture down, unless
 * COLORRES_NO_DITHER asks for the entries that V_FindPaletteIndex gives. Nothing is dithered where the palette is known
 * to hold every colour. With COLORRES_OWN_PALETTE and a depth that is not less than the bitmap's, indices are carried
 * over unchanged. Otherwise the thread's user match table, if there is one, chooses the entries, with or without
 * dithering. Pixels of more than 8 bits become those of V_ConvertBuffer.
 *
 * Optimized palettes come from variance-minimising boxes (after X. Wu, "Efficient Statistical Computations for Optimal
 * Color Quantization", Graphics Gems II, 1991) and k-means (S. Lloyd, "Least Squares Quantization in PCM", IEEE
 * Transactions on Information Theory 28, 1982); their colours run from dark to light, and no more colours than fit the
 * depth are kept exactly. Entries that are left over are black.
 *
 * Orientation, region, resolutions, DitherMode, compression (1 bit only) and animation fields are kept; the storage is
 * otherwise STORAGE_MEMORY, and a dithering run of the bitmap ends. Progress goes to the status callback.
 *
 * colors, colorCount   the quads for COLORRES_CALLER_PALETTE, at most 1 << bitsPerPixel; otherwise not looked at
 * Return RESULT_SUCCESS; ERR_NO_BITMAP for a bitmap or an item without storage; ERR_BAD_BITS_PER_PIXEL;
 * ERR_INV_PARAMETER for unknown or contradicting flags, system colours without an optimized palette, missing quads, an
 * own palette that does not exist, an unknown DitherMode, or a bad list handle; ERR_NO_MEMORY; a storage error; the
 * callback's result when it is not RESULT_SUCCESS. */
VEXO_API int VEXO_CALL V_ColorResBitmap(BitmapHandle *bitmap, int bitsPerPixel, unsigned flags, const RGBQUAD *colors,
                                        int colorCount);
VEXO_API int VEXO_CALL V_ColorResBitmapList(HGLOBAL list, int bitsPerPixel, unsigned flags, const RGBQUAD *colors,
                                            int colorCount);

/* ---- Device-independent bitmaps (DIBs) ----------------------------------------------------------------------- */

/* Makes a packed DIB: one movable global block with a 40-byte header, the colour table and the rows, bottom line
 * first. 1, 4, 8 and 24 bits are kept; 2 and 3 bits become 4, 5 to 7 bits become 8, 16 and 32 bits become 24.
 * The bitmap is unchanged. The caller owns the block (GlobalFree, or the clipboard).
 * Another depth or red first is converted as by V_ColorResBitmap, which reports to the status callback and can be
 * stopped by it.
 * Returns null for a null or unallocated bitmap, or when memory or the storage fails or the callback stops. */
VEXO_API HGLOBAL VEXO_CALL V_ConvertToDIB(BitmapHandle *bitmap);
/* The same, and frees the bitmap on success; its storage becomes the DIB where that is possible. The header's
 * colours-used field is the bitmap's ColorCount, and the colour table has that many entries.
 * Returns null for a bitmap that is null, unallocated or locked, or when memory or the storage fails; the bitmap is
 * then unchanged. */
VEXO_API HGLOBAL VEXO_CALL V_ChangeToDIB(BitmapHandle *bitmap);

/* Make a bitmap in memory storage from a DIB. Both check the header before they trust it: 12-byte core headers and
 * headers of 40 bytes or more; 1, 4, 8, 16, 24 or 32 bits; one plane; no compression. Rows stored top down (negative
 * height) are turned over, so that the result is always ORIENT_BOTTOM_UP. A colour table that is too short for the
 * depth is padded with black, one that is too long is cut. A resolution of 0 takes the screen's width or height in
 * pixels as pixels per metre (deliberate).
 *
 * V_ConvertFromDIB   `header`, of at most 124 bytes, is followed by the colour table; `bits` holds the rows, each
 *                    padded to 4 bytes. ColorOrder is COLOR_ORDER_BGR at every depth.
 * V_ChangeFromDIB    the block holds header, table and rows; it is freed, or becomes the bitmap's storage, on success
 *                    and stays the caller's on failure. Nothing beyond GlobalSize is read.
 * The record is filled as by V_InitBitmap, whatever it held.
 * Return RESULT_SUCCESS; ERR_NO_BITMAP or ERR_INV_PARAMETER for null arguments (V_ConvertFromDIB: a null record is
 * ERR_NO_BITMAP); ERR_INV_PARAMETER for a block that cannot be locked or is too short for what its header says, a
 * longer header, a width below 1 or a height of 0; ERR_BAD_REQUEST for another layout; ERR_INV_RANGE for a size beyond
 * 32 bits; ERR_NO_MEMORY. The record is unchanged on failure. */
VEXO_API int VEXO_CALL V_ConvertFromDIB(BitmapHandle *bitmap, const BITMAPINFOHEADER *header, const void *bits);
VEXO_API int VEXO_CALL V_ChangeFromDIB(BitmapHandle *bitmap, HGLOBAL dib);

/* ---- DDBs, clipboard and screen capture ---------------------------------------------------------------------- */

/* Make a GDI bitmap (DDB) for the device of `hdc`, or of the screen for a null one. The picture is painted as
 * V_PaintDC would, dithered where the device has fewer colours (display mode DITHER on, PALETTE_INDICES off) and with
 * the palette of V_CreatePaintPalette. The caller owns the DDB (DeleteObject).
 *
 * V_ConvertToDDB   leaves the bitmap as it is
 * V_ChangeToDDB    frees it on success
 * Return null for a null or unallocated bitmap, a device that has no bitmaps, or when GDI, memory or the storage
 * fails; the bitmap is then unchanged. */
VEXO_API HBITMAP VEXO_CALL V_ConvertToDDB(HDC hdc, BitmapHandle *bitmap);
VEXO_API HBITMAP VEXO_CALL V_ChangeToDDB(HDC hdc, BitmapHandle *bitmap);

/* Make a bitmap in memory storage from a DDB, which must not be selected into a DC. It gets 1, 4 or 8 bits, the first
 * of these that holds the DDB's pixels, or 24; the screen's width and height in pixels become its resolutions, as
 * pixels per metre. The record is filled as by V_InitBitmap, whatever it held.
 *
 * hdc        a DC of the DDB's device
 * hPalette   the palette that the DDB's pixels index, selected into `hdc` for the conversion; or null
 *
 * V_ConvertFromDDB   leaves DDB and palette to the caller
 * V_ChangeFromDDB    deletes both on success
 * Return RESULT_SUCCESS; ERR_INV_PARAMETER for a null record, a handle that is no bitmap, or when GDI cannot read the
 * pixels; ERR_NO_MEMORY. The record is unchanged on failure. */
VEXO_API int VEXO_CALL V_ConvertFromDDB(HDC hdc, BitmapHandle *bitmap, HBITMAP hBitmap, HPALETTE hPalette);
VEXO_API int VEXO_CALL V_ChangeFromDDB(HDC hdc, BitmapHandle *bitmap, HBITMAP hBitmap, HPALETTE hPalette);

/* What V_CopyToClipboardExt does; other bits are not looked at. */
#define CLIPBOARD_EMPTY         1 /* empties the clipboard first */
#define CLIPBOARD_DIB           2 /* places the DIB of V_ConvertToDIB (CF_DIB) */
#define CLIPBOARD_DDB           4 /* places the DDB of V_ConvertToDDB for the window's device (CF_BITMAP) */
#define CLIPBOARD_PALETTE       8 /* places the palette of V_CreatePaintPalette, if the bitmap needs one (CF_PALETTE) */

/* Places a bitmap on the clipboard. Everything is made before the clipboard is opened, so that nothing of its contents
 * is lost when the bitmap cannot be converted. What has been placed belongs to the clipboard.
 *
 * hwnd   the window that opens the clipboard and whose device counts; null stands for the task and the screen
 * Returns RESULT_SUCCESS; ERR_NO_BITMAP for a null or unallocated bitmap; ERR_NO_MEMORY when the DIB or DDB cannot be
 * made; ERR_INV_PARAMETER when the window has no DC or the clipboard cannot be opened, emptied or written. */
VEXO_API int VEXO_CALL V_CopyToClipboardExt(HWND hwnd, BitmapHandle *bitmap, unsigned flags);
/* The same with all four flags. Returns 1 for success and 0 for any failure. */
VEXO_API int VEXO_CALL V_CopyToClipboard(HWND hwnd, BitmapHandle *bitmap);
/* Fills a record from the clipboard: from its DIB as V_ConvertFromDIB does, or else from its DDB and palette (the
 * system palette if there is none) as V_ConvertFromDDB does. DIBs of other programs are checked like those of
 * V_ChangeFromDIB; one of a layout that is refused there is taken as the DDB that the system makes of it.
 * Returns 1, or 0 when there is no picture or on any failure; the record is then unchanged. */
VEXO_API int VEXO_CALL V_CopyFromClipboard(HWND hwnd, BitmapHandle *bitmap);
/* Returns 1 if the clipboard has a DIB or a DDB, else 0. */
VEXO_API int VEXO_CALL V_ClipboardReady(void);

/* Copies a rectangle of a device into a bitmap, as V_ChangeFromDDB makes it. A rectangle whose bottom is above its top
 * means the same pixels as the upright one.
 * Returns RESULT_SUCCESS; ERR_INV_PARAMETER for a null record or rectangle, one that is empty or has its right edge
 * left of the left one, and a device whose pixels cannot be read; ERR_NO_MEMORY. The record is unchanged on failure. */
VEXO_API int VEXO_CALL V_ScreenCaptureBitmap(HDC hdc, BitmapHandle *bitmap, const RECT *rect);

/* ---- Painting to a device ------------------------------------------------------------------------------------ */

/* Display-mode bits (V_SetDisplayMode) */
#define DISPLAYMODE_BIT0              0x001u /* dithering while painting is ordered; without it, Floyd-Steinberg */
#define DISPLAYMODE_PALETTE_INDICES   0x004u /* colours are indices into the palette that the caller has selected in the
                                                device context (V_CreatePaintPalette); without it, RGB values */
#define DISPLAYMODE_DITHER            0x008u /* bitmaps of more colours than the device has are dithered */
#define DISPLAYMODE_SCALE_TO_GRAY     0x010u /* 1-bit bitmaps are shown in 256 grays */
#define DISPLAYMODE_CLUSTERED         0x020u /* ordered dithering takes the clustered matrix */
#define DISPLAYMODE_KEEP_BLACK        0x040u /* 1-bit bitmaps keep black lines when they shrink */
#define DISPLAYMODE_FIXED_PALETTE     0x080u /* with DISPLAYMODE_DITHER: palettised bitmaps are dithered to the fixed
                                                palette also where the device has as many colours as they */
#define DISPLAYMODE_FIXED_PALETTE_ALT 0x100u /* the fixed palette of 8-bit devices is the 6 x 6 x 6 cube */

/* Paints a bitmap, scaled from a source rectangle to a destination rectangle and clipped on both sides.
 *
 * srcRect  the part of the bitmap that the destination shows, in stored rows; null: all of it. It may reach outside
 *          the bitmap, where nothing is painted.
 * srcClip  only pixels of this part of srcRect are painted; null: no such clip
 * dstRect  where the source rectangle goes on the device. With its bottom above its top it covers the same lines as
 *          with the two exchanged and shows the picture upside down. A width below 1 or a height of 0 paints nothing.
 * dstClip  only this part of dstRect is painted; null: no such clip
 * rop      the raster operation for StretchDIBits, such as SRCCOPY
 *
 * Destination pixel i of n takes source pixel i * m / n of m, rounded down. The calling thread's display mode and the
 * device's depth choose how pixels are converted: see V_GetDitherFlags. Scaling comes before dithering, and matrices of
 * ordered dithering start at the top left of the picture in the destination. Clips leave the pixels inside them as the
 * whole paint would show them, so error diffusion runs over what is clipped away as well; it starts afresh in every
 * 4096 x 4096 pixels of the destination. A display whose pixels have 32 bits gets 16-, 24- and 32-bit bitmaps as such
 * pixels, with 0 as fourth byte: they show the same as 24-bit ones, which GDI would have to widen.
 *
 * In grays, with both sizes smaller, a pixel is 255 - c * 255 / t for c black of the t source pixels it covers; source
 * pixels belong to the destination pixel that their left and upper edges fall into. With one size larger, c and t are
 * areas, so that edges between enlarged pixels are blended. Keeping black, a pixel is black when at least T of the
 * source pixels it covers are; T is the square root of the product of the whole ratios of the sizes, less 1 below 5,
 * but at least 1.
 *
 * Returns RESULT_SUCCESS, also when nothing is left to paint; ERR_NO_BITMAP for a bitmap without storage or null;
 * ERR_INV_PARAMETER for a null hdc or dstRect; ERR_INV_RANGE for a rectangle wider or higher than 0x7FFFFFFF;
 * ERR_NO_MEMORY; a storage error. After these two, what was painted before stays. The result of StretchDIBits is
 * ignored. */
VEXO_API int VEXO_CALL V_PaintDC(HDC hdc, BitmapHandle *bitmap, const RECT *srcRect, const RECT *srcClip,
                                 const RECT *dstRect, const RECT *dstClip, DWORD rop);

/* Paints rows that the caller holds as if they were rows firstRow to firstRow + rowCount - 1 of the bitmap, at their
 * place in the destination. The bitmap needs no storage. Scale-to-gray and keeping black are not applied.
 *
 * buffer    rows in the bitmap's format, BytesPerLine apart; changed and restored while the call runs
 * rowCount  rows in the buffer, or -1: the buffer holds one row of runs (see V_ExpandRow)
 *
 * When nothing is scaled and no pixel is converted, all rows are drawn in their full width at x 0, whatever the left
 * edge of dstRect and the clips, with the topmost one at the top of the clipped destination (deliberate).
 * Returns as V_PaintDC; ERR_NO_BITMAP for a null bitmap or buffer; ERR_BAD_BITS_PER_PIXEL for a record of an unknown
 * depth. */
VEXO_API int VEXO_CALL V_PaintDCBuffer(HDC hdc, BitmapHandle *bitmap, const RECT *srcRect, const RECT *srcClip,
                                       const RECT *dstRect, const RECT *dstClip, DWORD rop, void *buffer, int firstRow,
                                       int rowCount);

/* Tells how a bitmap would be painted on a device.
 *
 * deviceBits  the depth class of the device: 1 (below 4 bits), 4 (below 8), 8 (below 16) or 24; a metafile is 24
 * path        0 pixels as they are; 1 widened: 2 and 3 bits to 4, 5 to 7 bits to 8, 16 and 32 bits to 24; 2 dithered to
 *             the device's class; 3 and 4 scaled to gray; 5 and 6 reduced keeping black (4 and 6: the palette is white
 *             first)
 * Path 2 is told also where no dithering exists (2, 3, 5, 6 and 7 bits on class 24; 1 bit on classes other than 8);
 * such a paint shows the bitmap's own colours as RGB values, whatever DISPLAYMODE_PALETTE_INDICES says. Null pointers
 * are left out. */
VEXO_API void VEXO_CALL V_GetDitherFlags(HDC hdc, BitmapHandle *bitmap, int *deviceBits, int *path);

/* Returns a new palette for painting the bitmap on a device, which the caller selects, realises and deletes; null when
 * none is needed or it cannot be made. */
VEXO_API HPALETTE VEXO_CALL V_CreatePaintPalette(HDC hdc, BitmapHandle *bitmap);

/* ---- Printing ------------------------------------------------------------------------------------------------ */

/* Prints a bitmap on the current page of a printer; several calls can fill one page.
 *
 * hdc            a printer's device context with a page begun; null: the default printer, for which the call makes a
 *                device context and begins a job ("VEXO GRAPHIC") and a page
 * bitmap         null: nothing is printed, page and job are ended as asked
 * x, y           the corner on the page in pixels of the device; 0: centred in this direction
 * width, height  the size in pixels of the device; 0: follows from the other by the bitmap's proportions; both 0: the
 *                largest that fits on the page. With a negative size nothing is printed.
 * endDoc         not 0: page and job are ended and the device context is deleted, the caller's too; 0: they stay open
 *                for the next call
 *
 * The page is (1, 1) to (HORZRES, VERTRES) of the device (the inset is deliberate). A picture that would reach out of
 * it is squeezed into what remains of its place (deliberate). Pixels are converted as by V_PaintDC, without dithering,
 * or with the clustered matrix on printers of one bit. Without a status callback the picture is one paint; with one it
 * is a paint for each row of the device, and progress is reported for each.
 * Returns the device context, which is no longer valid after endDoc. Returns null when the default printer cannot be
 * opened, when page or job do not end, and when the callback stops the picture or it cannot be painted: then a job
 * begun by this call is aborted, and one of the caller's is ended for endDoc or else left open. */
VEXO_API HDC VEXO_CALL V_PrintBitmapExt(HDC hdc, BitmapHandle *bitmap, int x, int y, int width, int height, int endDoc);

/* The same with one StretchDIBits to exactly the rectangle given: nothing is centred, fitted or clipped, and there is
 * no progress. When memory for it runs out the picture is left out, and page and job are ended as asked all the same
 * (deliberate). Bitmaps in temporary files or of 16 or 32 bits go to V_PrintBitmapExt instead. Of compressed ones and
 * those of 2, 3, 5, 6 and 7 bits a DIB is made first; otherwise rows and colours are put in order in the bitmap itself
 * while the call runs. */
VEXO_API HDC VEXO_CALL V_PrintBitmapFast(HDC hdc, BitmapHandle *bitmap, int x, int y, int width, int height,
                                         int endDoc);

/* V_PrintBitmapExt on the job that the calling thread has open, or a new one on the default printer. The job stays open
 * for the thread's next call until one has endDoc set. A call that fails without endDoc forgets the job all the same
 * (deliberate): one begun by an earlier call can be ended by V_PrintBitmapExt with what that call returned. */
VEXO_API HDC VEXO_CALL V_PrintBitmap(BitmapHandle *bitmap, int x, int y, int width, int height, int endDoc);

/* ---- Paint effects ------------------------------------------------------------------------------------------- */

/* Paints a bitmap like V_PaintDC, revealing it piece by piece. The picture is made in memory first; rop applies to the
 * copies from there. Every piece that is copied is a step for the progress callback; a callback that stops leaves what
 * was drawn.
 *
 * srcRect, srcClip   shape only what part of the destination is touched: the picture in dstRect is the whole bitmap
 * effect             0 none (V_PaintDC)                     15, 16 frames, inwards or outwards
 *                    1, 2 rows from the top or bottom       17, 18 the same, every eighth first
 *                    3, 4 columns from the left or right    19, 20 spirals, inwards or outwards
 *                    5 to 8 tiles of 2, 4, 8 or 16 pixels   21, 22 rows, columns from the edges to the middle
 *                    9, 10 rows, columns in random order    23, 24 columns, rows the same, every eighth first
 *                    11, 12 columns, rows from the middle   25, 26 columns from the left, right, every eighth first
 *                    13, 14 rows, columns the same,         27, 28 rows from the bottom, top, every eighth first
 *                           every eighth first              29 to 32 slides in from the left, right, bottom, top
 * Returns RESULT_SUCCESS, also when nothing shows; ERR_INV_PARAMETER for a null bitmap, hdc or dstRect, a bitmap
 * without storage or an effect above 32; ERR_NO_MEMORY when there is no image in memory for the device (metafiles have
 * none); the errors of V_PaintDC; the callback's result. */
VEXO_API int VEXO_CALL V_PaintDCEffect(HDC hdc, BitmapHandle *bitmap, const RECT *srcRect, const RECT *srcClip,
                                       const RECT *dstRect, const RECT *dstClip, DWORD rop, unsigned effect);

/* ---- A device context over a bitmap -------------------------------------------------------------------------- */

/* Makes a memory DC that draws into the bitmap's own pixels: no copy either way. Call GdiFlush before the bitmap is
 * read after drawing. The bitmap's region becomes the DC's clip. Until V_DeleteVexoDC the bitmap must not be freed,
 * resized, compressed or turned over.
 *
 * The DC needs plain pixels as GDI orders them, so the bitmap is changed for good where it has others: compressed rows
 * are expanded, ORIENT_TOP_DOWN becomes ORIENT_BOTTOM_UP with the same picture, and COLOR_ORDER_RGB becomes
 * COLOR_ORDER_BGR with the same colours. These changes stay even when a later step fails. Turning the rows over reports
 * to the status callback, which can stop it.
 *
 * Returns the DC, or null for a null or unallocated bitmap, a depth of 2, 3, 5, 6 or 7 bits, storage that is no
 * page-file mapping (global memory and files under Win32s, where only the 16-bit companion library makes such DCs),
 * and when memory or GDI fails or the callback stops the work. */
VEXO_API HDC VEXO_CALL V_CreateVexoDC(BitmapHandle *bitmap);
/* Deletes such a DC; the bitmap keeps what was drawn. Objects of the caller must have been deselected.
 * Returns the result of DeleteDC. */
VEXO_API BOOL VEXO_CALL V_DeleteVexoDC(HDC hdc);

/* ---- Regions -------------------------------------------------------------------------------------------------
 *
 * A bitmap may carry a region: the set of pixels that fills, segment writes, combining, region painting and playback
 * touch. It belongs to the record (V_FreeBitmap frees it), never reaches outside the bitmap, and is held in stored rows
 * and columns. A bitmap without one counts as a region of all its pixels. An empty region is not the same as none. */

/* How a caller's coordinates relate to the bitmap's. Where a pointer to one is taken, null means no transform. */
typedef struct RegionTransform {
    int TransformOrientation; /* ORIENT_TOP_DOWN or ORIENT_BOTTOM_UP; rows are mirrored when it is not the bitmap's */
    int XScaleNum;            /* horizontal scale factor as a fraction; XScaleDen is not 0 */
    int XScaleDen;
    int YScaleNum;            /* vertical scale factor; YScaleDen is not 0 */
    int YScaleDen;
    int XOffset;              /* translation, added before scaling on the way into a bitmap, after it on the way out */
    int YOffset;
} RegionTransform;

/* How a new shape meets the bitmap's region ("old": its region, or the whole bitmap if it has none). */
#define COMBINE_INTERSECT       0 /* old and new */
#define COMBINE_REPLACE         1 /* new */
#define COMBINE_NEW_MINUS_OLD   2 /* empty if there is no region */
#define COMBINE_OLD_MINUS_NEW   3
#define COMBINE_UNION           4 /* the whole bitmap if there is no region */
#define COMBINE_XOR             5
#define COMBINE_COMPLEMENT_NEW  6 /* the whole bitmap minus new; the region it has does not count */

/* Set the bitmap's region to a shape combined with the region it has.
 *
 * bitmap      any initialised record; storage is needed by V_SetBitmapRgnColor only
 * transform   where the shape lies, or null. On the way in the offset is added first, the sum is scaled (a row or
 *             column fills what lies from its scaled place up to its neighbour's; factors below 0 leave nothing) and
 *             rows are mirrored last.
 * combine     a COMBINE_ value
 *
 * Shapes outside the bitmap are clipped to it. Rectangles, ellipses, rounded rectangles and polygons contain the pixels
 * that GDI's regions of the same name contain.
 * Return RESULT_SUCCESS; ERR_NO_BITMAP; ERR_INV_PARAMETER for a null shape or handle, another `combine`, or a transform
 * with another orientation or a denominator of 0; ERR_NO_MEMORY, also for a shape that GDI does not make (a polygon of
 * one point). On failure the region stays as it was. */

/* left >= right or top >= bottom makes an empty shape. */
VEXO_API int VEXO_CALL V_SetBitmapRgnRect(BitmapHandle *bitmap, const RegionTransform *transform, const RECT *rect,
                                          unsigned combine);
VEXO_API int VEXO_CALL V_SetBitmapRgnEllipse(BitmapHandle *bitmap, const RegionTransform *transform, const RECT *rect,
                                             unsigned combine);
VEXO_API int VEXO_CALL V_SetBitmapRgnRoundRect(BitmapHandle *bitmap, const RegionTransform *transform, const RECT *rect,
                                               int ellipseWidth, int ellipseHeight, unsigned combine);
/* fillMode: 0 fills by winding numbers (GDI's WINDING), 1 alternately (ALTERNATE); another is ERR_INV_PARAMETER. */
VEXO_API int VEXO_CALL V_SetBitmapRgnPolygon(BitmapHandle *bitmap, const RegionTransform *transform,
                                             const POINT *points, int pointCount, unsigned fillMode, unsigned combine);
/* The caller keeps the GDI region. What is not a region's handle is ERR_INV_PARAMETER. */
VEXO_API int VEXO_CALL V_SetBitmapRgnHandle(BitmapHandle *bitmap, const RegionTransform *transform, HRGN region,
                                            unsigned combine);
/* All pixels of a colour. Palettised bitmaps: COLOR_INDEX(i), masked to the depth, is the index itself; another colour
 * is the first palette entry with the same red, green and blue, and matches nothing when there is none. Deeper bitmaps
 * compare the pixel's 24-bit form; COLOR_INDEX(i) matches nothing.
 * Also returns ERR_NO_BITMAP without storage, and storage errors. */
VEXO_API int VEXO_CALL V_SetBitmapRgnColor(BitmapHandle *bitmap, COLORREF color, unsigned combine);

/* Moves the region and clips it to the bitmap. A bitmap without one gets its whole rectangle, moved and clipped.
 * Returns RESULT_SUCCESS, ERR_NO_BITMAP or ERR_NO_MEMORY (nothing changes). */
VEXO_API int VEXO_CALL V_OffsetBitmapRgn(BitmapHandle *bitmap, int rowOffset, int columnOffset);
/* Frees the region, if there is one. Returns RESULT_SUCCESS, or ERR_INV_PARAMETER for a null record. */
VEXO_API int VEXO_CALL V_FreeBitmapRgn(BitmapHandle *bitmap);

/* Returns 1 if the bitmap has a region, else 0; 0 for a null record. */
VEXO_API int VEXO_CALL V_BitmapHasRgn(const BitmapHandle *bitmap);
/* The smallest rectangle that contains the region (without one: the whole bitmap) in the space of the transform; that
 * of an empty region is (0, 0, 0, 0) in any space. On the way out rows are mirrored first, then scaled: columns are
 * rounded up, rows are rounded up for ORIENT_BOTTOM_UP and truncated for ORIENT_TOP_DOWN (deliberate); offsets are
 * added last. Returns RESULT_SUCCESS, ERR_NO_BITMAP, or ERR_INV_PARAMETER for a null rectangle or a bad transform. */
VEXO_API int VEXO_CALL V_GetBitmapRgnBounds(const BitmapHandle *bitmap, const RegionTransform *transform, RECT *bounds);
/* Returns 1 if the pixel is in the region (without one: in the bitmap), else 0; 0 for a null record. */
VEXO_API int VEXO_CALL V_IsPtInBitmapRgn(const BitmapHandle *bitmap, int row, int column);
/* Stores the number of pixels in the region (without one: in the bitmap), modulo 2 to the 32.
 * Returns RESULT_SUCCESS, ERR_NO_BITMAP, or ERR_INV_PARAMETER for a null pointer. */
VEXO_API int VEXO_CALL V_GetBitmapRgnArea(const BitmapHandle *bitmap, unsigned *area);
/* Makes a GDI region of the bitmap's region (without one: of the whole bitmap) in the space of the transform, as for
 * V_GetBitmapRgnBounds. The caller deletes it. The record keeps one like it, so that asking again is quick while the
 * region, the scale and the orientation stay the same.
 * Returns RESULT_SUCCESS; ERR_NO_BITMAP; ERR_INV_PARAMETER for a null pointer; RESULT_FAILURE when the region cannot be
 * made or the transform is bad (deliberately not those errors); ERR_NO_MEMORY when it cannot be copied. */
VEXO_API int VEXO_CALL V_GetBitmapRgnHandle(BitmapHandle *bitmap, const RegionTransform *transform, HRGN *region);

/* ---- Clip segments, fill and clear ----------------------------------------------------------------------------
 *
 * A row's clip segments are the runs of its pixels that lie in the bitmap's region, as pairs (start, end) of columns in
 * ascending order, end exclusive. Counts are numbers of x values: two a segment. */

/* Stores the most x values that any row can have: the size for a buffer.
 * Returns RESULT_SUCCESS, ERR_NO_BITMAP, or ERR_INV_PARAMETER for a null pointer. */
VEXO_API int VEXO_CALL V_GetBitmapClipSegmentsMax(const BitmapHandle *bitmap, unsigned *maximum);
/* Copies the x values of a row and stores their number. A row outside the region has none and leaves the buffer alone;
 * without a region every row number gives (0, Width).
 * Returns RESULT_SUCCESS; ERR_NO_BITMAP; ERR_INV_PARAMETER for a null count, or a null buffer that is needed. */
VEXO_API int VEXO_CALL V_GetBitmapClipSegments(const BitmapHandle *bitmap, int row, int *segments, unsigned *count);
/* Writes the parts of a row that lie in segments.
 *
 * buffer         a row in the bitmap's own format; its first pixel is column 0 of the segments
 * columnOffset   added to a segment's columns to give those of the bitmap; bits are shifted where it is not a whole
 *                number of bytes
 * segments       x values in pairs, as from V_GetBitmapClipSegments; a count of 0 writes nothing
 *
 * The bitmap must be locked. Pixels before column 0 or outside the bitmap are left out; other pixels of the row keep
 * their values, down to the bit.
 * Returns RESULT_SUCCESS; ERR_NO_BITMAP; ERR_INV_PARAMETER for a null pointer, an odd count or a row outside the
 * bitmap; ERR_NO_MEMORY for a bitmap without storage or compressed rows that cannot grow; ERR_FILE_SEEK, ERR_FILE_READ,
 * ERR_FILE_WRITE: the segments before the failing one are written. */
VEXO_API int VEXO_CALL V_PutBitmapRowSegments(BitmapHandle *bitmap, const void *buffer, int row, int columnOffset,
                                              const int *segments, unsigned count);

/* Set every pixel of the region to a colour (palettised bitmaps: GDI's nearest index, or COLOR_INDEX(i) itself), or to
 * zero bits. The fourth byte of 32-bit pixels and bit 15 of 16-bit pixels become 0. Progress goes to the status
 * callback: 0 first; then 100 at the end, or for disk storage the percentage of rows. An empty region touches nothing.
 * Return RESULT_SUCCESS; ERR_NO_BITMAP for a null record or one without storage; ERR_NO_MEMORY; or the callback's wish
 * to stop, with the rows before it written. Rows that cannot be written are skipped without an error (deliberate). */
VEXO_API int VEXO_CALL V_FillBitmap(BitmapHandle *bitmap, COLORREF color);
VEXO_API int VEXO_CALL V_ClearBitmap(BitmapHandle *bitmap);

/* ---- Painting and framing regions ---------------------------------------------------------------------------- */

/* V_PaintDC, V_PaintDCBuffer and V_PaintDCEffect, with only the pixels of the bitmap's region showing; without a
 * region, those of the whole bitmap. The region is scaled so that the bitmap's whole width and height fill dstRect,
 * whatever srcRect says, and rounded as by V_GetBitmapRgnHandle for ORIENT_TOP_DOWN. It takes the place of the clip
 * that the device context has; the context's state is as before at the end, whatever the paint returned.
 * Return as the functions named; a null bitmap and then a null dstRect or hdc are looked for first. Also ERR_NO_MEMORY,
 * when the region cannot be made or set, and ERR_INV_PARAMETER for a bitmap of no size: nothing is painted then. */
VEXO_API int VEXO_CALL V_PaintRgnDC(HDC hdc, BitmapHandle *bitmap, const RECT *srcRect, const RECT *srcClip,
                                    const RECT *dstRect, const RECT *dstClip, DWORD rop);
VEXO_API int VEXO_CALL V_PaintRgnDCBuffer(HDC hdc, BitmapHandle *bitmap, const RECT *srcRect, const RECT *srcClip,
                                          const RECT *dstRect, const RECT *dstClip, DWORD rop, void *buffer,
                                          int firstRow, int rowCount);
VEXO_API int VEXO_CALL V_PaintRgnDCEffect(HDC hdc, BitmapHandle *bitmap, const RECT *srcRect, const RECT *srcClip,
                                          const RECT *dstRect, const RECT *dstClip, DWORD rop, unsigned effect);

/* Draws the outline of the bitmap's region (without one: of the whole bitmap) as a one-pixel frame of black and white
 * diagonal stripes. Type t + 1 shows the stripes of type t moved up by one row, so drawing types 0 to 7 in turn makes
 * them march. Each frame replaces the one before it; nothing else on the device changes.
 *
 * hdc        the device; stripes start at its brush origin and have the same two colours whatever colours are set
 * transform  where the bitmap lies on the device, as for V_GetBitmapRgnHandle; null: row 0 at the top of the device for
 *            either orientation, unscaled
 * frameType  0 to 7
 *
 * The frame is those pixels of the region, as V_GetBitmapRgnHandle gives it for the transform, that have one of their
 * eight neighbours outside; without a region it is FrameRgn's. An empty region is framed by nothing. The record keeps
 * the outline as a mask, so that all frames after the first are quick while the region, the scale and the orientation
 * stay the same; offsets may change. Where no such mask can be had, FrameRgn draws the frame.
 * Returns RESULT_SUCCESS; ERR_NO_BITMAP; ERR_INV_PARAMETER for a null hdc, a bad transform or another frame type;
 * ERR_NO_MEMORY. */
VEXO_API int VEXO_CALL V_FrameBitmapRgn(HDC hdc, BitmapHandle *bitmap, const RegionTransform *transform,
                                        unsigned frameType);

/* ---- Resize and resample ------------------------------------------------------------------------------------- */

/* Nearest sampling takes source pixel floor(i * old / new) for pixel i of a row and source row likewise for row i, both
 * counted from stored row and column 0. Pixels are copied as they are; palettes and colour orders are not looked at. */

/* What V_Resize keeps between rows: made by V_StartResize, read-only to the caller. 56 bytes in both libraries. */
typedef struct ResizeContext {
    int LastRow;      /* row of the last call, -1 at first */
    int Backward;     /* 1 while rows come in descending order */
    int OldWidth;
    int OldHeight;
    int NewWidth;
    int NewHeight;
    int XStep;        /* OldWidth / NewWidth */
    int XFraction;    /* OldWidth mod NewWidth */
    int Reserved[2];
    int YRepeat;      /* NewHeight / OldHeight */
    int YFraction;    /* NewHeight mod OldHeight */
    int Reserved2;
    int YAccumulator; /* running remainder of the rows, below OldHeight */
} ResizeContext;

/* Resizing of rows that the caller streams through one buffer. V_StopResize frees the context; null is accepted.
 * Return RESULT_SUCCESS; V_StartResize ERR_INV_PARAMETER for a width or height below 1 or a null `context`, or
 * ERR_NO_MEMORY. */
VEXO_API int VEXO_CALL V_StartResize(int oldWidth, int oldHeight, int newWidth, int newHeight,
                                     ResizeContext **context);
VEXO_API int VEXO_CALL V_StopResize(ResizeContext *context);

/* Scales one source row in place and tells how many destination rows it becomes. Rows may come in any order; those of
 * a whole picture, upward or downward, add up to NewHeight.
 *
 * buffer        the packed source row, with room for the larger of the two rows; unchanged when the count is 0
 * row           its number, 0 to OldHeight - 1
 * bitsPerPixel  1 to 8, 16, 24 or 32
 * newWidth      receives NewWidth
 * rowCount      receives the number of destination rows, 0 when the row is dropped
 * Bits behind the last pixel of a narrower or wider row are 0 in its last byte; the bytes behind stay as they are.
 * Returns the row count; ERR_INV_PARAMETER for a null pointer or an unknown depth; ERR_INV_RANGE for a row outside the
 * source. */
VEXO_API int VEXO_CALL V_Resize(void *buffer, int row, int bitsPerPixel, int *newWidth, int *rowCount,
                                ResizeContext *context);

/* Fills an allocated bitmap with the picture of another of the same depth by nearest sampling. With different
 * orientations destination row i goes to row height - 1 - i. Regions do not count; progress goes to the status
 * callback. A bitmap given as both changes nothing.
 * Returns RESULT_SUCCESS; ERR_NO_BITMAP for a null record or one without storage; ERR_INV_PARAMETER for different
 * depths; ERR_NO_MEMORY; a storage error or the callback's result, after which the rows written so far have changed. */
VEXO_API int VEXO_CALL V_ResizeBitmap(BitmapHandle *source, BitmapHandle *destination);

/* Resizes a bitmap in place by nearest sampling; the region is scaled with it, everything else but the pixels is kept.
 * The storage and the palette are new objects, and the animation colours are those that V_DupBitmapNewDim makes. The
 * current size changes nothing.
 * Returns RESULT_SUCCESS; ERR_INV_PARAMETER (deliberately not ERR_NO_BITMAP) for a null record or one without storage;
 * ERR_INV_RANGE for a width or height below 1 or a size beyond 32 bits; ERR_NO_MEMORY; a storage error; the
 * callback's result. */
VEXO_API int VEXO_CALL V_SizeBitmap(BitmapHandle *bitmap, int newWidth, int newHeight);

/* Resizes a bitmap in place with filtering; the region is scaled with it. Columns first, then rows: shrinking takes the
 * mean of the pixels from floor(i * old / new) to the next one's first, truncated; enlarging lets source pixel a run
 * over n = floor((a + 1) * new / old) - floor(a * new / old) pixels, pixel k of a run being
 * floor((a * (n - k) + b * k) / n) with the next source pixel b (the last one has no next and stays flat), and moves
 * the picture by half the first run, filled with the first pixel, so that the ramps are centred.
 *
 * The work is done on 24-bit pixels, on 32-bit pixels for 32-bit bitmaps, where the fourth byte is a channel like the
 * others. Gray 8-bit bitmaps and those deeper than 8 bits are converted back by V_ConvertBuffer, all others are
 * dithered to their palette (the fixed one without it) by the bitmap's dithering method, row by row from row 0.
 * Returns RESULT_SUCCESS; ERR_NO_BITMAP for a null record or one without storage; ERR_INV_RANGE for a width or height
 * below 1, a size beyond 32 bits or a factor of 16 million or more; ERR_INV_PARAMETER for a palettised bitmap with an
 * unknown dithering method; ERR_NO_MEMORY; a storage error; the callback's result. */
VEXO_API int VEXO_CALL V_ResampleBitmap(BitmapHandle *bitmap, int newWidth, int newHeight);

/* ---- Rotate and shear ---------------------------------------------------------------------------------------- */

/* Rotate a bitmap and its region in place. A positive angle turns the picture clockwise as it is seen, whatever its
 * orientation. Palette, attributes and the record's address stay; storage may be new.
 *
 * Quarter turns with `resize`, or of a square bitmap, and half turns move every pixel exactly. Any other angle takes,
 * for each pixel of the result, the source pixel that its middle falls into when both pictures have their middles in
 * one place; sine and cosine are rounded to 1/16384. A half turn keeps the size.
 *
 * degrees, angle     in degrees, in hundredths of a degree; any value, full turns count for nothing
 * resize             not 0: the result is the smallest box, in whole pixels, around the rotated picture. 0: it keeps
 *                    width and height, and what is turned out of them is lost
 * fill               colour of the pixels that no source pixel covers (V_RotateBitmap: black); palettised bitmaps take
 *                    GDI's nearest index, or COLOR_INDEX(i) itself
 * progressStart, progressEnd
 *                    the range of percentages for the status callback, for a rotation that is a step of a longer job
 *                    (the other two: 0 to 100). An angle of 0 reports both ends and does nothing else.
 *
 * Return RESULT_SUCCESS; ERR_NO_BITMAP; ERR_INV_RANGE for a result beyond the largest bitmap; ERR_NO_MEMORY; a storage
 * error; the callback's result. The bitmap is unchanged unless the call succeeds; a half turn, or a quarter turn done
 * in place, that is stopped puts its pixels back. */
VEXO_API int VEXO_CALL V_RotateBitmap(BitmapHandle *bitmap, int degrees, int resize);
VEXO_API int VEXO_CALL V_RotateBitmapFine(BitmapHandle *bitmap, int angle, int resize, COLORREF fill);
VEXO_API int VEXO_CALL V_IntRotateBitmapFine(BitmapHandle *bitmap, int angle, int resize, COLORREF fill,
                                             int progressStart, int progressEnd);

/* Shears a bitmap in place; it grows sideways or in height.
 *
 * angle       in hundredths of a degree, -4500 to 4500
 * horizontal  not 0: line i from the bottom of the picture moves right by floor(i * sin / cos) pixels, left for a
 *             negative angle; 0: column i from the right moves up by as much, down for a negative angle. The bitmap
 *             grows by the shift that one more line would have. sin and cos are rounded to multiples of 1 / 16384.
 * fillColor   of the uncovered corners: a colour, or COLOR_INDEX(i)
 * The region moves with the pixels. Progress goes to the status callback.
 * Returns RESULT_SUCCESS; ERR_NO_BITMAP for a null record or one without storage; ERR_INV_PARAMETER for another angle;
 * ERR_INV_RANGE when a row of the new width, or of the new height for a vertical shear, would exceed 32768 bytes;
 * ERR_NO_MEMORY; a storage error; the callback's result. */
VEXO_API int VEXO_CALL V_ShearBitmap(BitmapHandle *bitmap, int angle, int horizontal, COLORREF fillColor);

/* ---- Flip and reverse ---------------------------------------------------------------------------------------- */

/* Mirror a bitmap in place: V_FlipBitmap top to bottom, V_ReverseBitmap left to right. The region is mirrored with the
 * pixels; compressed rows stay compressed. The bits behind the last pixel of a reversed row become 0.
 * Progress goes to the status callback, for each pair of rows (flip) or each row. A bitmap of height 1 has no pair: its
 * flip reports 0 and then 100.
 * Return RESULT_SUCCESS; ERR_NO_BITMAP; ERR_NO_MEMORY; a storage error; the callback's result. When the work fails or
 * is stopped on the way, the rows done so far are put back. */
VEXO_API int VEXO_CALL V_FlipBitmap(BitmapHandle *bitmap);
VEXO_API int VEXO_CALL V_ReverseBitmap(BitmapHandle *bitmap);

/* ---- Combine and underlay ------------------------------------------------------------------------------------ */

/* Flags of V_CombineBitmap: one value of each of the four groups. Below, d and s are a channel of the destination and
 * of the source after their treatment, M the largest channel value. Inverting x gives M - x. */

/* the source operand; for the last two the source bitmap is not read and may be null */
#define CMB_SRC_NORMAL          0x0000u
#define CMB_SRC_INVERTED        0x0001u
#define CMB_SRC_ZERO            0x0002u
#define CMB_SRC_ONES            0x0003u
/* the destination operand */
#define CMB_DST_NORMAL          0x0000u
#define CMB_DST_INVERTED        0x0010u
#define CMB_DST_ZERO            0x0020u
#define CMB_DST_ONES            0x0030u
/* the operation, and in brackets the truth table that stands for it at one bit */
#define CMB_OP_AND              0x0000u /* d and s, on whole pixels */
#define CMB_OP_OR               0x0100u /* d or s, on whole pixels */
#define CMB_OP_XOR              0x0200u /* d xor s, on whole pixels */
#define CMB_OP_ADD              0x0300u /* min(d + s, M) [d or s] */
#define CMB_OP_SUBTRACT_SRC     0x0400u /* max(d - s, 0) [d and not s] */
#define CMB_OP_SUBTRACT_DST     0x0500u /* max(s - d, 0) [not d and s] */
#define CMB_OP_MULTIPLY         0x0600u /* d s / M, truncated [d and s] */
#define CMB_OP_DIVIDE_SRC       0x0700u /* min(d M / s, M), truncated; M for s = 0 [d] */
#define CMB_OP_DIVIDE_DST       0x0800u /* min(s M / d, M), truncated; M for d = 0 [s] */
#define CMB_OP_AVERAGE          0x0900u /* (d + s) / 2, truncated [d or s] */
#define CMB_OP_MINIMUM          0x0A00u /* min(d, s) [d and s] */
#define CMB_OP_MAXIMUM          0x0B00u /* max(d, s) [d or s] */
/* the result */
#define CMB_RES_NORMAL          0x0000u
#define CMB_RES_INVERTED        0x1000u
#define CMB_RES_ZERO            0x2000u
#define CMB_RES_ONES            0x3000u

/* Combines a rectangle of `source` into a rectangle of `destination`, within the regions of both: a source pixel
 * outside the source's region leaves its destination pixel alone. The bitmaps have the same depth; colours and palettes
 * are not looked at. Rectangles are clipped to both bitmaps and to the bounds of the destination's region; when nothing
 * is left the call succeeds.
 *
 * left, top              the rectangle's corner in the destination, in stored rows
 * sourceLeft, sourceTop  the same in the source, whose rows count from the other end when its orientation differs, so
 *                        that lines of the two pictures meet as they are seen
 * flags                  CMB_ values
 *
 * The flags are first evaluated as a truth table on bits. Where it depends on neither or one operand, at one bit per
 * pixel, and for AND, OR and XOR it is the result; a table that is the destination's own makes the call succeed without
 * touching anything. Everything else, and the divisions of deeper bitmaps unless their table is constant, works on
 * channels: indices of 2 to 8 bits (M = 2^bits - 1), five-bit fields of 16-bit pixels (M = 31; bit 15 stays), bytes of
 * 24 and 32-bit pixels (M = 255; the fourth byte is a channel like the others). Source and destination may be one
 * bitmap; each row is read before it is written.
 * Progress goes to the status callback for each row of the clipped rectangle.
 * Returns RESULT_SUCCESS; ERR_INV_PARAMETER for a null destination or one without storage (deliberately not
 * ERR_NO_BITMAP), flags outside the groups, or a source that is needed but null, without storage or of another depth;
 * ERR_NO_MEMORY; a storage error; the callback's result. Rows done before a failure or a stop stay combined. */
VEXO_API int VEXO_CALL V_CombineBitmap(BitmapHandle *destination, int left, int top, int width, int height,
                                       BitmapHandle *source, int sourceLeft, int sourceTop, unsigned flags);

/* Flags of V_UnderlayBitmap */
#define UNDERLAY_TILE           0u /* repeat the underlay, from the top left of the picture on */
#define UNDERLAY_STRETCH        1u /* resample it to the bitmap's size */

/* Lays `underlay` under `bitmap`, within the bitmap's region. The underlay shows where the bitmap has its transparent
 * colour (AnimTransparent, as V_SetBitmapRgnColor finds it, when FLAG_TRANSPARENT is set) or is transparent itself:
 * where bit 15 of 16-bit pixels is clear, and through 32-bit pixels in the measure of their alpha, the fourth byte:
 * (pixel x alpha + underlay x (255 - alpha)) / 255, rounded. Pixels of these two depths are opaque afterwards. The
 * underlay counts as opaque; when its depth, colour order or palette differs, a copy is converted as by
 * V_ColorResBitmap. It does not change, and neither does the bitmap's region; its own region does not count.
 *
 * flags   UNDERLAY_TILE or UNDERLAY_STRETCH
 * Progress goes to the status callback for each row. A bitmap in which nothing can be transparent succeeds at once.
 * Returns RESULT_SUCCESS; ERR_NO_BITMAP for either bitmap; ERR_INV_PARAMETER for other flags; ERR_NO_MEMORY; a storage
 * error; the callback's result. Rows done before a failure or a stop stay. */
VEXO_API int VEXO_CALL V_UnderlayBitmap(BitmapHandle *bitmap, BitmapHandle *underlay, unsigned flags);

/* ---- Animation playback -----------------------------------------------------------------------------------------
 *
 * A playback composes the frames of a bitmap list on a canvas, one step a call, from the caller's message loop or
 * timer:
 *
 *     for each timer message {
 *         V_ProcessPlayback(playback, &state);
 *         V_GetPlaybackUpdateRect(playback, &rect, 1);   repaint that part of the canvas
 *         V_GetPlaybackDelay(playback, &milliseconds);   set the timer
 *     }
 *
 * Each frame brings its place, delay, transparency, disposal and wait in the animation fields of its record; the canvas
 * has the background colour in its AnimBackground. Canvas and list belong to the caller and must outlive the playback;
 * a step never changes a frame. Steps that cannot be done (no memory, a frame that cannot be converted) leave their
 * frame out, and playback goes on.
 *
 * A playback is known by a global-memory handle. Every function returns ERR_INV_PARAMETER for one that is null or does
 * not lock, and otherwise RESULT_SUCCESS unless its comment names another status. */

#define PB_STATE_INITIAL              0  /* created; the next step fills the canvas with its background */
#define PB_STATE_CLEARED              1  /* the next step goes to the first frame */
#define PB_STATE_DRAW                 2  /* the next step draws the current frame */
#define PB_STATE_AWAIT_ROWS           3  /* the current frame is the last one, and rows of it are missing */
#define PB_STATE_DRAWN                4  /* the next step decides what to wait for */
#define PB_STATE_AWAIT_INPUT          5  /* until V_CancelPlaybackWait */
#define PB_STATE_AWAIT_DELAY          6  /* until the frame's delay is over, or V_CancelPlaybackWait */
#define PB_STATE_AWAIT_INPUT_OR_DELAY 7  /* the same, for a frame that waits for input as well */
#define PB_STATE_BEFORE_DISPOSAL      8  /* the next step disposes of the frame */
#define PB_STATE_DISPOSED             9  /* the next step goes to the next frame */
#define PB_STATE_FINISHED             10 /* all frames were shown; the next step starts over without clearing */

/* Makes a playback in PB_STATE_INITIAL. `canvas` has storage; it may have a region, outside which nothing is drawn.
 * With a null list an empty one is made. Stores the handle, or null when it fails.
 * Returns also ERR_INV_PARAMETER for a null pointer or a canvas without storage, and ERR_NO_MEMORY. */
VEXO_API int VEXO_CALL V_CreatePlayback(HGLOBAL *playback, BitmapHandle *canvas, HGLOBAL list);
/* Frees the playback and stores its list, which the caller owns even if V_CreatePlayback made it; `list` may be
 * null. */
VEXO_API int VEXO_CALL V_DestroyPlayback(HGLOBAL playback, HGLOBAL *list);

/* Does one step and stores the new state; `state` may be null.
 *
 * Frames of the canvas's depth and palette (deeper ones: colour order) are drawn as they are, others as the nearest
 * colours of the canvas. A frame with FLAG_TRANSPARENT leaves the canvas alone where its pixels have its
 * AnimTransparent, as V_SetBitmapRgnColor finds them; a frame's region limits it further. Parts outside the canvas are
 * left out. After its wait a frame with AnimDisposal 2 is filled with the canvas's background within its rectangle,
 * whatever the canvas's region is, and one with 3 gives way to what was there before. */
VEXO_API int VEXO_CALL V_ProcessPlayback(HGLOBAL playback, unsigned *state);
/* Return also ERR_INV_PARAMETER for a null pointer. The index is that of the current frame, -1 before the first. */
VEXO_API int VEXO_CALL V_GetPlaybackState(HGLOBAL playback, unsigned *state);
VEXO_API int VEXO_CALL V_GetPlaybackIndex(HGLOBAL playback, int *index);
/* Goes to a frame (-1: before the first; the count: behind the last) so that the next step draws it. Frames on the way
 * are drawn and disposed of without waiting; to an earlier frame the way begins with a cleared canvas. Rows that are
 * missing are no longer waited for.
 * Returns also ERR_INV_PARAMETER for an index below -1 or above the count. */
VEXO_API int VEXO_CALL V_SetPlaybackIndex(HGLOBAL playback, int index);
/* Stores what is left of the current frame's delay in milliseconds; 0 when it has passed or none is waited for.
 * Returns also ERR_INV_PARAMETER for a null pointer. */
VEXO_API int VEXO_CALL V_GetPlaybackDelay(HGLOBAL playback, unsigned *milliseconds);
/* Ends a wait for input or a delay; in other states it does nothing. */
VEXO_API int VEXO_CALL V_CancelPlaybackWait(HGLOBAL playback);

/* The smallest rectangle around what steps have changed of the canvas, in stored rows, since it was last emptied;
 * (0, 0, 0, 0) for nothing. `rect` may be null; `clear` not 0 empties it. */
VEXO_API int VEXO_CALL V_GetPlaybackUpdateRect(HGLOBAL playback, RECT *rect, int clear);
VEXO_API int VEXO_CALL V_ClearPlaybackUpdateRect(HGLOBAL playback);

/* Appends a frame whose rows are still to come: storage, palette and region of the record become the list's, unlocked.
 * Playback does not draw it before V_ValidatePlaybackLines has named all its rows, in any order and as often as one
 * likes; rows that the frame does not have are left out. Appending another ends the wait for the former.
 * V_AppendPlayback returns also ERR_INV_PARAMETER for a null frame or one without rows, and ERR_NO_MEMORY (nothing has
 * changed but that a former frame is no longer waited for). */
VEXO_API int VEXO_CALL V_AppendPlayback(HGLOBAL playback, const BitmapHandle *frame);
VEXO_API int VEXO_CALL V_ValidatePlaybackLines(HGLOBAL playback, int firstRow, int rowCount);

#ifdef __cplusplus
}
#endif

#endif
