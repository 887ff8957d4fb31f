// Makers of bitmaps for tests, and a plain image in memory to compare them with.
#ifndef VEXO_TESTS_SUPPORT_BITMAPS_H
#define VEXO_TESTS_SUPPORT_BITMAPS_H

#include "tests/support/random.h"

#include "vexokit.h"

#include <gtest/gtest.h>

#include <array>
#include <ostream>
#include <span>
#include <string>
#include <vector>

namespace vexo::test {

// ---- Storage --------------------------------------------------------------------------------------------------

// The last two exist under Win32s only. A program that can make the library believe in it says so with
// SetWin32sSwitch; elsewhere these kinds are left out.
enum class StorageKind { PageFile, Compressed, GlobalMemory, TemporaryFile };

void SetWin32sSwitch(void (*set)(bool isWin32s));
bool IsAvailable(StorageKind kind, int bits);
// The kinds that this program has for a depth.
std::vector<StorageKind> StorageKinds(int bits);
// The memory type that asks for a kind.
int MemoryType(StorageKind kind);
std::ostream &operator<<(std::ostream &out, StorageKind kind);

// The environment that a kind of storage needs. It must be there from the making of a bitmap until it is freed.
class StorageScope {
public:
    explicit StorageScope(StorageKind kind);
    ~StorageScope();
    StorageScope(const StorageScope &) = delete;
    StorageScope &operator=(const StorageScope &) = delete;
};

// ---- Images ---------------------------------------------------------------------------------------------------

inline constexpr std::array<int, 11> kAllDepths = {1, 2, 3, 4, 5, 6, 7, 8, 16, 24, 32};

std::vector<RGBQUAD> RandomPalette(Random &random, int count);

// Pixel x of a row in the packed form of a depth, read and written bit by bit.
uint32_t PixelOf(const uint8_t *row, size_t x, int bits);
void SetPixelOf(uint8_t *row, size_t x, int bits, uint32_t value);

// The colour that a pixel's number stands for.
COLORREF ColorOfPixel(uint32_t pixel, int bits, int colorOrder, const std::vector<RGBQUAD> &palette);

// A bitmap's pixels as plain numbers: indices, or the bytes of deeper pixels with the first one lowest.
struct Image {
    int width = 0;
    int height = 0;
    int bits = 0;
    std::vector<uint32_t> pixels; // stored row by stored row

    Image(int width, int height, int bits);
    static Image Random(test::Random &random, int width, int height, int bits);
    // Runs of equal pixels, as in scanned text.
    static Image RandomRuns(test::Random &random, int width, int height, int bits);

    uint32_t &At(int row, int x) { return pixels[size_t(row) * size_t(width) + size_t(x)]; }
    uint32_t At(int row, int x) const { return pixels[size_t(row) * size_t(width) + size_t(x)]; }
    bool operator==(const Image &) const = default;

    // A row as the bitmap stores it, padded to 4 bytes with zeros.
    std::vector<uint8_t> PackedRow(int row) const;
    std::vector<uint8_t> PackedRows() const;
};
void PrintTo(const Image &image, std::ostream *out);

// Writes an image to a bitmap of the same size and depth, row by row, and reads it back. The functions lock the bitmap
// and report failures of the row functions as failures of the test.
void Store(BitmapHandle *bitmap, const Image &image);
Image Load(BitmapHandle *bitmap);

// ---- Bitmaps --------------------------------------------------------------------------------------------------

struct BitmapOptions {
    int colorOrder = COLOR_ORDER_BGR;
    int orientation = ORIENT_BOTTOM_UP;
    std::vector<RGBQUAD> palette; // empty: the fixed one
};

// Any orientation, a colour order where the depth has one, and a palette where it has one.
BitmapOptions RandomOptions(Random &random, int bits);

// A bitmap of the given kind of storage, freed at the end of the scope.
class TestBitmap {
public:
    TestBitmap() = default;
    TestBitmap(StorageKind kind, int width, int height, int bits, const BitmapOptions &options = {});
    // The same with the pixels of an image.
    TestBitmap(StorageKind kind, const Image &image, const BitmapOptions &options = {});
    ~TestBitmap() { V_FreeBitmap(&m_record); }
    TestBitmap(const TestBitmap &) = delete;
    TestBitmap &operator=(const TestBitmap &) = delete;

    BitmapHandle *get() { return &m_record; }
    BitmapHandle *operator->() { return &m_record; }

private:
    BitmapHandle m_record = {};
};

// The colours of a bitmap's pixels as V_GetPixelColor tells them, top line first.
std::vector<COLORREF> ColorsFromTop(BitmapHandle *bitmap);

std::vector<RGBQUAD> PaletteOf(const BitmapHandle &record);

// A record's bytes, pixels, palette and region, to see later whether an operation left them alone. The row cache may
// move, as it does with every row that is read, but must still tell the truth.
class BitmapSnapshot {
public:
    explicit BitmapSnapshot(BitmapHandle *bitmap);
    void ExpectUnchanged() const;
    // Storage may have moved, as that of compressed rows does when one is written back.
    void ExpectSamePicture() const;

private:
    BitmapHandle *m_bitmap;
    BitmapHandle m_record;
    Image m_image;
    std::vector<bool> m_region; // empty without one
    std::vector<RGBQUAD> m_palette;
};

// ---- Everything there is ----------------------------------------------------------------------------------------

struct Variant {
    int bits;
    StorageKind kind;
    BitmapOptions options;
};

// Runs a test for every depth in every kind of storage, `rounds` times each: with all orientations and colour orders in
// turn and random palettes.
template <class Test>
void ForEachVariant(Random &random, int rounds, Test &&test, std::span<const int> depths = kAllDepths)
{
    for (const int bits : depths)
        for (const StorageKind kind : StorageKinds(bits)) {
            const StorageScope scope(kind);
            for (int round = 0; round < rounds; ++round) {
                Variant variant = {bits, kind, RandomOptions(random, bits)};
                variant.options.orientation = round % 2 ? ORIENT_TOP_DOWN : ORIENT_BOTTOM_UP;
                if (bits > 8)
                    variant.options.colorOrder = round / 2 % 2 ? COLOR_ORDER_RGB : COLOR_ORDER_BGR;
                SCOPED_TRACE(testing::Message() << bits << " bits, " << kind << ", round " << round);
                test(variant);
                if (testing::Test::HasFailure())
                    return;
            }
        }
}

// The fields of a record, for messages and for comparing two records.
std::string Describe(const BitmapHandle &record);
bool SameRecord(const BitmapHandle &a, const BitmapHandle &b);

} // namespace vexo::test

#endif
