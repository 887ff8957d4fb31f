// Every operation that works on a bitmap in place, held to the same promises: a bitmap that does not exist is refused,
// and what fails or is stopped leaves pixels, palette, region and record alone.
#include "tests/support/all_or_nothing.h"
#include "tests/support/library_test.h"

#include <climits>

namespace vexo::test {

namespace {

class Operations : public LibraryTest {};

// The second bitmap of operations that take one.
BitmapHandle *other;

constexpr RGBQUAD kPair[2] = {{90, 10, 20, 0}, {200, 255, 250, 0}};
constexpr RECT kRect = {3, 1, 15, 9};
constexpr POINT kPoints[] = {{0, 0}, {19, 5}, {10, 9}, {15, 0}, {5, 8}};
constexpr RegionTransform kTransform = {ORIENT_TOP_DOWN, 3, 2, 4, 3, -2, 1};

enum : unsigned {
    kReports = 1,
    kInPlace = 2,     // acquires nothing at some depths
    kNeedsNoRows = 4, // works on a bitmap without storage
    kRowsOnDisk = 8,  // rows of a file that are written stay written
};

struct NamedOperation {
    const char *name;
    int (*run)(BitmapHandle *);
    unsigned traits;
    int missing = ERR_NO_BITMAP; // the status for no bitmap
};

int ReplaceByCopy(BitmapHandle *bitmap)
{
    BitmapHandle copy = {};
    const int status = V_CopyBitmap(&copy, bitmap);
    if (status == RESULT_SUCCESS) {
        V_FreeBitmap(bitmap);
        *bitmap = copy;
    }
    return status;
}

// Those that give a handle, which is given back.
int Release(HGLOBAL dib) { return dib ? (GlobalFree(dib), RESULT_SUCCESS) : ERR_NO_MEMORY; }
int Release(HBITMAP ddb) { return ddb ? (DeleteObject(ddb), RESULT_SUCCESS) : ERR_NO_MEMORY; }

const NamedOperation kOperations[] = {
    {"flip", [](auto *b) { return V_FlipBitmap(b); }, kReports | kInPlace},
    {"reverse", [](auto *b) { return V_ReverseBitmap(b); }, kReports | kInPlace},
    {"quarter turn", [](auto *b) { return V_RotateBitmap(b, 90, 1); }, kReports},
    {"half turn", [](auto *b) { return V_RotateBitmap(b, 180, 1); }, kReports | kInPlace},
    {"rotation", [](auto *b) { return V_RotateBitmapFine(b, 1234, 1, 0); }, kReports},
    {"shear to the right", [](auto *b) { return V_ShearBitmap(b, 2000, 1, 0); }, kReports},
    {"shear downwards", [](auto *b) { return V_ShearBitmap(b, -700, 0, 0); }, kReports},
    {"size", [](auto *b) { return V_SizeBitmap(b, 31, 8); }, kReports, ERR_INV_PARAMETER},
    {"resample", [](auto *b) { return V_ResampleBitmap(b, 13, 40); }, kReports},
    {"gray scale", [](auto *b) { return V_GrayScaleBitmap(b); }, kReports},
    {"halftone", [](auto *b) { return V_HalfToneBitmap(b, HALFTONE_CLUSTERED); }, kReports},
    {"halftone of two colours", [](auto *b) { return V_HalfToneBitmapExt(b, HALFTONE_DISPERSED, kPair, 0); }, kReports},
    {"dither", [](auto *b) { return V_ColorResBitmap(b, 3, 0, nullptr, 0); }, kReports},
    {"match", [](auto *b) { return V_ColorResBitmap(b, 3, COLORRES_NO_DITHER, nullptr, 0); }, kReports},
    {"best palette", [](auto *b) { return V_ColorResBitmap(b, 3, COLORRES_OPTIMIZED_PALETTE, nullptr, 0); }, kReports},
    {"deepen", [](auto *b) { return V_ColorResBitmap(b, 32, 0, nullptr, 0); }, kReports},
    {"apply alpha", [](auto *b) { return V_SetBitmapAlpha(b, other); }, kRowsOnDisk},
    {"extract alpha", [](auto *b) { return V_GetBitmapAlpha(b, b); }, 0},
    {"underlay", [](auto *b) { return V_UnderlayBitmap(b, other, UNDERLAY_STRETCH); }, kRowsOnDisk},
    {"copy", ReplaceByCopy, kRowsOnDisk}, // rows of a file that cannot be read are left out
    {"crop", [](auto *b) { return V_CopyBitmapRect(b, b, 3, -1, 9, 9); }, 0},
    {"to a copy as a DIB", [](auto *b) { return Release(V_ConvertToDIB(b)); }, 0, ERR_NO_MEMORY},
    {"to a DIB", [](auto *b) { return Release(V_ChangeToDIB(b)); }, 0, ERR_NO_MEMORY},
    {"to a DDB", [](auto *b) { return Release(V_ChangeToDDB(nullptr, b)); }, 0, ERR_NO_MEMORY},
    {"rectangle", [](auto *b) { return V_SetBitmapRgnRect(b, nullptr, &kRect, COMBINE_XOR); }, kNeedsNoRows},
    {"ellipse", [](auto *b) { return V_SetBitmapRgnEllipse(b, &kTransform, &kRect, COMBINE_XOR); }, kNeedsNoRows},
    {"round rectangle", [](auto *b) { return V_SetBitmapRgnRoundRect(b, nullptr, &kRect, 9, 7, COMBINE_UNION); },
     kNeedsNoRows},
    {"polygon", [](auto *b) { return V_SetBitmapRgnPolygon(b, &kTransform, kPoints, 5, 1, COMBINE_INTERSECT); },
     kNeedsNoRows},
    {"colour region", [](auto *b) { return V_SetBitmapRgnColor(b, COLOR_INDEX(3), COMBINE_XOR); }, 0},
    {"move region", [](auto *b) { return V_OffsetBitmapRgn(b, 2, -7); }, kNeedsNoRows},
};

// Calls that are refused for what they ask of a bitmap, here one of 4 bits.
constexpr RGBQUAD kColors[3] = {};
constexpr RegionTransform kBadView = {1, 1, 1, 1, 1, 0, 0}, kNoWidth = {0, 1, 0, 1, 1, 0, 0},
                          kNoHeight = {2, 1, 1, 1, 0, 0, 0};
int WithUnknownDithering(BitmapHandle *bitmap, int (*run)(BitmapHandle *))
{
    const int method = bitmap->DitherMode;
    bitmap->DitherMode = 9;
    const int status = run(bitmap);
    bitmap->DitherMode = method;
    return status;
}

const struct {
    const char *name;
    int status;
    int (*run)(BitmapHandle *);
} kRefused[] = {
    {"shear too far", ERR_INV_PARAMETER, [](auto *b) { return V_ShearBitmap(b, 4501, 1, 0); }},
    {"shear too far back", ERR_INV_PARAMETER, [](auto *b) { return V_ShearBitmap(b, INT_MIN, 0, 0); }},
    {"size without width", ERR_INV_RANGE, [](auto *b) { return V_SizeBitmap(b, 0, 5); }},
    {"size without height", ERR_INV_RANGE, [](auto *b) { return V_SizeBitmap(b, 5, -5); }},
    {"size too large", ERR_INV_RANGE, [](auto *b) { return V_SizeBitmap(b, INT_MAX, INT_MAX); }},
    {"resample without width", ERR_INV_RANGE, [](auto *b) { return V_ResampleBitmap(b, 0, 5); }},
    {"resample without height", ERR_INV_RANGE, [](auto *b) { return V_ResampleBitmap(b, 5, 0); }},
    {"resample too large", ERR_INV_RANGE, [](auto *b) { return V_ResampleBitmap(b, INT_MAX, 1); }},
    {"resample dithered", ERR_INV_PARAMETER,
     [](auto *b) { return WithUnknownDithering(b, [](auto *c) { return V_ResampleBitmap(c, 20, 20); }); }},
    {"halftone", ERR_INV_PARAMETER, [](auto *b) { return V_HalfToneBitmap(b, 2); }},
    {"halftone flags", ERR_INV_PARAMETER, [](auto *b) { return V_HalfToneBitmapExt(b, 0, kPair, 1); }},
    {"reduce to no depth", ERR_BAD_BITS_PER_PIXEL, [](auto *b) { return V_ColorResBitmap(b, 9, 0, nullptr, 0); }},
    {"reduce dithered", ERR_INV_PARAMETER,
     [](auto *b) { return WithUnknownDithering(b, [](auto *c) { return V_ColorResBitmap(c, 2, 0, nullptr, 0); }); }},
    {"reduce to two palettes", ERR_INV_PARAMETER, [](auto *b) { return V_ColorResBitmap(b, 8, 3, nullptr, 0); }},
    {"reduce to none", ERR_INV_PARAMETER,
     [](auto *b) { return V_ColorResBitmap(b, 8, COLORRES_CALLER_PALETTE, nullptr, 2); }},
    {"reduce to too many", ERR_INV_PARAMETER,
     [](auto *b) { return V_ColorResBitmap(b, 1, COLORRES_CALLER_PALETTE, kColors, 3); }},
    {"reduce flags", ERR_INV_PARAMETER, [](auto *b) { return V_ColorResBitmap(b, 8, 0x8000, nullptr, 0); }},
    {"underlay flags", ERR_INV_PARAMETER, [](auto *b) { return V_UnderlayBitmap(b, other, 2); }},
    {"underlay of none", ERR_NO_BITMAP, [](auto *b) { return V_UnderlayBitmap(b, nullptr, UNDERLAY_TILE); }},
    {"alpha of none", ERR_NO_BITMAP, [](auto *b) { return V_SetBitmapAlpha(b, nullptr); }},
    {"crop to nothing", ERR_INV_RANGE, [](auto *b) { return V_CopyBitmapRect(b, b, 0, 0, 8, -1); }},
    {"no height", ERR_INV_RANGE, [](auto *b) { return V_ChangeBitmapHeight(b, 0); }},
    {"colours before the first", ERR_INV_PARAMETER, [](auto *b) { return V_PutBitmapColors(b, -1, 2, kPair); }},
    {"colours behind the last", ERR_INV_PARAMETER, [](auto *b) { return V_PutBitmapColors(b, 15, 2, kPair); }},
    {"mode", ERR_INV_PARAMETER, [](auto *b) { return V_SetBitmapRgnRect(b, nullptr, &kRect, 7); }},
    {"mode of a polygon", ERR_INV_PARAMETER,
     [](auto *b) { return V_SetBitmapRgnPolygon(b, nullptr, kPoints, 5, 0, 7); }},
    {"mode of a colour", ERR_INV_PARAMETER, [](auto *b) { return V_SetBitmapRgnColor(b, 0, 7); }},
    {"no rectangle", ERR_INV_PARAMETER,
     [](auto *b) { return V_SetBitmapRgnRect(b, nullptr, nullptr, COMBINE_REPLACE); }},
    {"no ellipse", ERR_INV_PARAMETER,
     [](auto *b) { return V_SetBitmapRgnEllipse(b, nullptr, nullptr, COMBINE_REPLACE); }},
    {"no round rectangle", ERR_INV_PARAMETER,
     [](auto *b) { return V_SetBitmapRgnRoundRect(b, nullptr, nullptr, 1, 1, COMBINE_REPLACE); }},
    {"no points", ERR_INV_PARAMETER,
     [](auto *b) { return V_SetBitmapRgnPolygon(b, nullptr, nullptr, 3, 0, COMBINE_REPLACE); }},
    {"fill mode", ERR_INV_PARAMETER,
     [](auto *b) { return V_SetBitmapRgnPolygon(b, nullptr, kPoints, 3, 2, COMBINE_REPLACE); }},
    {"no region", ERR_INV_PARAMETER,
     [](auto *b) { return V_SetBitmapRgnHandle(b, nullptr, nullptr, COMBINE_REPLACE); }},
    {"a palette as a region", ERR_INV_PARAMETER,
     [](auto *b) { return V_SetBitmapRgnHandle(b, nullptr, HRGN(b->Palette), COMBINE_REPLACE); }},
    {"view", ERR_INV_PARAMETER, [](auto *b) { return V_SetBitmapRgnRect(b, &kBadView, &kRect, COMBINE_REPLACE); }},
    {"no width", ERR_INV_PARAMETER,
     [](auto *b) { return V_SetBitmapRgnEllipse(b, &kNoWidth, &kRect, COMBINE_REPLACE); }},
    {"no height", ERR_INV_PARAMETER,
     [](auto *b) { return V_SetBitmapRgnRoundRect(b, &kNoHeight, &kRect, 2, 2, COMBINE_REPLACE); }},
};

} // namespace

TEST_F(Operations, AreAllOrNothing)
{
    Random random(1);
    constexpr int kDepths[] = {1, 5, 24};
    for (const NamedOperation &operation : kOperations) {
        SCOPED_TRACE(operation.name);
        ForEachVariant(
            random, 1,
            [&](const Variant &variant) {
                if ((operation.traits & kRowsOnDisk) && variant.kind == StorageKind::TemporaryFile)
                    return;
                TestBitmap second(variant.kind == StorageKind::Compressed ? StorageKind::PageFile : variant.kind,
                                  Image::Random(random, 9, 7, 24));
                const BitmapSnapshot secondBefore(second.get());
                other = second.get();
                const Victim victim = {variant.kind, Image::RandomRuns(random, 20, 10, variant.bits), variant.options,
                                       random.Next()};
                ExpectAllOrNothingOnFailure(victim, operation.run, !(operation.traits & kInPlace));
                if (operation.traits & kReports)
                    ExpectAllOrNothingOnStop(victim, operation.run);
                secondBefore.ExpectUnchanged();
            },
            kDepths);
    }
}

TEST_F(Operations, RefuseBitmapsThatDoNotExist)
{
    TestBitmap second(StorageKind::PageFile, 9, 7, 8);
    other = second.get();
    for (const NamedOperation &operation : kOperations) {
        BitmapHandle empty = {};
        EXPECT_EQ(operation.missing, operation.run(nullptr)) << operation.name;
        if (operation.traits & kNeedsNoRows)
            continue;
        EXPECT_EQ(operation.missing, operation.run(&empty)) << operation.name;
        EXPECT_TRUE(SameRecord(BitmapHandle{}, empty)) << operation.name;
    }
}

TEST_F(Operations, RefuseWhatMakesNoSense)
{
    Random random(2);
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 20, 10, 4)), second(StorageKind::PageFile, 9, 7, 8);
    other = second.get();
    V_SetBitmapRgnRect(bitmap.get(), nullptr, &kRect, COMBINE_REPLACE);
    const BitmapSnapshot before(bitmap.get());
    for (const auto &refused : kRefused) {
        SCOPED_TRACE(refused.name);
        EXPECT_EQ(refused.status, refused.run(bitmap.get()));
        before.ExpectUnchanged();
    }
}

} // namespace vexo::test
