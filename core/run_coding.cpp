// Runs to bits and bits to runs. The vector coder marks every pixel that differs from the one before it, 256 pixels at
// a time, and lists the marks without a branch per run; lengths are differences of the listed positions. The vector
// expander stores 16 bytes of each run's colour whatever its length, and lets the runs that follow overwrite the
// excess.
#include "core/compressed_rows.h"
#include "core/run_kernels.h"
#include "core/vectors.h"

#include <array>
#include <cstring>

namespace vexo {

namespace {

constexpr int kMaxRun = 65535;

// Writes one run; a longer one than 16 bits hold goes on behind an empty run of the other colour.
uint16_t *EmitRun(uint16_t *runs, int length)
{
    for (; length > kMaxRun; length -= kMaxRun) {
        *runs++ = kMaxRun;
        *runs++ = 0;
    }
    *runs++ = uint16_t(length);
    return runs;
}

// ---- Plain coding ---------------------------------------------------------------------------------------------

// The runs of equal bits that form a byte, most significant bit first.
struct ByteRuns {
    std::array<uint8_t, 256> count;
    std::array<std::array<uint8_t, 8>, 256> lengths;
};

constexpr ByteRuns MakeByteRuns()
{
    ByteRuns runs = {};
    for (unsigned value = 0; value < 256; ++value) {
        int last = 0;
        runs.lengths[value][0] = 1;
        for (int bit = 6; bit >= 0; --bit) {
            if ((value >> bit ^ value >> (bit + 1)) & 1)
                ++last;
            ++runs.lengths[value][size_t(last)];
        }
        runs.count[value] = uint8_t(last + 1);
    }
    return runs;
}

constexpr ByteRuns kByteRuns = MakeByteRuns();

int CodeRunsPlain(uint16_t *runs, const uint8_t *input, int startBit, int count)
{
    uint16_t *const first = runs;
    const int64_t bits = int64_t(startBit) + count;
    const int64_t bytes = (bits + 7) / 8;
    const int spare = int(bytes * 8 - bits); // bits of the last byte behind the last pixel
    int length = -startBit;                  // discounts the bits in front of the first pixel, which are taken as 0
    bool color = false;
    for (int64_t i = 0; i < bytes; ++i) {
        unsigned value = input[i];
        if (i == 0)
            value &= 0xFFu >> startBit;
        if (i == bytes - 1) { // continue the last pixel, so that no run ends there
            const unsigned tail = (1u << spare) - 1;
            value = value >> spare & 1 ? value | tail : value & ~tail;
        }
        if (color != (value >> 7 != 0)) {
            runs = EmitRun(runs, length);
            length = 0;
        }
        const auto &lengths = kByteRuns.lengths[value];
        const int runCount = kByteRuns.count[value];
        length += lengths[0];
        for (int run = 1; run < runCount; ++run) {
            runs = EmitRun(runs, length);
            length = lengths[size_t(run)];
        }
        color = value & 1;
    }
    return int(EmitRun(runs, length - spare) - first);
}

// ---- Plain expansion ------------------------------------------------------------------------------------------

// Sets the bits from `from` to `to` - 1.
void SetBits(uint8_t *bits, uint32_t from, uint32_t to)
{
    if (from >= to)
        return;
    uint8_t *first = bits + from / 8, *last = bits + to / 8;
    const unsigned head = 0xFFu >> from % 8, tail = 0xFF00u >> to % 8 & 0xFF;
    if (first == last) {
        *first |= uint8_t(head & tail);
        return;
    }
    *first |= uint8_t(head);
    memset(first + 1, 0xFF, size_t(last - first - 1));
    if (tail)
        *last |= uint8_t(tail);
}

// The run that holds a pixel.
struct RunAt {
    const uint16_t *next; // the run behind it
    uint32_t end;         // the pixel it ends at
    bool color;
};

RunAt FindRun(const uint16_t *runs, uint32_t pixel)
{
    RunAt run = {runs + 1, *runs, false};
    while (run.end <= pixel) {
        run.end += *run.next++;
        run.color = !run.color;
    }
    return run;
}

void ExpandRunsPlain(const uint16_t *runs, uint8_t *output, int start, int count)
{
    const uint32_t pixels = uint32_t(count);
    memset(output, 0, (pixels + 7) / 8);
    RunAt run = FindRun(runs, uint32_t(start));
    uint32_t from = 0, to = run.end - uint32_t(start);
    for (;; run.color = !run.color) {
        const bool last = to >= pixels;
        if (run.color)
            SetBits(output, from, last ? pixels : to);
        if (last)
            return;
        from = to;
        to += *run.next++;
    }
}

// ---- Vector expansion -----------------------------------------------------------------------------------------

// Every run is written as if no other followed it in its last byte; the next one turns the bits from its start on.
void ExpandRunsSse2(const uint16_t *runs, uint8_t *output, int start, int count)
{
    static constexpr uint8_t kFromBit[8] = {0xFF, 0x7F, 0x3F, 0x1F, 0x0F, 0x07, 0x03, 0x01};
    const uint32_t pixels = uint32_t(count), bytes = (pixels + 7) / 8;
    const uint32_t roomy = bytes > 16 ? (bytes - 16) * 8 : 0; // 16 bytes may be stored behind a run that ends before it
    const uint32_t fast = roomy < pixels ? roomy : pixels;

    const RunAt run = FindRun(runs, uint32_t(start));
    runs = run.next;
    uint32_t end = run.end - uint32_t(start);
    __m128i fill = _mm_set1_epi8(run.color ? -1 : 0);
    const __m128i ones = _mm_set1_epi8(-1);
    uint8_t *at = output; // the byte that the run before ended in
    *at = run.color ? 0xFF : 0;
    while (end < fast) {
        uint8_t *const last = output + end / 8;
        uint8_t *gap = at + 1;
        do {
            Store128(gap, fill);
            gap += 16;
        } while (gap <= last);
        *last ^= kFromBit[end % 8];
        fill = _mm_xor_si128(fill, ones);
        at = last;
        end += *runs++;
    }

    int color = _mm_cvtsi128_si32(fill) & 0xFF;
    while (end < pixels) {
        uint8_t *const last = output + end / 8;
        if (last > at)
            memset(at + 1, color, size_t(last - at));
        *last ^= kFromBit[end % 8];
        color ^= 0xFF;
        at = last;
        end += *runs++;
    }
    memset(at + 1, color, size_t(output + bytes - (at + 1)));
    if (pixels % 8 != 0)
        output[bytes - 1] &= uint8_t(0xFF00 >> pixels % 8);
}

// ---- Vector coding --------------------------------------------------------------------------------------------

constexpr uint32_t kBlockBits = 256;
constexpr uint32_t kChunkBits = 16 * kBlockBits;
constexpr int kMarksAStep = 8; // scanned text has rarely more in a word

// A 1 for each pixel of a chunk that differs from the one before it, in words of 32 pixels. Words without marks are
// left out; half of a page and more is blank.
struct MarkedWords {
    uint32_t count;
    uint32_t words[kChunkBits / 32 + 8]; // whole blocks are stored, so the last may run over
    uint32_t bases[kChunkBits / 32 + 8]; // the pixel in the chunk that bit 0 of the word stands for
};

// For each set of lanes their numbers, packed to the front.
constexpr auto kPackLanes = [] {
    std::array<std::array<uint8_t, 8>, 256> table = {};
    for (unsigned lanes = 0; lanes < 256; ++lanes)
        for (unsigned lane = 0, place = 0; lane < 8; ++lane)
            if (lanes >> lane & 1)
                table[lanes][place++] = uint8_t(lane);
    return table;
}();

// Up to 32 bytes, zeros behind them.
VEXO_AVX2_PIECE __m256i LoadBlock(const uint8_t *input, uint32_t bytes)
{
    if (bytes >= 32)
        return Load256(input);
    // Beyond the masked words nothing is touched.
    const __m256i lane = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7), words = _mm256_set1_epi32(int(bytes / 4));
    const __m256i whole = _mm256_maskload_epi32(reinterpret_cast<const int *>(input), _mm256_cmpgt_epi32(words, lane));
    uint32_t rest = 0; // the bytes that fill no word
    input += bytes / 4 * 4;
    switch (bytes % 4) {
    case 3: rest |= uint32_t(input[2]) << 16; [[fallthrough]];
    case 2: rest |= uint32_t(input[1]) << 8; [[fallthrough]];
    case 1: rest |= input[0]; break;
    }
    return _mm256_or_si256(whole, _mm256_and_si256(_mm256_cmpeq_epi32(words, lane), _mm256_set1_epi32(int(rest))));
}

// Reverses the bits of each byte, so that pixel n of the block is bit n.
VEXO_AVX2_PIECE __m256i PixelOrder(__m256i bytes)
{
    const __m256i reversed =
        InBothHalves(_mm_setr_epi8(0x0, 0x8, 0x4, 0xC, 0x2, 0xA, 0x6, 0xE, 0x1, 0x9, 0x5, 0xD, 0x3, 0xB, 0x7, 0xF));
    const __m256i nibble = _mm256_set1_epi8(0xF);
    const __m256i low = _mm256_shuffle_epi8(reversed, _mm256_and_si256(bytes, nibble));
    const __m256i high = _mm256_shuffle_epi8(reversed, _mm256_and_si256(_mm256_srli_epi32(bytes, 4), nibble));
    return _mm256_or_si256(_mm256_slli_epi32(low, 4), high);
}

// A 1 for each pixel that differs from the one before it; `previous` is the block in front.
VEXO_AVX2_PIECE __m256i MarkChanges(__m256i pixels, __m256i previous)
{
    const __m256i straddling = _mm256_permute2x128_si256(previous, pixels, 0x21);
    const __m256i wordBefore = _mm256_alignr_epi8(pixels, straddling, 12);
    const __m256i before = _mm256_or_si256(_mm256_slli_epi32(pixels, 1), _mm256_srli_epi32(wordBefore, 31));
    return _mm256_xor_si256(pixels, before);
}

VEXO_AVX2_PIECE __m256i FirstPixels() { return _mm256_setr_epi32(0, 32, 64, 96, 128, 160, 192, 224); }

// The first `count` bits of a block.
VEXO_AVX2_PIECE __m256i FirstBits(uint32_t count)
{
    const __m256i bits = _mm256_sub_epi32(_mm256_set1_epi32(int(count)), FirstPixels());
    const __m256i ones = _mm256_set1_epi32(-1);
    return _mm256_andnot_si256(_mm256_sllv_epi32(ones, _mm256_max_epi32(bits, _mm256_setzero_si256())), ones);
}

// Packs the words that have marks to the front and stores them with their places.
VEXO_AVX2_PIECE void AppendMarks(MarkedWords *marked, __m256i marks, uint32_t base)
{
    const __m256i blank = _mm256_cmpeq_epi32(marks, _mm256_setzero_si256());
    const unsigned lanes = unsigned(_mm256_movemask_ps(_mm256_castsi256_ps(blank))) ^ 0xFF;
    const __m128i packed = Load64(&kPackLanes[lanes]);
    const __m256i order = _mm256_cvtepu8_epi32(packed);
    const __m256i bases = _mm256_add_epi32(FirstPixels(), _mm256_set1_epi32(int(base)));
    Store256(marked->words + marked->count, _mm256_permutevar8x32_epi32(marks, order));
    Store256(marked->bases + marked->count, _mm256_permutevar8x32_epi32(bases, order));
    marked->count += uint32_t(_mm_popcnt_u32(lanes));
}

// Marks a chunk of 1 to kChunkBits bits, of which the first `skip` (0 to 7) are taken as 0. `before` is the pixel in
// front of it.
VEXO_TARGET_AVX2 void MarkChunk(MarkedWords *marked, const uint8_t *input, uint32_t bits, int skip, unsigned before)
{
    marked->count = 0;
    __m256i previous = _mm256_set1_epi32(int(before << 31));
    __m256i keep = _mm256_andnot_si256(FirstBits(uint32_t(skip)), _mm256_set1_epi32(-1));
    for (uint32_t at = 0; at < bits; at += kBlockBits) {
        const uint32_t left = bits - at;
        const __m256i pixels = _mm256_and_si256(PixelOrder(LoadBlock(input + at / 8, (left + 7) / 8)), keep);
        __m256i marks = MarkChanges(pixels, previous);
        if (left < kBlockBits)
            marks = _mm256_and_si256(marks, FirstBits(left));
        AppendMarks(marked, marks, at);
        previous = pixels;
        keep = _mm256_set1_epi32(-1);
    }
}

// Lists the positions of the marks and returns the end of the list. Eight places are written for every word and those
// too many are overwritten, so that hardly a branch depends on the picture.
VEXO_TARGET_AVX2 uint16_t *ListMarks(uint16_t *list, const MarkedWords &marked)
{
    for (uint32_t n = 0; n < marked.count; ++n) {
        uint32_t word = marked.words[n];
        const uint32_t base = marked.bases[n];
        // Volatile keeps compilers from gathering the stores by way of memory, which costs more than all the rest.
        volatile uint16_t *place = list;
        list += _mm_popcnt_u32(word);
        do {
            for (int i = 0; i < kMarksAStep; ++i) {
                place[i] = uint16_t(base + _tzcnt_u32(word));
                word &= word - 1;
            }
            place += kMarksAStep;
        } while (word);
    }
    return list;
}

// Writes the distances between `count` positions.
inline uint16_t *WriteDistances(uint16_t *runs, const uint16_t *positions, ptrdiff_t count)
{
    ptrdiff_t i = 1;
    for (; i + 8 <= count; i += 8, runs += 8) {
        const __m128i here = Load128(positions + i);
        const __m128i before = Load128(positions + i - 1);
        Store128(runs, _mm_sub_epi16(here, before));
    }
    for (; i < count; ++i)
        *runs++ = uint16_t(positions[i] - positions[i - 1]);
    return runs;
}

VEXO_TARGET_AVX2 int CodeRunsAvx2(uint16_t *runs, const uint8_t *input, int startBit, int count)
{
    MarkedWords marked;
    uint16_t positions[kChunkBits + kMarksAStep];
    uint16_t *const first = runs;
    uint32_t left = uint32_t(startBit) + uint32_t(count);
    int length = -startBit; // of the current run, up to the chunk
    for (uint32_t chunk; left > 0; left -= chunk, input += chunk / 8) {
        chunk = left < kChunkBits ? left : kChunkBits;
        const unsigned color = unsigned(runs - first) & 1; // of the current run: the first is of 0 pixels
        MarkChunk(&marked, input, chunk, length < 0 ? startBit : 0, color);
        const uint16_t *const end = ListMarks(positions, marked);
        if (end == positions) {
            length += int(chunk);
            continue;
        }
        runs = EmitRun(runs, length + positions[0]);
        runs = WriteDistances(runs, positions, end - positions);
        length = int(chunk) - end[-1];
    }
    return int(EmitRun(runs, length) - first);
}

constexpr RunKernels kPlainKernels = {CodeRunsPlain, ExpandRunsPlain};
RunKernels runKernels = kPlainKernels;

} // namespace

const RunKernels plainRunKernels = kPlainKernels;

void SelectRunKernels(CpuLevel level)
{
    runKernels.codeRuns = level >= CpuLevel::Avx2 ? CodeRunsAvx2 : CodeRunsPlain;
    runKernels.expandRuns = ExpandRunsSse2;
}

int CodeRuns(uint16_t *runs, const uint8_t *input, int startBit, int count)
{
    return count > 0 ? runKernels.codeRuns(runs, input + startBit / 8, startBit % 8, count) : 0;
}

} // namespace vexo

using namespace vexo;

int VEXO_CALL V_ExpandRow(const WORD *runs, void *output, int start, int count)
{
    if (!output || count <= 0 || start < 0)
        return 1;
    if (runs)
        runKernels.expandRuns(runs, static_cast<uint8_t *>(output), start, count);
    else
        memset(output, 0, (size_t(count) + 7) / 8);
    return 1;
}

int VEXO_CALL V_CompressRow(WORD *runs, const void *input, int startBit, int count)
{
    if (!runs || !input || startBit < 0 || count <= 0)
        return 0;
    CodeRuns(runs, static_cast<const uint8_t *>(input), startBit, count);
    return count;
}
