#include "tests/support/bitmaps.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

namespace vexo::test {

namespace {

void (*setWin32s)(bool);

} // namespace

// ---- Storage --------------------------------------------------------------------------------------------------

void SetWin32sSwitch(void (*set)(bool isWin32s)) { setWin32s = set; }

bool IsAvailable(StorageKind kind, int bits)
{
    switch (kind) {
    case StorageKind::PageFile: return true;
    case StorageKind::Compressed: return bits == 1;
    default: return setWin32s != nullptr;
    }
}

std::vector<StorageKind> StorageKinds(int bits)
{
    std::vector<StorageKind> kinds;
    for (StorageKind kind :
         {StorageKind::PageFile, StorageKind::Compressed, StorageKind::GlobalMemory, StorageKind::TemporaryFile})
        if (IsAvailable(kind, bits))
            kinds.push_back(kind);
    return kinds;
}

int MemoryType(StorageKind kind)
{
    switch (kind) {
    case StorageKind::Compressed: return STORAGE_COMPRESSED | STORAGE_MEMORY;
    case StorageKind::TemporaryFile: return STORAGE_DISK;
    case StorageKind::GlobalMemory: return STORAGE_MEMORY_ONLY;
    default: return STORAGE_MEMORY;
    }
}

std::ostream &operator<<(std::ostream &out, StorageKind kind)
{
    constexpr const char *kNames[] = {"PageFile", "Compressed", "GlobalMemory", "TemporaryFile"};
    return out << kNames[int(kind)];
}

StorageScope::StorageScope(StorageKind kind)
{
    if (setWin32s)
        setWin32s(kind == StorageKind::GlobalMemory || kind == StorageKind::TemporaryFile);
}

StorageScope::~StorageScope()
{
    if (setWin32s)
        setWin32s(false);
}

// ---- Images ---------------------------------------------------------------------------------------------------

std::vector<RGBQUAD> RandomPalette(Random &random, int count)
{
    std::vector<RGBQUAD> palette(static_cast<size_t>(count));
    for (RGBQUAD &color : palette)
        color = {random.Byte(), random.Byte(), random.Byte(), 0};
    return palette;
}

uint32_t PixelOf(const uint8_t *row, size_t x, int bits)
{
    uint32_t value = 0;
    if (bits <= 8) {
        for (size_t bit = x * size_t(bits); bit < (x + 1) * size_t(bits); ++bit)
            value = value << 1 | (row[bit / 8] >> (7 - bit % 8) & 1u);
    } else {
        const size_t bytes = size_t(bits) / 8;
        for (size_t i = 0; i < bytes; ++i)
            value |= uint32_t(row[x * bytes + i]) << (8 * i);
    }
    return value;
}

void SetPixelOf(uint8_t *row, size_t x, int bits, uint32_t value)
{
    if (bits <= 8) {
        for (int i = 0; i < bits; ++i) {
            const size_t bit = x * size_t(bits) + size_t(i);
            const uint8_t mask = uint8_t(0x80u >> bit % 8);
            const bool isSet = value >> (bits - 1 - i) & 1;
            row[bit / 8] = uint8_t(isSet ? row[bit / 8] | mask : row[bit / 8] & ~mask);
        }
    } else {
        const size_t bytes = size_t(bits) / 8;
        for (size_t i = 0; i < bytes; ++i)
            row[x * bytes + i] = uint8_t(value >> (8 * i));
    }
}

COLORREF ColorOfPixel(uint32_t pixel, int bits, int colorOrder, const std::vector<RGBQUAD> &palette)
{
    if (bits <= 8)
        return RGB(palette[pixel].rgbRed, palette[pixel].rgbGreen, palette[pixel].rgbBlue);
    int parts[3];
    for (int i = 0; i < 3; ++i) {
        const int five = int(pixel >> (5 * i) & 31);
        parts[i] = bits == 16 ? five << 3 | five >> 2 : int(pixel >> (8 * i) & 255);
    }
    return colorOrder == COLOR_ORDER_RGB ? RGB(parts[0], parts[1], parts[2]) : RGB(parts[2], parts[1], parts[0]);
}

Image::Image(int w, int h, int depth) : width(w), height(h), bits(depth), pixels(size_t(w) * size_t(h)) {}

Image Image::Random(test::Random &random, int width, int height, int bits)
{
    Image image(width, height, bits);
    const uint32_t mask = bits == 32 ? ~0u : (1u << bits) - 1;
    for (uint32_t &pixel : image.pixels)
        pixel = uint32_t(random.Next()) & mask;
    return image;
}

Image Image::RandomRuns(test::Random &random, int width, int height, int bits)
{
    const Image colors = Random(random, 8, 1, bits);
    Image image(width, height, bits);
    int left = 0;
    uint32_t value = 0;
    for (uint32_t &pixel : image.pixels) {
        if (left-- <= 0) {
            left = random.OneIn(4) ? random.Below(40) : random.Below(5);
            value = colors.pixels[size_t(random.Below(8))];
        }
        pixel = value;
    }
    return image;
}

std::vector<uint8_t> Image::PackedRow(int row) const
{
    std::vector<uint8_t> packed((size_t(width) * size_t(bits) + 31) / 32 * 4);
    for (int x = 0; x < width; ++x)
        SetPixelOf(packed.data(), size_t(x), bits, At(row, x));
    return packed;
}

std::vector<uint8_t> Image::PackedRows() const
{
    std::vector<uint8_t> rows;
    for (int row = 0; row < height; ++row) {
        const std::vector<uint8_t> packed = PackedRow(row);
        rows.insert(rows.end(), packed.begin(), packed.end());
    }
    return rows;
}

void PrintTo(const Image &image, std::ostream *out)
{
    *out << image.width << " x " << image.height << " pixels of " << image.bits << " bits" << std::hex;
    for (size_t i = 0; i < image.pixels.size() && image.pixels.size() <= 256; ++i)
        *out << (i % size_t(image.width) ? " " : "\n  ") << image.pixels[i];
    *out << std::dec;
}

void Store(BitmapHandle *bitmap, const Image &image)
{
    const int previous = V_LockBitmap(bitmap);
    for (int row = 0; row < image.height; ++row) {
        const std::vector<uint8_t> packed = image.PackedRow(row);
        ASSERT_EQ(bitmap->BytesPerLine, V_PutBitmapRow(bitmap, packed.data(), row, bitmap->BytesPerLine));
    }
    V_UnlockBitmap(bitmap, previous);
}

Image Load(BitmapHandle *bitmap)
{
    Image image(bitmap->Width, bitmap->Height, bitmap->BitsPerPixel);
    std::vector<uint8_t> packed(static_cast<size_t>(bitmap->BytesPerLine));
    const int previous = V_LockBitmap(bitmap);
    for (int row = 0; row < image.height; ++row) {
        EXPECT_EQ(bitmap->BytesPerLine, V_GetBitmapRow(bitmap, packed.data(), row, bitmap->BytesPerLine));
        for (int x = 0; x < image.width; ++x)
            image.At(row, x) = PixelOf(packed.data(), size_t(x), image.bits);
    }
    V_UnlockBitmap(bitmap, previous);
    return image;
}

std::vector<COLORREF> ColorsFromTop(BitmapHandle *bitmap)
{
    std::vector<COLORREF> colors;
    for (int y = 0; y < bitmap->Height; ++y) {
        const int row = bitmap->Orientation == ORIENT_BOTTOM_UP ? bitmap->Height - 1 - y : y;
        for (int x = 0; x < bitmap->Width; ++x)
            colors.push_back(V_GetPixelColor(bitmap, row, x));
    }
    return colors;
}

// ---- Bitmaps --------------------------------------------------------------------------------------------------

BitmapOptions RandomOptions(Random &random, int bits)
{
    BitmapOptions options;
    options.orientation = random.OneIn(2) ? ORIENT_TOP_DOWN : ORIENT_BOTTOM_UP;
    if (bits > 8)
        options.colorOrder = random.OneIn(2) ? COLOR_ORDER_RGB : COLOR_ORDER_BGR;
    else
        options.palette = RandomPalette(random, 1 << bits);
    return options;
}

TestBitmap::TestBitmap(StorageKind kind, int width, int height, int bits, const BitmapOptions &options)
{
    EXPECT_TRUE(options.palette.empty() || (bits <= 8 && options.palette.size() >= size_t(1) << bits));
    EXPECT_EQ(RESULT_SUCCESS,
              V_CreateBitmap(&m_record, MemoryType(kind), width, height, bits, options.colorOrder,
                             options.palette.empty() ? nullptr : options.palette.data(), options.orientation));
}

TestBitmap::TestBitmap(StorageKind kind, const Image &image, const BitmapOptions &options)
    : TestBitmap(kind, image.width, image.height, image.bits, options)
{
    Store(&m_record, image);
}

std::vector<RGBQUAD> PaletteOf(const BitmapHandle &record)
{
    std::vector<RGBQUAD> palette(size_t(V_GetPaletteSize(record.Palette)));
    if (!palette.empty())
        V_GetPaletteEntries(record.Palette, 0, int(palette.size()), palette.data());
    return palette;
}

namespace {

// Reading rows moves the row cache, which a comparison with the record's bytes must not see.
Image LoadKeepingRecord(BitmapHandle *bitmap)
{
    const BitmapHandle record = *bitmap;
    Image image = Load(bitmap);
    *bitmap = record;
    return image;
}

std::vector<bool> RegionOf(BitmapHandle *bitmap)
{
    std::vector<bool> inside;
    for (int row = 0; bitmap->Region && row < bitmap->Height; ++row)
        for (int x = 0; x < bitmap->Width; ++x)
            inside.push_back(V_IsPtInBitmapRgn(bitmap, row, x) != 0);
    return inside;
}

} // namespace

BitmapSnapshot::BitmapSnapshot(BitmapHandle *bitmap)
    : m_bitmap(bitmap), m_record(*bitmap), m_image(LoadKeepingRecord(bitmap)), m_region(RegionOf(bitmap)),
      m_palette(PaletteOf(m_record))
{
}

void BitmapSnapshot::ExpectUnchanged() const
{
    BitmapHandle record = *m_bitmap;
    EXPECT_EQ(unsigned(record.CachedRow) * unsigned(record.BytesPerLine), record.CachedRowOffset);
    record.CachedRow = m_record.CachedRow;
    record.CachedRowOffset = m_record.CachedRowOffset;
    ASSERT_TRUE(SameRecord(m_record, record))
        << "before: " << Describe(m_record) << "\nafter:  " << Describe(*m_bitmap);
    ExpectSamePicture();
}

void BitmapSnapshot::ExpectSamePicture() const
{
    EXPECT_EQ(m_image, LoadKeepingRecord(m_bitmap));
    EXPECT_EQ(m_region, RegionOf(m_bitmap)) << "the region";
    const std::vector<RGBQUAD> palette = PaletteOf(*m_bitmap);
    ASSERT_EQ(m_palette.size(), palette.size());
    EXPECT_TRUE(palette.empty() || memcmp(m_palette.data(), palette.data(), palette.size() * sizeof(RGBQUAD)) == 0);
}

std::string Describe(const BitmapHandle &record)
{
    std::ostringstream out;
    out << record.Width << " x " << record.Height << " x " << record.BitsPerPixel << ", " << record.BytesPerLine
        << " bytes a line, size " << record.Size << ", flags 0x" << std::hex << record.Flags << ", handle 0x"
        << record.Handle << std::dec << ", data " << record.Data << ", colours " << record.ColorCount << ", palette "
        << static_cast<void *>(record.Palette) << ", orientation " << record.Orientation << ", order "
        << record.ColorOrder << ", cache " << record.CachedRow << "/" << record.CachedRowOffset << ", resolution "
        << record.XResolution << " x " << record.YResolution << ", dither " << record.DitherMode << ", animation "
        << record.AnimLeft << "," << record.AnimTop << "," << record.AnimDelay << "," << std::hex
        << record.AnimBackground << "," << record.AnimTransparent << "," << std::dec << record.AnimDisposal;
    return out.str();
}

// Every field is as wide as it is aligned or followed by padding that whole-record copies carry along, so the bytes
// are compared.
bool SameRecord(const BitmapHandle &a, const BitmapHandle &b) { return memcmp(&a, &b, sizeof(BitmapHandle)) == 0; }

} // namespace vexo::test
