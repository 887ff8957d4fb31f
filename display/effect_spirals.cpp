// Effects that wind bands round the image, inwards or outwards. Each ring is made of four bands that share no pixel;
// every band is cut into pieces in the direction of the winding.
#include "display/effect_canvas.h"

namespace vexo {

namespace {

enum class Direction { Right, Down, Left, Up };

// Calls visit(x, y, wide, high) for the pieces of a band in a direction until it returns something but RESULT_SUCCESS.
template <class Visit>
int CutBand(const RECT &band, Direction direction, int piece, Visit &visit)
{
    const bool across = direction == Direction::Right || direction == Direction::Left;
    const bool forward = direction == Direction::Right || direction == Direction::Down;
    const int wide = band.right - band.left, high = band.bottom - band.top, length = across ? wide : high;
    int status = RESULT_SUCCESS;
    for (int done = 0; wide > 0 && high > 0 && done < length && !Failed(status); done += piece) {
        const int part = std::min(piece, length - done), at = forward ? done : length - done - part;
        status = across ? visit(int(band.left) + at, int(band.top), part, high)
                        : visit(int(band.left), int(band.top) + at, wide, part);
    }
    return status;
}

// The four bands of a ring in the order in which they are drawn, the first one owning its corners.
struct Ring {
    RECT bands[4];
    Direction directions[4];
};

// Clockwise from the top.
Ring InwardRing(const RECT &r, int band)
{
    const LONG top = std::min(r.top + band, r.bottom), right = std::max(r.right - band, r.left);
    const LONG bottom = std::max(r.bottom - band, top), left = std::min(r.left + band, right);
    return {{{r.left, r.top, r.right, top},
             {right, top, r.right, r.bottom},
             {r.left, bottom, right, r.bottom},
             {r.left, top, left, bottom}},
            {Direction::Right, Direction::Down, Direction::Left, Direction::Up}};
}

// Counter-clockwise from the left.
Ring OutwardRing(const RECT &r, int band)
{
    const LONG left = std::min(r.left + band, r.right), bottom = std::max(r.bottom - band, r.top);
    const LONG right = std::max(r.right - band, left), top = std::min(r.top + band, bottom);
    return {{{r.left, r.top, left, r.bottom},
             {left, bottom, r.right, r.bottom},
             {right, r.top, r.right, bottom},
             {left, r.top, right, top}},
            {Direction::Down, Direction::Right, Direction::Up, Direction::Left}};
}

RECT Inset(const EffectCanvas &canvas, int by) { return {by, by, canvas.width() - by, canvas.height() - by}; }

int HalfExtent(const EffectCanvas &canvas) { return (std::min(canvas.width(), canvas.height()) + 1) / 2; }

// Calls visit with every piece that shows.
template <class Visit>
int VisitRing(const EffectCanvas &canvas, const Ring &ring, int piece, Visit visit)
{
    const auto visitVisible = [&](int x, int y, int wide, int high) {
        const bool shows = x < canvas.width() && y < canvas.height() && x + wide > 0 && y + high > 0;
        return shows ? visit(x, y, wide, high) : RESULT_SUCCESS;
    };
    int status = RESULT_SUCCESS;
    for (int i = 0; i < 4 && !Failed(status); ++i)
        status = CutBand(ring.bands[i], ring.directions[i], piece, visitVisible);
    return status;
}

template <class Visit>
int VisitInward(const EffectCanvas &canvas, int band, int piece, Visit visit)
{
    int status = RESULT_SUCCESS;
    for (int inset = 0; inset < HalfExtent(canvas) && !Failed(status); inset += band)
        status = VisitRing(canvas, InwardRing(Inset(canvas, inset), band), piece, visit);
    return status;
}

// The outermost ring may begin outside the image.
template <class Visit>
int VisitOutward(const EffectCanvas &canvas, int band, int piece, Visit visit)
{
    int status = RESULT_SUCCESS, inset = HalfExtent(canvas);
    do {
        inset -= band;
        status = VisitRing(canvas, OutwardRing(Inset(canvas, inset), band), piece, visit);
    } while (inset > 0 && !Failed(status));
    return status;
}

// Draws the pieces that visitAll(visit) goes through, after a round that counts them.
template <class VisitAll>
int DrawPieces(const EffectCanvas &canvas, VisitAll visitAll)
{
    int count = 0;
    visitAll([&](int, int, int, int) {
        ++count;
        return RESULT_SUCCESS;
    });
    Progress progress(count);
    const int status = progress.Start();
    if (Failed(status))
        return status;
    return visitAll([&](int x, int y, int wide, int high) {
        canvas.Copy(x, y, wide, high);
        return progress.Step();
    });
}

} // namespace

int SpiralInward(const EffectCanvas &canvas, int band, int piece)
{
    return DrawPieces(canvas, [&](auto visit) { return VisitInward(canvas, band, piece, visit); });
}

int SpiralOutward(const EffectCanvas &canvas, int band, int piece)
{
    return DrawPieces(canvas, [&](auto visit) { return VisitOutward(canvas, band, piece, visit); });
}

} // namespace vexo
