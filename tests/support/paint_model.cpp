#include "tests/support/paint_model.h"

#include <algorithm>

namespace vexo::test {

namespace {

RECT RandomRect(Random &random, int width, int height)
{
    RECT rect = {random.Between(-9, width), random.Between(-9, height), 0, 0};
    rect.right = rect.left + random.Between(random.OneIn(8) ? -1 : 1, width + 9);
    rect.bottom = rect.top + random.Between(random.OneIn(8) ? -1 : 1, height + 9);
    return rect;
}

bool Contains(const RECT &rect, int64_t x, int64_t y)
{
    return x >= rect.left && x < rect.right && y >= rect.top && y < rect.bottom;
}

} // namespace

PaintRects PaintRects::Random(test::Random &random, int width, int height)
{
    PaintRects rects;
    if (!random.OneIn(3))
        rects.source = RandomRect(random, width, height);
    if (random.OneIn(2))
        rects.sourceClip = RandomRect(random, width, height);
    rects.destination = RandomRect(random, 90, 70);
    if (random.OneIn(3))
        std::swap(rects.destination.top, rects.destination.bottom);
    if (random.OneIn(2))
        rects.destinationClip = RandomRect(random, 90, 70);
    return rects;
}

PaintRects PaintRects::RandomUnscaled(test::Random &random, int width, int height)
{
    PaintRects rects = Random(random, width, height);
    const RECT source = rects.source.value_or(RECT{0, 0, width, height});
    RECT &target = rects.destination;
    const int high = source.bottom - source.top;
    target.right = target.left + source.right - source.left;
    target.bottom = target.top + (random.OneIn(3) ? -high : high);
    return rects;
}

std::ostream &operator<<(std::ostream &out, const PaintRects &rects)
{
    const auto print = [&](const char *name, const std::optional<RECT> &rect) {
        if (rect)
            out << name << " (" << rect->left << ", " << rect->top << ", " << rect->right << ", " << rect->bottom
                << ") ";
    };
    print("source", rects.source);
    print("source clip", rects.sourceClip);
    print("destination", rects.destination);
    print("destination clip", rects.destinationClip);
    return out;
}

PaintModel::PaintModel(const Image &image, const BitmapOptions &options, const PaintRects &rects)
    : m_image(image), m_options(options), m_rects(rects),
      m_source(rects.source.value_or(RECT{0, 0, image.width, image.height})), m_target(rects.destination),
      m_mirrored(m_target.bottom < m_target.top)
{
    if (m_mirrored)
        std::swap(m_target.top, m_target.bottom);
    m_sourceWidth = m_source.right - m_source.left;
    m_sourceHeight = m_source.bottom - m_source.top;
    m_width = m_target.right - m_target.left;
    m_height = m_target.bottom - m_target.top;
}

// Lines and columns count from the top left of the source rectangle.
int PaintModel::RowOf(int64_t line) const
{
    return int(m_options.orientation == ORIENT_BOTTOM_UP ? m_source.bottom - 1 - line : m_source.top + line);
}

bool PaintModel::IsInside(int64_t line, int64_t column) const
{
    return Contains({0, 0, m_image.width, m_image.height}, column + m_source.left, RowOf(line));
}

std::optional<PaintedPixel> PaintModel::PixelAt(int x, int y) const
{
    if (!Contains(m_target, x, y) || m_sourceWidth < 1 || m_sourceHeight < 1 ||
        (m_rects.destinationClip && !Contains(*m_rects.destinationClip, x, y)))
        return {};
    const int i = x - m_target.left, j = m_mirrored ? m_target.bottom - 1 - y : y - m_target.top;
    const int line = int(int64_t(j) * m_sourceHeight / m_height), column = int(int64_t(i) * m_sourceWidth / m_width);
    const PaintedPixel pixel = {RowOf(line), int(column + m_source.left), i, j};
    if (!IsInside(line, column) || (m_rects.sourceClip && !Contains(*m_rects.sourceClip, pixel.column, pixel.row)))
        return {};
    return pixel;
}

COLORREF PaintModel::ColorOf(const PaintedPixel &pixel) const
{
    return ColorOfPixel(m_image.At(pixel.row, pixel.column), m_image.bits, m_options.colorOrder, m_options.palette);
}

int PaintModel::ShrunkLevel(const PaintedPixel &pixel, bool blackIsOne) const
{
    int64_t black = 0, total = 0;
    for (int64_t line = int64_t(pixel.y) * m_sourceHeight / m_height;
         line < int64_t(pixel.y + 1) * m_sourceHeight / m_height; ++line)
        for (int64_t column = int64_t(pixel.x) * m_sourceWidth / m_width;
             column < int64_t(pixel.x + 1) * m_sourceWidth / m_width; ++column)
            if (IsInside(line, column)) {
                ++total;
                black += (At(line, column) == 1) == blackIsOne;
            }
    return int(255 - black * 255 / total);
}

int PaintModel::BlendedLevel(const PaintedPixel &pixel, bool blackIsOne) const
{
    // In units in which a source pixel is m_width by m_height and a destination pixel the size of the source.
    const auto overlap = [](int64_t pixelAt, int64_t pixelSize, int64_t coverAt, int64_t coverSize) {
        return std::min((pixelAt + 1) * pixelSize, (coverAt + 1) * coverSize) -
               std::max(pixelAt * pixelSize, coverAt * coverSize);
    };
    int64_t black = 0, total = 0;
    const int64_t firstLine = int64_t(pixel.y) * m_sourceHeight / m_height;
    const int64_t firstColumn = int64_t(pixel.x) * m_sourceWidth / m_width;
    for (int64_t line = firstLine; line <= firstLine + m_sourceHeight / m_height + 1; ++line)
        for (int64_t column = firstColumn; column <= firstColumn + m_sourceWidth / m_width + 1; ++column) {
            const int64_t high = overlap(line, m_height, pixel.y, m_sourceHeight);
            const int64_t wide = overlap(column, m_width, pixel.x, m_sourceWidth);
            if (high <= 0 || wide <= 0 || !IsInside(line, column))
                continue;
            total += high * wide;
            black += (At(line, column) == 1) == blackIsOne ? high * wide : 0;
        }
    return int(255 - black * 255 / total);
}

bool PaintModel::StaysBlack(const PaintedPixel &pixel, bool blackIsOne) const
{
    const int product = std::max(m_sourceWidth / m_width, 1) * std::max(m_sourceHeight / m_height, 1);
    // Newton's iteration from n / 2, which may end one above the root.
    int root = product < 4 ? 1 : product / 2;
    for (int step = 1; product >= 4 && step != 0; root -= step)
        step = (root - product / root) / 2;
    const int threshold = std::max(root < 5 ? root - 1 : root, 1);
    const auto end = [](int64_t i, int64_t from, int64_t to) {
        return std::max((i + 1) * from / to, i * from / to + 1);
    };
    int black = 0;
    for (int64_t line = int64_t(pixel.y) * m_sourceHeight / m_height; line < end(pixel.y, m_sourceHeight, m_height);
         ++line)
        for (int64_t column = int64_t(pixel.x) * m_sourceWidth / m_width; column < end(pixel.x, m_sourceWidth, m_width);
             ++column)
            black += IsInside(line, column) && (At(line, column) == 1) == blackIsOne;
    return black >= threshold;
}

} // namespace vexo::test
