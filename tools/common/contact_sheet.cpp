// All cells have the size of the largest picture. Pictures go in by combining, text through a DC over the sheet.
#include "common/contact_sheet.h"

#include "common/text_dc.h"

#include <algorithm>

namespace vexo::tools {

namespace {

constexpr int kGap = 8;
constexpr int kTextHeight = 14;
constexpr int kLeastWidth = 160; // room for a label

struct Grid {
    int columns, cellWidth, cellHeight;

    int Left(size_t column) const { return kGap + int(column) * (cellWidth + kGap); }
    int Top(size_t row) const { return kGap + int(row) * (cellHeight + kTextHeight + 2 * kGap); }
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
    Grid grid = {std::max(1, std::min(columns, int(m_cells.size()))), kLeastWidth, 1};
    for (const Cell &cell : m_cells) {
        grid.cellWidth = std::max(grid.cellWidth, cell.picture->Width);
        grid.cellHeight = std::max(grid.cellHeight, cell.picture->Height);
    }
    const size_t rows = (m_cells.size() + size_t(grid.columns) - 1) / size_t(grid.columns);
    Bitmap sheet;
    CheckStatus(V_CreateBitmap(sheet.get(), STORAGE_MEMORY, grid.Left(size_t(grid.columns)), grid.Top(rows), 24,
                               COLOR_ORDER_BGR, nullptr, ORIENT_BOTTOM_UP),
                path, "has no room for a contact sheet");
    sheet->XResolution = sheet->YResolution = 96;
    CheckStatus(V_FillBitmap(sheet.get(), RGB(255, 255, 255)), path, "cannot be filled");
    for (size_t i = 0; i < m_cells.size(); ++i) {
        Bitmap &picture = m_cells[i].picture;
        V_FreeBitmapRgn(picture.get()); // it would keep what is outside off the sheet
        CheckStatus(V_ColorResBitmap(picture.get(), 24, COLORRES_ORDER_BGR, nullptr, 0), path, "cannot be shown");
        const int top = grid.Top(i / size_t(grid.columns));
        CheckStatus(V_CombineBitmap(sheet.get(), grid.Left(i % size_t(grid.columns)),
                                    sheet->Height - top - picture->Height, picture->Width, picture->Height,
                                    picture.get(), 0, 0, CMB_DST_ZERO | CMB_OP_OR),
                    path, "cannot be shown");
    }
    TextDc dc(sheet, L"Arial", 12, false, path);
    for (size_t i = 0; i < m_cells.size(); ++i)
        dc.Write(grid.Left(i % size_t(grid.columns)), grid.Top(i / size_t(grid.columns)) + grid.cellHeight + 2,
                 m_cells[i].label, RGB(0, 0, 0));
    return sheet;
}

} // namespace vexo::tools
