#include "tests/support/all_or_nothing.h"

#include "tests/support/faults.h"
#include "tests/support/regions.h"
#include "tests/support/status_recorder.h"

namespace vexo::test {

namespace {

struct VictimBitmap : TestBitmap {
    explicit VictimBitmap(const Victim &victim) : TestBitmap(victim.kind, victim.image, victim.options)
    {
        Random random(victim.regionSeed);
        SetRandomRegion(get(), random);
        get()->DitherMode = DITHER_STUCKI;
        get()->Flags |= FLAG_TRANSPARENT;
        get()->AnimTransparent = V_GetPixelColor(get(), 0, 0);
    }
};

// Compressed rows that are written back need not lie where they were.
void ExpectAsBefore(const BitmapSnapshot &before, StorageKind kind)
{
    if (kind == StorageKind::Compressed)
        before.ExpectSamePicture();
    else
        before.ExpectUnchanged();
}

// What there is to see of a bitmap, which an operation may have freed: its pixels and its region.
std::pair<Image, Image> PictureOf(BitmapHandle *bitmap)
{
    return {bitmap->Flags & FLAG_ALLOCATED ? Load(bitmap) : Image(0, 0, 1), RegionMask(bitmap)};
}

} // namespace

void ExpectAllOrNothingOnFailure(const Victim &victim, const Operation &operation, bool acquires)
{
    VictimBitmap undisturbed(victim);
    ASSERT_EQ(RESULT_SUCCESS, operation(undisturbed.get()));
    const auto expected = PictureOf(undisturbed.get());
    ForEachFault(
        kFaultAll,
        [&](FaultInjector &faults) {
            VictimBitmap bitmap(victim);
            const BitmapSnapshot before(bitmap.get());
            const int status = faults.Run([&] { return operation(bitmap.get()); });
            if (status == RESULT_SUCCESS) { // perhaps by another way
                EXPECT_EQ(expected, PictureOf(bitmap.get())) << faults.function();
                return;
            }
            EXPECT_TRUE(faults.struck());
            EXPECT_TRUE(status == ERR_NO_MEMORY || status == ERR_FILE_READ || status == ERR_FILE_WRITE ||
                        status == ERR_FILE_SEEK)
                << status << " after " << faults.function();
            ExpectAsBefore(before, victim.kind);
        },
        acquires);
}

void ExpectAllOrNothingOnStop(const Victim &victim, const Operation &operation)
{
    for (int stop = 0;; stop += 1 + stop / 2) {
        VictimBitmap bitmap(victim);
        const BitmapSnapshot before(bitmap.get());
        const StatusRecorder recorder(stop);
        const int status = operation(bitmap.get());
        if (status == RESULT_SUCCESS) {
            recorder.ExpectRising(0, 100);
            EXPECT_LE(int(recorder.percentages().size()), stop) << "a stop that was not heeded";
            return;
        }
        ASSERT_EQ(StatusRecorder::kStopped, status);
        ASSERT_EQ(stop + 1, int(recorder.percentages().size())) << "called again after the stop";
        ExpectAsBefore(before, victim.kind);
    }
}

} // namespace vexo::test
