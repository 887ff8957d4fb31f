// Holds operations on a bitmap to all or nothing: whatever fails on the way and wherever the caller stops them, they
// either do what they do undisturbed or leave the bitmap as it was, and nothing behind.
#ifndef VEXO_TESTS_SUPPORT_ALL_OR_NOTHING_H
#define VEXO_TESTS_SUPPORT_ALL_OR_NOTHING_H

#include "tests/support/bitmaps.h"

#include <functional>

namespace vexo::test {

using Operation = std::function<int(BitmapHandle *)>;

// What an operation is tried on: a picture with a region.
struct Victim {
    StorageKind kind;
    Image image;
    BitmapOptions options;
    uint64_t regionSeed;
};

// Makes each acquisition of the operation fail once. `acquires`: there is something that can fail.
void ExpectAllOrNothingOnFailure(const Victim &victim, const Operation &operation, bool acquires = true);
// Stops the operation at its first calls and at some of the later ones; those it makes in peace must rise from 0 to
// 100.
void ExpectAllOrNothingOnStop(const Victim &victim, const Operation &operation);

} // namespace vexo::test

#endif
