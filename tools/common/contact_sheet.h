// Pictures side by side with a line of text below each.
#ifndef VEXO_TOOLS_CONTACT_SHEET_H
#define VEXO_TOOLS_CONTACT_SHEET_H

#include "common/bitmap.h"

#include <string>
#include <vector>

namespace vexo::tools {

class ContactSheet {
public:
    // Pictures keep their pixels; give smaller ones for a smaller sheet.
    void Add(Bitmap picture, std::wstring label) { m_cells.push_back({std::move(picture), std::move(label)}); }

    // The sheet as one 24-bit picture with white ground. `path` stands in the messages of a FileError.
    Bitmap Make(int columns, const std::wstring &path);

private:
    struct Cell {
        Bitmap picture;
        std::wstring label;
    };

    std::vector<Cell> m_cells;
};

// A copy of a bitmap with everything it has.
Bitmap CopyOf(Bitmap &bitmap, const std::wstring &path);

// The same picture no larger than `side` either way.
Bitmap Thumbnail(Bitmap &bitmap, int side, const std::wstring &path);

} // namespace vexo::tools

#endif
