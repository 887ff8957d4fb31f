// Rotations: their angles, and the steps that V_IntRotateBitmapFine is made of. Angles are in hundredths of a degree;
// sine and cosine are integers of which 16384 stands for 1.
#ifndef VEXO_GEOMETRY_ROTATION_H
#define VEXO_GEOMETRY_ROTATION_H

#include "core/core.h"

namespace vexo {

inline constexpr int kFullTurn = 36000, kHalfTurn = 18000, kQuarterTurn = 9000;

struct SineCosine {
    int sine, cosine;
};
// Of any angle, rounded to the nearest integer.
SineCosine SineCosineOf(int angle);

// Fill `result`, an empty bitmap of the right size and the same depth, with the source turned in stored rows.
// `progress` may be null. The source's rows are read; nothing else of either record counts.
int TurnRows(BitmapHandle *result, BitmapHandle *source, bool clockwise, Progress *progress);
int RotateRows(BitmapHandle *result, BitmapHandle *source, SineCosine angle, COLORREF fill, Progress *progress);
// The number of steps that each reports.
int TurnSteps(const BitmapHandle *result, const BitmapHandle *source);
int RotateSteps(const BitmapHandle *result, const BitmapHandle *source);

// Turns a square bitmap whose pixels are whole bytes in memory where it is. A turn that the callback stops is undone.
bool CanTurnInPlace(const BitmapHandle *bitmap);
int TurnInPlace(BitmapHandle *bitmap, bool clockwise, int progressFrom, int progressTo);

} // namespace vexo

#endif
