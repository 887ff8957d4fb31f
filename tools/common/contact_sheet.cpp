// All cells have the size of the largest picture. Pictures go in by combining, text through a DC over the sheet.
#include "common/contact_sheet.h"

#include "common/errors.h"

#include <algorithm>

namespace vexo::tools {

namespace {

constexpr int kGap = 8;
constexpr int kTextHeight = 14;

struct Grid {
    int columns, cellWidth, cellHeight;

    int Left(size_t i) const { return kGap + int(i) % columns * (cellWidth + kGap); }
    int Top(size_t i) const { return kGap + int(i) / columns * (cellHeight + kTextHeight + 2 * kGap); }
};

} // namespace

Bitmap CopyOf(Bitmap &bitmap, const std::wstring &path)
{
    Bitmap copy;
    CheckStatus(V_CopyBitmap(copy.get(), bitmap.get()), path, "cannot be copied");
    return copy;
}

Bitmap Thumbnail(Bitmap &bitmap, int side, const std::wstring &path)
{
    Bitmap small = CopyOf(bitmap, path);
    const int longer = std::max(small->Width, small->Height);
    if (longer > side) {
        CheckStatus(V_ColorResBitmap(small.get(), 24, COLORRES_ORDER_BGR, nullptr, 0), path, "cannot be made small");
        const auto shrink = [&](int extent) { return std::max(1, int(int64_t(extent) * side / longer)); };
        CheckStatus(V_ResampleBitmap(small.get(), shrink(small->Width), shrink(small->Height)), path,
                    "cannot be made small");
    }
    return small;
}

Bitmap ContactSheet::Make(int columns, const std::wstring &path)
{
    Grid grid = {std::max(1, std::min(columns, int(m_cells.size()))), 1, 1};
    for (const Cell &cell : m_cells) {
        grid.cellWidth = std::max(grid.cellWidth, cell.picture->Width);
        grid.cellHeight = std::max(grid.cellHeight, cell.picture->Height);
    }
    const int rows = (int(m_cells.size()) + grid.columns - 1) / grid.columns;
    Bitmap sheet;
    CheckStatus(V_CreateBitmap(sheet.get(), STORAGE_MEMORY, grid.Left(size_t(grid.columns) - 1) + grid.cellWidth + kGap,
                               grid.Top(size_t(rows) * size_t(grid.columns)), 24, COLOR_ORDER_BGR, nullptr,
                               ORIENT_BOTTOM_UP),
                path, "has no room for a contact sheet");
    CheckStatus(V_FillBitmap(sheet.get(), RGB(255, 255, 255)), path, "cannot be filled");
    for (size_t i = 0; i < m_cells.size(); ++i) {
        Bitmap &picture = m_cells[i].picture;
        V_FreeBitmapRgn(picture.get());
        CheckStatus(V_ColorResBitmap(picture.get(), 24, COLORRES_ORDER_BGR, nullptr, 0), path, "cannot be shown");
        CheckStatus(V_CombineBitmap(sheet.get(), grid.Left(i), sheet->Height - grid.Top(i) - picture->Height,
                                    picture->Width, picture->Height, picture.get(), 0, 0, CMB_DST_ZERO | CMB_OP_OR),
                    path, "cannot be shown");
    }
    const HDC dc = V_CreateVexoDC(sheet.get());
    if (!dc)
        throw FileError(path, "labels cannot be drawn");
    const HFONT font = CreateFontW(-12, 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE, DEFAULT_CHARSET, OUT_DEFAULT_PRECIS,
                                   CLIP_DEFAULT_PRECIS, NONANTIALIASED_QUALITY, DEFAULT_PITCH | FF_SWISS, L"Arial");
    const HGDIOBJ former = SelectObject(dc, font);
    SetBkMode(dc, TRANSPARENT);
    for (size_t i = 0; i < m_cells.size(); ++i)
        TextOutW(dc, grid.Left(i), grid.Top(i) + grid.cellHeight + 2, m_cells[i].label.c_str(),
                 int(m_cells[i].label.size()));
    GdiFlush();
    SelectObject(dc, former);
    DeleteObject(font);
    V_DeleteVexoDC(dc);
    return sheet;
}

} // namespace vexo::tools
