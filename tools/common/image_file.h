// Picture files through the Windows Imaging Component. What is read and written always passes through a bitmap of the
// library; the component does nothing but the file format.
#ifndef VEXO_TOOLS_IMAGE_FILE_H
#define VEXO_TOOLS_IMAGE_FILE_H

#include "common/bitmap.h"
#include "common/com.h"

#include <wincodec.h>

#include <optional>
#include <span>
#include <string>

namespace vexo::tools {

// An open picture file. COM must be running on the thread. Failures are thrown as FileError.
class PictureFile {
public:
    explicit PictureFile(const std::wstring &path);

    unsigned FrameCount() const { return m_frameCount; }
    const char *FormatName() const { return m_formatName; } // "PNG"

    // Reads one frame into memory storage in the file's own depth where the library has it: 1, 2, 4 and 8-bit indices
    // with the frame's palette, grays with an even ramp, 16-bit 5-5-5, 24 and 32 bits blue first. Other formats become
    // 8-bit gray, 24 bits, or 32 bits when they can be transparent. The first palette entry that is fully transparent
    // becomes AnimTransparent.
    Bitmap ReadFrame(unsigned index = 0) const;

    // A whole number of the file's or a frame's metadata, named by the component's query ("/imgdesc/Left"), if there.
    std::optional<unsigned> FileNumber(const wchar_t *query) const;
    std::optional<unsigned> FrameNumber(unsigned index, const wchar_t *query) const;

private:
    std::wstring m_path;
    ComPtr<IWICImagingFactory> m_factory;
    ComPtr<IWICBitmapDecoder> m_decoder;
    unsigned m_frameCount = 0;
    const char *m_formatName = "";
};

// Throws FileError unless the name ends in a format that can be written: .png .gif .tif .tiff .jpg .jpeg .bmp .dib
void CheckOutputName(const std::wstring &path);

// Writes a picture in the format that the name ends in. A file of that name is replaced in one step when everything has
// gone well; a failure leaves it as it was.
//
// PNG, TIFF  indices with their palette or grays in the smallest depth the format has, 24 bits, or 32 bits with alpha.
//            A fourth byte of 0 throughout means that there is no alpha, since widening to 32 bits leaves it at 0.
// GIF        8-bit indices; deeper pictures take the nearest colours of the fixed palette. See gif_file.h for several.
// JPEG       8-bit gray or 24 bits
// BMP        the DIB that V_ConvertToDIB makes
void WritePicture(Bitmap &bitmap, const std::wstring &path);

// Returns what the imaging component's encoder makes of the frames, in the format that the name ends in (not BMP).
std::vector<BYTE> EncodeFrames(std::span<Bitmap> frames, const std::wstring &path);

// Makes `path` a file of these blocks, one behind the other: they go to a new file beside it, which takes its place in
// one step.
void ReplaceFileContents(const std::wstring &path, std::initializer_list<std::span<const BYTE>> blocks);

// Throws FileError when the component is not to be had.
ComPtr<IWICImagingFactory> CreateImagingFactory(const std::wstring &path);

} // namespace vexo::tools

#endif
