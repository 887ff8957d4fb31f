// Writes picture files. A file is made in memory first and put in its place by one rename, so that nobody ever sees
// half a picture. Rows reach the encoder through V_ConvertBuffer when the format lacks the bitmap's depth.
#include "common/errors.h"
#include "common/gif_file.h"
#include "common/image_file.h"
#include "common/text.h"

#include <algorithm>

namespace vexo::tools {
namespace {

constexpr char kCannotWrite[] = "cannot be written";

constexpr unsigned Depths(std::initializer_list<int> list)
{
    unsigned mask = 0;
    for (int bits : list)
        mask |= 1u << bits;
    return mask;
}

struct OutputFormat {
    const wchar_t *extension;
    const GUID *container;  // null: BMP, which the library makes itself
    unsigned indexedDepths; // bit n: n-bit indices with a palette
    unsigned grayDepths;    // bit n: n-bit grays
    bool hasTrueColor;
    bool hasAlpha;
};

constexpr unsigned kPngDepths = Depths({1, 2, 4, 8});
constexpr unsigned kTiffDepths = Depths({1, 4, 8});
constexpr OutputFormat kOutputFormats[] = {
    {L".png", &GUID_ContainerFormatPng, kPngDepths, kPngDepths, true, true},
    {L".tif", &GUID_ContainerFormatTiff, kTiffDepths, kTiffDepths, true, true},
    {L".tiff", &GUID_ContainerFormatTiff, kTiffDepths, kTiffDepths, true, true},
    {L".gif", &GUID_ContainerFormatGif, Depths({8}), 0, false, false},
    {L".jpg", &GUID_ContainerFormatJpeg, 0, Depths({8}), true, false},
    {L".jpeg", &GUID_ContainerFormatJpeg, 0, Depths({8}), true, false},
    {L".bmp", nullptr, 0, 0, true, false},
    {L".dib", nullptr, 0, 0, true, false},
};

const OutputFormat &FormatOf(const std::wstring &path)
{
    const size_t dot = path.find_last_of(L"./\\");
    const std::wstring extension = dot != std::wstring::npos && path[dot] == L'.' ? path.substr(dot) : L"";
    for (const OutputFormat &format : kOutputFormats)
        if (lstrcmpiW(extension.c_str(), format.extension) == 0)
            return format;
    const std::string found =
        extension.empty() ? "a name without a format" : "unknown format \"" + ToUtf8(extension) + "\"";
    throw FileError(path, found + "; use .png, .bmp, .tif, .gif or .jpg");
}

// ---- Choosing what the encoder gets ---------------------------------------------------------------------------

// Pixels as the encoder takes them.
struct PixelLayout {
    WICPixelFormatGUID format;
    int bits;
    std::vector<RGBQUAD> colors; // for palettised depths, grays included
    bool isIndexed = false;      // the encoder takes the colours as a palette
};

// The smallest depth of the mask that holds `bits`, or 0.
int DepthFor(unsigned mask, int bits)
{
    for (; bits <= 8; ++bits)
        if (mask >> bits & 1)
            return bits;
    return 0;
}

PixelLayout IndexedLayout(int bits, std::vector<RGBQUAD> colors)
{
    colors.resize(size_t(1) << bits);
    const WICPixelFormatGUID format = bits == 1   ? GUID_WICPixelFormat1bppIndexed
                                      : bits == 2 ? GUID_WICPixelFormat2bppIndexed
                                      : bits == 4 ? GUID_WICPixelFormat4bppIndexed
                                                  : GUID_WICPixelFormat8bppIndexed;
    return {format, bits, std::move(colors), true};
}

PixelLayout GrayLayout(int bits)
{
    const WICPixelFormatGUID format = bits == 1   ? GUID_WICPixelFormatBlackWhite
                                      : bits == 2 ? GUID_WICPixelFormat2bppGray
                                      : bits == 4 ? GUID_WICPixelFormat4bppGray
                                                  : GUID_WICPixelFormat8bppGray;
    return {format, bits, GrayColors(bits)};
}

bool HasAlpha(Bitmap &bitmap, const std::wstring &path)
{
    std::vector<BYTE> line(size_t(bitmap->BytesPerLine));
    Lines lines(bitmap);
    for (int y = 0; y < bitmap->Height; ++y) {
        if (!lines.Get(y, line.data()))
            throw FileError(path, "a row could not be fetched");
        for (size_t x = 3; x < line.size(); x += 4)
            if (line[x])
                return true;
    }
    return false;
}

PixelLayout ChooseLayout(Bitmap &bitmap, const OutputFormat &format, const std::wstring &path)
{
    const int bits = bitmap->BitsPerPixel;
    if (bits <= 8) {
        // Grays that are no even ramp go as indices where the format has any, so that nothing is rounded twice.
        const int grayness = V_IsGrayScaleBitmap(bitmap.get());
        const bool isGray = grayness == GRAYSCALE_BLACK_FIRST || (grayness != GRAYSCALE_NO && !format.indexedDepths);
        const bool isTransparent = bitmap.TransparentIndex() >= 0 && format.indexedDepths;
        if (const int depth = DepthFor(format.grayDepths, bits); depth && isGray && !isTransparent)
            return GrayLayout(depth);
        if (const int depth = DepthFor(format.indexedDepths, bits))
            return IndexedLayout(depth, bitmap.Colors());
    }
    if (!format.hasTrueColor) {
        std::vector<RGBQUAD> colors(256);
        V_GetFixedPalette(colors.data(), 8);
        return IndexedLayout(8, std::move(colors));
    }
    // Choice: a fourth byte that is 0 in every pixel is no alpha channel; a picture widened to 32 bits stays visible.
    if (bits == 32 && format.hasAlpha && HasAlpha(bitmap, path))
        return {GUID_WICPixelFormat32bppBGRA, 32, {}};
    return {GUID_WICPixelFormat24bppBGR, 24, {}};
}

// ---- Encoding -------------------------------------------------------------------------------------------------

void SetPalette(IWICImagingFactory *factory, IWICBitmapFrameEncode *frame, Bitmap &bitmap, const PixelLayout &layout,
                const std::wstring &path)
{
    std::vector<WICColor> colors;
    for (const RGBQUAD &quad : layout.colors)
        colors.push_back(0xFF000000u | unsigned(quad.rgbRed) << 16 | unsigned(quad.rgbGreen) << 8 | quad.rgbBlue);
    if (const int index = bitmap.TransparentIndex(); index >= 0)
        colors[size_t(index)] &= 0x00FFFFFFu;
    ComPtr<IWICPalette> palette;
    CheckCom(factory->CreatePalette(palette.Receive()), path, kCannotWrite);
    CheckCom(palette->InitializeCustom(colors.data(), UINT(colors.size())), path, kCannotWrite);
    CheckCom(frame->SetPalette(palette.get()), path, kCannotWrite);
}

bool SameColors(const std::vector<RGBQUAD> &left, const std::vector<RGBQUAD> &right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](const RGBQUAD &a, const RGBQUAD &b) {
        return a.rgbRed == b.rgbRed && a.rgbGreen == b.rgbGreen && a.rgbBlue == b.rgbBlue;
    });
}

void WriteLines(IWICBitmapFrameEncode *frame, Bitmap &bitmap, const PixelLayout &layout, const std::wstring &path)
{
    const int width = bitmap->Width;
    const int bits = bitmap->BitsPerPixel;
    const std::vector<RGBQUAD> sourceColors = bitmap.Colors();
    const bool converts = bits != layout.bits || !SameColors(sourceColors, layout.colors) ||
                          (bits > 8 && bitmap->ColorOrder != COLOR_ORDER_BGR);
    const UINT lineBytes = V_CalcConvertSize(width, layout.bits, width, layout.bits);
    std::vector<BYTE> line(V_CalcConvertSize(width, bits, width, layout.bits));
    Lines lines(bitmap);
    for (int y = 0; y < bitmap->Height; ++y) {
        if (!lines.Get(y, line.data()))
            throw FileError(path, "a row could not be fetched");
        if (converts)
            CheckStatus(V_ConvertBuffer(line.data(), width, bits, layout.bits, bitmap->ColorOrder, COLOR_ORDER_BGR,
                                        sourceColors.empty() ? nullptr : sourceColors.data(),
                                        layout.colors.empty() ? nullptr : layout.colors.data()),
                        path, kCannotWrite);
        CheckCom(frame->WritePixels(1, lineBytes, lineBytes, line.data()), path, kCannotWrite);
    }
}

void AddFrame(IWICImagingFactory *factory, IWICBitmapEncoder *encoder, Bitmap &bitmap, const OutputFormat &format,
              const std::wstring &path)
{
    const PixelLayout layout = ChooseLayout(bitmap, format, path);
    ComPtr<IWICBitmapFrameEncode> frame;
    CheckCom(encoder->CreateNewFrame(frame.Receive(), nullptr), path, kCannotWrite);
    CheckCom(frame->Initialize(nullptr), path, kCannotWrite);
    CheckCom(frame->SetSize(UINT(bitmap->Width), UINT(bitmap->Height)), path, kCannotWrite);
    CheckCom(frame->SetResolution(bitmap->XResolution, bitmap->YResolution), path, kCannotWrite);
    WICPixelFormatGUID accepted = layout.format;
    CheckCom(frame->SetPixelFormat(&accepted), path, kCannotWrite);
    if (accepted != layout.format)
        throw FileError(path, "this system's encoder does not take " + std::to_string(layout.bits) + "-bit pixels");
    if (layout.isIndexed)
        SetPalette(factory, frame.get(), bitmap, layout, path);
    WriteLines(frame.get(), bitmap, layout, path);
    CheckCom(frame->Commit(), path, kCannotWrite);
}

std::vector<BYTE> StreamContents(IStream *stream, const std::wstring &path)
{
    STATSTG statistics;
    CheckCom(stream->Stat(&statistics, STATFLAG_NONAME), path, kCannotWrite);
    std::vector<BYTE> contents(size_t(statistics.cbSize.QuadPart));
    CheckCom(stream->Seek({}, STREAM_SEEK_SET, nullptr), path, kCannotWrite);
    ULONG count = 0;
    CheckCom(stream->Read(contents.data(), ULONG(contents.size()), &count), path, kCannotWrite);
    return contents;
}

// ---- BMP ------------------------------------------------------------------------------------------------------

// Owns the block of a packed DIB and keeps it locked.
class PackedDib {
public:
    explicit PackedDib(HGLOBAL block)
        : m_block(block), m_bytes(block ? static_cast<BYTE *>(GlobalLock(block)) : nullptr)
    {
    }
    ~PackedDib()
    {
        if (m_bytes)
            GlobalUnlock(m_block);
        if (m_block)
            GlobalFree(m_block);
    }
    PackedDib(const PackedDib &) = delete;
    PackedDib &operator=(const PackedDib &) = delete;

    explicit operator bool() const { return m_bytes != nullptr; }
    const BITMAPINFOHEADER &Header() const { return *reinterpret_cast<const BITMAPINFOHEADER *>(m_bytes); }
    const BYTE *data() const { return m_bytes; }

    // Bytes in front of the rows. The block itself may be larger than what it holds.
    DWORD RowsOffset() const
    {
        const DWORD colors = Header().biClrUsed         ? Header().biClrUsed
                             : Header().biBitCount <= 8 ? 1u << Header().biBitCount
                                                        : 0;
        return Header().biSize + colors * DWORD(sizeof(RGBQUAD));
    }

private:
    HGLOBAL m_block;
    BYTE *m_bytes;
};

void WriteBmp(Bitmap &bitmap, const std::wstring &path)
{
    const PackedDib dib(V_ConvertToDIB(bitmap.get()));
    if (!dib)
        throw FileError(path, "the picture could not be made a DIB (out of memory?)");
    const DWORD dibBytes = dib.RowsOffset() + dib.Header().biSizeImage;
    BITMAPFILEHEADER header = {};
    header.bfType = 0x4D42; // "BM"
    header.bfOffBits = DWORD(sizeof header) + dib.RowsOffset();
    header.bfSize = DWORD(sizeof header) + dibBytes;
    ReplaceFileContents(path, {{reinterpret_cast<const BYTE *>(&header), sizeof header}, {dib.data(), dibBytes}});
}

// ---- Files ----------------------------------------------------------------------------------------------------

// A new file beside the one it is to replace. It disappears unless it is put in place.
class ReplacementFile {
public:
    explicit ReplacementFile(const std::wstring &target)
        : m_target(target), m_path(target + L"." + std::to_wstring(GetCurrentProcessId()) + L".tmp"),
          m_file(CreateFileW(m_path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr))
    {
        if (m_file == INVALID_HANDLE_VALUE)
            Fail();
    }
    ~ReplacementFile()
    {
        Close();
        if (!m_inPlace)
            DeleteFileW(m_path.c_str());
    }
    ReplacementFile(const ReplacementFile &) = delete;
    ReplacementFile &operator=(const ReplacementFile &) = delete;

    void Write(std::span<const BYTE> bytes)
    {
        DWORD written = 0;
        if (!WriteFile(m_file, bytes.data(), DWORD(bytes.size()), &written, nullptr) || written != bytes.size())
            Fail();
    }

    void PutInPlace()
    {
        Close();
        if (!MoveFileExW(m_path.c_str(), m_target.c_str(), MOVEFILE_REPLACE_EXISTING))
            Fail();
        m_inPlace = true;
    }

private:
    void Close()
    {
        if (m_file != INVALID_HANDLE_VALUE)
            CloseHandle(std::exchange(m_file, INVALID_HANDLE_VALUE));
    }
    [[noreturn]] void Fail() const
    {
        throw FileError(m_target, std::string(kCannotWrite) + ": " + SystemWords(GetLastError()));
    }

    std::wstring m_target;
    std::wstring m_path;
    HANDLE m_file;
    bool m_inPlace = false;
};

} // namespace

void ReplaceFileContents(const std::wstring &path, std::initializer_list<std::span<const BYTE>> blocks)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY))
        throw FileError(path, std::string(kCannotWrite) + ": is a folder");
    ReplacementFile file(path);
    for (const std::span<const BYTE> block : blocks)
        file.Write(block);
    file.PutInPlace();
}

void CheckOutputName(const std::wstring &path) { FormatOf(path); }

std::vector<BYTE> EncodeFrames(std::span<Bitmap> frames, const std::wstring &path)
{
    const OutputFormat &format = FormatOf(path);
    const ComPtr<IWICImagingFactory> factory = CreateImagingFactory(path);
    ComPtr<IStream> stream;
    ComPtr<IWICBitmapEncoder> encoder;
    CheckCom(CreateStreamOnHGlobal(nullptr, TRUE, stream.Receive()), path, kCannotWrite);
    CheckCom(factory->CreateEncoder(*format.container, nullptr, encoder.Receive()), path, kCannotWrite);
    CheckCom(encoder->Initialize(stream.get(), WICBitmapEncoderNoCache), path, kCannotWrite);
    for (Bitmap &frame : frames)
        AddFrame(factory.get(), encoder.get(), frame, format, path);
    CheckCom(encoder->Commit(), path, kCannotWrite);
    return StreamContents(stream.get(), path);
}

void WritePicture(Bitmap &bitmap, const std::wstring &path)
{
    const OutputFormat &format = FormatOf(path);
    if (!format.container)
        WriteBmp(bitmap, path);
    else if (*format.container == GUID_ContainerFormatGif)
        WriteGif({&bitmap, 1}, path);
    else
        ReplaceFileContents(path, {EncodeFrames({&bitmap, 1}, path)});
}

} // namespace vexo::tools
