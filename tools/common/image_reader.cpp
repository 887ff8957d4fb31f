// Reads picture files. The component is asked for the frame's native pixels wherever the library has that depth, so
// that indices and palettes arrive as they stand in the file.
#include "common/errors.h"
#include "common/image_file.h"

#include <algorithm>
#include <cmath>

namespace vexo::tools {
namespace {

constexpr char kCannotRead[] = "cannot be read";

enum class Colors { None, File, Gray };

// A pixel format of the component and what it is in the library.
struct PixelLayout {
    WICPixelFormatGUID format;
    int bits;
    Colors colors;
};

PixelLayout ChooseLayout(IWICImagingFactory *factory, const WICPixelFormatGUID &native)
{
    static const PixelLayout layouts[] = {
        {GUID_WICPixelFormat1bppIndexed, 1, Colors::File},  {GUID_WICPixelFormat2bppIndexed, 2, Colors::File},
        {GUID_WICPixelFormat4bppIndexed, 4, Colors::File},  {GUID_WICPixelFormat8bppIndexed, 8, Colors::File},
        {GUID_WICPixelFormatBlackWhite, 1, Colors::Gray},   {GUID_WICPixelFormat2bppGray, 2, Colors::Gray},
        {GUID_WICPixelFormat4bppGray, 4, Colors::Gray},     {GUID_WICPixelFormat8bppGray, 8, Colors::Gray},
        {GUID_WICPixelFormat16bppBGR555, 16, Colors::None}, {GUID_WICPixelFormat24bppBGR, 24, Colors::None},
        {GUID_WICPixelFormat32bppBGRA, 32, Colors::None},
    };
    for (const PixelLayout &layout : layouts)
        if (layout.format == native)
            return layout;
    if (native == GUID_WICPixelFormat16bppGray)
        return {GUID_WICPixelFormat8bppGray, 8, Colors::Gray};

    // 32 bits without alpha keep their depth; the component fills in an opaque fourth byte.
    bool wide = native == GUID_WICPixelFormat32bppBGR;
    ComPtr<IWICComponentInfo> component;
    ComPtr<IWICPixelFormatInfo2> info;
    BOOL transparent = FALSE;
    if (SUCCEEDED(factory->CreateComponentInfo(native, component.Receive())) && SUCCEEDED(component.QueryTo(info)) &&
        SUCCEEDED(info->SupportsTransparency(&transparent)))
        wide = wide || transparent;
    return wide ? PixelLayout{GUID_WICPixelFormat32bppBGRA, 32, Colors::None}
                : PixelLayout{GUID_WICPixelFormat24bppBGR, 24, Colors::None};
}

// The frame's pixels in the layout: the frame itself, or a converter in front of it.
ComPtr<IWICBitmapSource> SourceOf(IWICImagingFactory *factory, IWICBitmapFrameDecode *frame,
                                  const WICPixelFormatGUID &native, const PixelLayout &layout, const std::wstring &path)
{
    ComPtr<IWICBitmapSource> source;
    if (native == layout.format) {
        CheckCom(frame->QueryInterface(IID_IWICBitmapSource, reinterpret_cast<void **>(source.Receive())), path,
                 kCannotRead);
        return source;
    }
    ComPtr<IWICFormatConverter> converter;
    CheckCom(factory->CreateFormatConverter(converter.Receive()), path, kCannotRead);
    CheckCom(
        converter->Initialize(frame, layout.format, WICBitmapDitherTypeNone, nullptr, 0, WICBitmapPaletteTypeCustom),
        path, kCannotRead);
    CheckCom(converter.QueryTo(source), path, kCannotRead);
    return source;
}

// The frame's palette, or the file's where the frame has none of its own.
std::vector<WICColor> FileColors(IWICImagingFactory *factory, IWICBitmapDecoder *decoder, IWICBitmapFrameDecode *frame,
                                 const std::wstring &path)
{
    ComPtr<IWICPalette> palette;
    CheckCom(factory->CreatePalette(palette.Receive()), path, kCannotRead);
    if (FAILED(frame->CopyPalette(palette.get())))
        CheckCom(decoder->CopyPalette(palette.get()), path, kCannotRead);
    UINT count = 0;
    CheckCom(palette->GetColorCount(&count), path, kCannotRead);
    std::vector<WICColor> colors(count);
    CheckCom(palette->GetColors(count, colors.data(), &count), path, kCannotRead);
    return colors;
}

std::vector<RGBQUAD> ToQuads(const std::vector<WICColor> &colors, int bits)
{
    std::vector<RGBQUAD> quads(size_t(1) << bits);
    for (size_t i = 0; i < std::min(colors.size(), quads.size()); ++i)
        quads[i] = {BYTE(colors[i]), BYTE(colors[i] >> 8), BYTE(colors[i] >> 16), 0};
    return quads;
}

void MarkTransparentIndex(Bitmap &bitmap, const std::vector<WICColor> &colors)
{
    const size_t count = std::min(colors.size(), size_t(bitmap->ColorCount));
    for (size_t i = 0; i < count; ++i)
        if (colors[i] >> 24 == 0) {
            bitmap->AnimTransparent = COLOR_INDEX(i);
            bitmap->Flags |= FLAG_TRANSPARENT;
            return;
        }
}

// Decoders leave what they like in the bits behind the last pixel of a byte.
void ClearSpareBits(BYTE *line, int width, int bits)
{
    const int64_t bitCount = int64_t(width) * bits;
    if (const int used = int(bitCount % 8))
        line[bitCount / 8] &= BYTE(0xFF00 >> used);
}

void ReadLines(Bitmap &bitmap, IWICBitmapSource *source, const std::wstring &path)
{
    constexpr int kBandBytes = 1 << 20; // large enough to be quick, small beside the picture
    const int bandLines = std::clamp(kBandBytes / bitmap->BytesPerLine, 1, bitmap->Height);
    std::vector<BYTE> band(size_t(bandLines) * size_t(bitmap->BytesPerLine));
    Lines lines(bitmap);
    for (int top = 0; top < bitmap->Height; top += bandLines) {
        const int count = std::min(bandLines, bitmap->Height - top);
        const WICRect area = {0, top, bitmap->Width, count};
        CheckCom(source->CopyPixels(&area, UINT(bitmap->BytesPerLine), UINT(band.size()), band.data()), path,
                 kCannotRead);
        for (int y = 0; y < count; ++y) {
            BYTE *line = band.data() + size_t(y) * size_t(bitmap->BytesPerLine);
            ClearSpareBits(line, bitmap->Width, bitmap->BitsPerPixel);
            if (!lines.Put(top + y, line))
                throw FileError(path, "a row could not be stored");
        }
    }
}

// Resolutions that the file does not give keep the library's default.
void TakeResolution(Bitmap &bitmap, IWICBitmapFrameDecode *frame)
{
    double x = 0, y = 0;
    if (FAILED(frame->GetResolution(&x, &y)) || !(x >= 1 && y >= 1 && x < 1e6 && y < 1e6))
        return;
    bitmap->XResolution = int(std::lround(x));
    bitmap->YResolution = int(std::lround(y));
}

// A whole number out of the metadata of a decoder or frame.
template <class Owner>
std::optional<unsigned> ReadNumber(Owner *owner, const wchar_t *query)
{
    ComPtr<IWICMetadataQueryReader> reader;
    if (FAILED(owner->GetMetadataQueryReader(reader.Receive())))
        return {};
    PROPVARIANT value = {};
    if (FAILED(reader->GetMetadataByName(query, &value)))
        return {};
    std::optional<unsigned> number;
    switch (value.vt) {
    case VT_UI1: number = value.bVal; break;
    case VT_UI2: number = value.uiVal; break;
    case VT_UI4: number = value.ulVal; break;
    case VT_BOOL: number = value.boolVal != VARIANT_FALSE; break;
    default: break;
    }
    PropVariantClear(&value);
    return number;
}

const char *NameOf(const GUID &container)
{
    static const std::pair<GUID, const char *> names[] = {
        {GUID_ContainerFormatBmp, "BMP"},   {GUID_ContainerFormatPng, "PNG"}, {GUID_ContainerFormatJpeg, "JPEG"},
        {GUID_ContainerFormatTiff, "TIFF"}, {GUID_ContainerFormatGif, "GIF"}, {GUID_ContainerFormatIco, "ICO"},
    };
    for (const auto &[format, name] : names)
        if (format == container)
            return name;
    return "other format";
}

} // namespace

ComPtr<IWICImagingFactory> CreateImagingFactory(const std::wstring &path)
{
    ComPtr<IWICImagingFactory> factory;
    CheckCom(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_IWICImagingFactory,
                              reinterpret_cast<void **>(factory.Receive())),
             path, "the Windows Imaging Component is missing");
    return factory;
}

PictureFile::PictureFile(const std::wstring &path) : m_path(path), m_factory(CreateImagingFactory(path))
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        throw FileError(path, SystemWords(GetLastError()));
    if (attributes & FILE_ATTRIBUTE_DIRECTORY)
        throw FileError(path, "is a folder");
    const HRESULT opened = m_factory->CreateDecoderFromFilename(path.c_str(), nullptr, GENERIC_READ,
                                                                WICDecodeMetadataCacheOnDemand, m_decoder.Receive());
    if (FAILED(opened))
        throw FileError(path, ComWords(opened));
    GUID container;
    if (SUCCEEDED(m_decoder->GetContainerFormat(&container)))
        m_formatName = NameOf(container);
    CheckCom(m_decoder->GetFrameCount(&m_frameCount), path, kCannotRead);
    if (m_frameCount == 0)
        throw FileError(path, "holds no picture");
}

Bitmap PictureFile::ReadFrame(unsigned index) const
{
    ComPtr<IWICBitmapFrameDecode> frame;
    UINT width, height;
    WICPixelFormatGUID native;
    CheckCom(m_decoder->GetFrame(index, frame.Receive()), m_path, kCannotRead);
    CheckCom(frame->GetSize(&width, &height), m_path, kCannotRead);
    CheckCom(frame->GetPixelFormat(&native), m_path, kCannotRead);

    const PixelLayout layout = ChooseLayout(m_factory.get(), native);
    const ComPtr<IWICBitmapSource> source = SourceOf(m_factory.get(), frame.get(), native, layout, m_path);
    std::vector<WICColor> colors;
    std::vector<RGBQUAD> quads;
    if (layout.colors == Colors::File) {
        colors = FileColors(m_factory.get(), m_decoder.get(), frame.get(), m_path);
        quads = ToQuads(colors, layout.bits);
    } else if (layout.colors == Colors::Gray) {
        quads = GrayColors(layout.bits);
    }

    Bitmap bitmap;
    CheckStatus(V_CreateBitmap(bitmap.get(), STORAGE_MEMORY, int(width), int(height), layout.bits, COLOR_ORDER_BGR,
                               quads.empty() ? nullptr : quads.data(), ORIENT_BOTTOM_UP),
                m_path, kCannotRead);
    TakeResolution(bitmap, frame.get());
    MarkTransparentIndex(bitmap, colors);
    ReadLines(bitmap, source.get(), m_path);
    return bitmap;
}

std::optional<unsigned> PictureFile::FileNumber(const wchar_t *query) const
{
    return ReadNumber(m_decoder.get(), query);
}

std::optional<unsigned> PictureFile::FrameNumber(unsigned index, const wchar_t *query) const
{
    ComPtr<IWICBitmapFrameDecode> frame;
    CheckCom(m_decoder->GetFrame(index, frame.Receive()), m_path, kCannotRead);
    return ReadNumber(frame.get(), query);
}

} // namespace vexo::tools
