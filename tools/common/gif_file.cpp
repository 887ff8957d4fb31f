// Walks the blocks of an encoded GIF and copies them over, with a control block before each image, the image's place in
// its descriptor and, for an animation, a repeat block in front.
#include "common/gif_file.h"

#include "common/errors.h"
#include "common/image_file.h"

#include <algorithm>

namespace vexo::tools {
namespace {

constexpr BYTE kExtension = 0x21, kImage = 0x2C, kTrailer = 0x3B;
constexpr BYTE kControlLabel = 0xF9, kApplicationLabel = 0xFF;
constexpr size_t kSignatureBytes = 6;
constexpr size_t kScreenFlagsBytes = 3; // of the screen descriptor, after width and height

using Bytes = std::vector<BYTE>;

class GifRewriter {
public:
    GifRewriter(const Bytes &source, std::span<Bitmap> frames, const std::wstring &path)
        : m_source(source), m_frames(frames), m_path(path)
    {
    }

    Bytes Run()
    {
        m_output.insert(m_output.end(), m_source.begin(), m_source.begin() + kSignatureBytes);
        m_position = kSignatureBytes;
        Replace16(unsigned(m_frames[0]->Width));
        Replace16(unsigned(m_frames[0]->Height));
        CopyBytes(kScreenFlagsBytes + ColorTableBytes(At(0)));
        static constexpr char repeat[] = "\x21\xFF\x0BNETSCAPE2.0\x03\x01\x00\x00"; // 0 times: for ever
        if (m_frames.size() > 1)
            m_output.insert(m_output.end(), repeat, repeat + sizeof repeat);
        for (size_t frame = 0; At(0) != kTrailer;) {
            if (At(0) == kImage && frame < m_frames.size())
                CopyImage(frame++);
            else if (At(0) == kExtension && (At(1) == kControlLabel || At(1) == kApplicationLabel))
                SkipExtension(); // an encoder's own, replaced by ours
            else if (At(0) == kExtension)
                CopyExtension();
            else
                Fail();
        }
        CopyBytes(1);
        return std::move(m_output);
    }

private:
    [[noreturn]] void Fail() const { throw FileError(m_path, "cannot be written: unexpected data from the encoder"); }

    BYTE At(size_t offset) const
    {
        if (m_position + offset >= m_source.size())
            Fail();
        return m_source[m_position + offset];
    }
    static size_t ColorTableBytes(BYTE flags) { return flags & 0x80 ? size_t(3) << ((flags & 7) + 1) : 0; }

    void CopyBytes(size_t count)
    {
        At(count - 1);
        const auto first = m_source.begin() + ptrdiff_t(m_position);
        m_output.insert(m_output.end(), first, first + ptrdiff_t(count));
        m_position += count;
    }
    void CopySubBlocks()
    {
        while (At(0))
            CopyBytes(size_t(At(0)) + 1);
        CopyBytes(1);
    }
    void CopyExtension()
    {
        CopyBytes(2);
        CopySubBlocks();
    }
    void SkipExtension()
    {
        const size_t length = m_output.size();
        CopyExtension();
        m_output.resize(length);
    }

    void Append16(unsigned value)
    {
        m_output.push_back(BYTE(value));
        m_output.push_back(BYTE(value >> 8));
    }

    void Replace16(unsigned value)
    {
        Append16(value);
        m_position += 2;
    }

    void CopyImage(size_t index)
    {
        const Bitmap &frame = m_frames[index];
        const int transparentIndex = frame.TransparentIndex();
        m_output.insert(m_output.end(), {kExtension, kControlLabel, 4});
        m_output.push_back(BYTE((frame->AnimDisposal & 7) << 2 | (transparentIndex >= 0 ? 1 : 0)));
        Append16((frame->AnimDelay + 5) / 10); // in hundredths of a second
        m_output.push_back(BYTE(std::max(transparentIndex, 0)));
        m_output.push_back(0);

        CopyBytes(1);
        Replace16(index ? unsigned(frame->AnimLeft) : 0);
        Replace16(index ? unsigned(frame->AnimTop) : 0);
        const BYTE flags = At(4);                  // behind width and height
        CopyBytes(5 + ColorTableBytes(flags) + 1); // the last byte is the code size
        CopySubBlocks();
    }

    const Bytes &m_source;
    std::span<Bitmap> m_frames;
    const std::wstring &m_path;
    size_t m_position = 0;
    Bytes m_output;
};

} // namespace

void WriteGif(std::span<Bitmap> frames, const std::wstring &path)
{
    const Bytes encoded = EncodeFrames(frames, path);
    ReplaceFileContents(path, {GifRewriter(encoded, frames, path).Run()});
}

} // namespace vexo::tools
