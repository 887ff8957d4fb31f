// Segments as GDI regions. Uniting rectangles one by one takes time that grows with the square of their number, so they
// are united in leaves of a few rectangles and the leaves in pairs, pairs of pairs, and so on.
#include "regions/shape_builder.h"

#include <algorithm>

namespace vexo {

namespace {

class RegionTree {
public:
    RegionTree() = default;
    ~RegionTree()
    {
        for (HRGN part : m_parts)
            if (part)
                ::DeleteObject(part);
    }
    RegionTree(const RegionTree &) = delete;
    RegionTree &operator=(const RegionTree &) = delete;

    // Adds a rectangle that is not empty. The order from top to bottom and from left to right is fastest.
    void Add(const RECT &rect)
    {
        if (m_count == kLeaf)
            FinishLeaf();
        if (!m_failed)
            m_leaf.rects[m_count++] = rect;
    }

    // The union of all, which the caller owns, or null.
    HRGN Finish()
    {
        FinishLeaf();
        HRGN whole = nullptr;
        for (HRGN &part : m_parts) {
            if (part)
                whole = whole ? Unite(part, whole) : part;
            part = nullptr;
        }
        if (!whole && !m_failed)
            return ::CreateRectRgn(0, 0, 0, 0);
        gdi::Region owned(whole);
        return m_failed ? nullptr : owned.Release();
    }

private:
    static constexpr DWORD kLeaf = 32;
    static constexpr int kLevels = 32;

    // Adds a part to another and deletes it.
    HRGN Unite(HRGN into, HRGN part)
    {
        m_failed = m_failed || ::CombineRgn(into, into, part, RGN_OR) == ERROR;
        ::DeleteObject(part);
        return into;
    }

    void FinishLeaf()
    {
        if (m_count == 0 || m_failed)
            return;
        const DWORD bytes = DWORD(m_count * sizeof(RECT));
        m_leaf.header = {sizeof(RGNDATAHEADER), RDH_RECTANGLES, m_count, bytes, BoxOf(m_leaf.rects, m_count)};
        HRGN part = ::ExtCreateRegion(nullptr, DWORD(sizeof(RGNDATAHEADER)) + bytes,
                                      reinterpret_cast<const RGNDATA *>(&m_leaf));
        m_count = 0;
        if (!part) {
            m_failed = true;
            return;
        }
        // Like adding one to a binary number: m_parts[i] holds 2^i leaves or nothing.
        int level = 0;
        for (; m_parts[level]; ++level) {
            part = Unite(m_parts[level], part);
            m_parts[level] = nullptr;
        }
        m_parts[level] = part;
    }

    static RECT BoxOf(const RECT *rects, DWORD count)
    {
        RECT box = rects[0];
        for (const RECT &rect : std::span(rects, count)) {
            box.left = std::min(box.left, rect.left);
            box.top = std::min(box.top, rect.top);
            box.right = std::max(box.right, rect.right);
            box.bottom = std::max(box.bottom, rect.bottom);
        }
        return box;
    }

    struct {
        RGNDATAHEADER header;
        RECT rects[kLeaf];
    } m_leaf;
    DWORD m_count = 0;
    HRGN m_parts[kLevels] = {};
    bool m_failed = false;
};

HRGN MakeGdiRegion(const BitmapHandle *bitmap, const RegionTransform &transform)
{
    RegionTree tree;
    ForEachTransformedRect(bitmap, transform, [&](const RECT &rect) { tree.Add(rect); });
    return tree.Finish();
}

// Makes the record's GDI region the one of a transform, by moving it where that is enough.
int UpdateGdiRegion(const BitmapHandle *bitmap, const RegionTransform &transform)
{
    BitmapRegion &region = *bitmap->Region;
    RegionTransform &made = region.GdiTransform;
    if (region.GdiRegion && SameButOffsets(made, transform)) {
        const int64_t dx = int64_t(transform.XOffset) - made.XOffset, dy = int64_t(transform.YOffset) - made.YOffset;
        const bool isMove = dx == int(dx) && dy == int(dy);
        if ((dx == 0 && dy == 0) || (isMove && ::OffsetRgn(region.GdiRegion, int(dx), int(dy)) != ERROR)) {
            made = transform;
            return RESULT_SUCCESS;
        }
    }
    const HRGN fresh = MakeGdiRegion(bitmap, transform);
    if (!fresh)
        return ERR_NO_MEMORY;
    if (region.GdiRegion)
        ::DeleteObject(region.GdiRegion);
    region.GdiRegion = fresh;
    made = transform;
    return RESULT_SUCCESS;
}

} // namespace

int RegionToGdi(const BitmapHandle *bitmap, const RegionTransform *transform, HRGN *region, bool *owned)
{
    int status = CheckTransform(transform);
    if (Failed(status))
        return status;
    const RegionTransform used = transform ? *transform : IdentityTransform(bitmap);
    *owned = !bitmap->Region;
    if (*owned) {
        const RECT rect = TransformRect(bitmap, used, WholeRect(bitmap));
        *region = ::CreateRectRgnIndirect(&rect);
        return *region ? RESULT_SUCCESS : ERR_NO_MEMORY;
    }
    status = UpdateGdiRegion(bitmap, used);
    *region = bitmap->Region->GdiRegion;
    return status;
}

} // namespace vexo

using namespace vexo;

int VEXO_CALL V_GetBitmapRgnHandle(BitmapHandle *bitmap, const RegionTransform *transform, HRGN *region)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    if (!region)
        return ERR_INV_PARAMETER;
    HRGN made;
    bool owned;
    if (Failed(RegionToGdi(bitmap, transform, &made, &owned)))
        return RESULT_FAILURE; // Deliberate: the conversion's own status is not passed on
    if (!owned) {
        gdi::Region copy(::CreateRectRgn(0, 0, 0, 0));
        if (!copy || ::CombineRgn(copy.get(), made, nullptr, RGN_COPY) == ERROR)
            return ERR_NO_MEMORY;
        made = copy.Release();
    }
    *region = made;
    return RESULT_SUCCESS;
}
