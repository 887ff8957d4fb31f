// The library's entry point, the process-wide state and the settings block of each thread.
#include "colour/colour.h"
#include "colour/pixel_kernels.h"
#include "core/core.h"
#include "core/gdi.h"
#include "core/row_kernels.h"
#include "core/run_kernels.h"
#include "core/win32s.h"
#include "display/gray_kernels.h"
#include "geometry/combine_kernels.h"
#include "geometry/mirror_kernels.h"
#include "geometry/size_kernels.h"
#include "geometry/turn_kernels.h"
#include "regions/match_kernels.h"

#include <cstring>

namespace vexo {

Process process;

namespace {

// What a new thread starts with, and what readers see when a thread has no block. Written at process attach.
ThreadSettings threadDefaults;

constexpr int kDefaultResolution = 150;
constexpr int kDefaultDitherMode = 7;
constexpr unsigned kHighestDitherMode = 8;
constexpr unsigned kDefaultDisplayMode = DISPLAYMODE_PALETTE_INDICES | DISPLAYMODE_DITHER;

void ResetPaletteIndices(ThreadSettings &settings)
{
    for (WORD i = 0; i < 256; ++i)
        settings.paintHeader.paletteIndices[i] = i;
}

void FillThreadDefaults()
{
    ThreadSettings &settings = threadDefaults;
    memset(&settings, 0, sizeof settings);
    settings.ioOpen = V_OsOpen;
    settings.ioRead = V_OsRead;
    settings.ioWrite = V_OsWrite;
    settings.ioSeek = V_OsSeek;
    settings.ioClose = V_OsClose;
    settings.defaultDitherMode = kDefaultDitherMode;
    settings.defaultXResolution = kDefaultResolution;
    settings.defaultYResolution = kDefaultResolution;
    settings.paintHeader.header.biSize = sizeof(BITMAPINFOHEADER);
    settings.paintHeader.header.biPlanes = 1;
    settings.paintHeader.header.biCompression = BI_RGB;
    ResetPaletteIndices(settings);
    settings.displayMode = kDefaultDisplayMode;
}

ThreadSettings *MakeThreadBlock()
{
    Buffer<ThreadSettings> block(1);
    if (!block)
        return nullptr;
    memcpy(block.data(), &threadDefaults, sizeof threadDefaults);
    if (!::TlsSetValue(process.tlsIndex, block.data()))
        return nullptr;
    return block.Release();
}

void DeleteFrameBrushes()
{
    for (HBRUSH &brush : process.frameBrushes) {
        if (brush)
            ::DeleteObject(brush);
        brush = nullptr;
    }
}

// Diagonal stripes, four pixels on and four off; brush i is the pattern moved by i rows, so stepping through the
// brushes makes the stripes march. There are all of them or none.
int CreateFrameBrushes()
{
    static constexpr WORD kStripes[2 * kFrameBrushCount] = {0x0F, 0x1E, 0x3C, 0x78, 0xF0, 0xE1, 0xC3, 0x87,
                                                            0x0F, 0x1E, 0x3C, 0x78, 0xF0, 0xE1, 0xC3, 0x87};
    for (int i = 0; i < kFrameBrushCount; ++i) {
        const gdi::Bitmap pattern(::CreateBitmap(8, 8, 1, 1, kStripes + i));
        process.frameBrushes[i] = pattern ? ::CreatePatternBrush(pattern.get()) : nullptr;
        if (!process.frameBrushes[i]) {
            DeleteFrameBrushes();
            return ERR_NO_MEMORY;
        }
    }
    return RESULT_SUCCESS;
}

} // namespace

ThreadSettings *ExistingThread()
{
    return process.tlsIndex == TLS_OUT_OF_INDEXES ? nullptr
                                                  : static_cast<ThreadSettings *>(::TlsGetValue(process.tlsIndex));
}

ThreadSettings *CurrentThread()
{
    if (ThreadSettings *block = ExistingThread())
        return block;
    return process.tlsIndex == TLS_OUT_OF_INDEXES ? nullptr : MakeThreadBlock();
}

const ThreadSettings &CurrentSettings()
{
    const ThreadSettings *block = CurrentThread();
    return block ? *block : threadDefaults;
}

bool AttachProcess(HMODULE module)
{
    FillThreadDefaults();
    const CpuLevel level = DetectCpuLevel();
    SelectRunKernels(level);
    SelectPixelKernels(level);
    SelectRowKernels(level);
    SelectMirrorKernels(level);
    SelectCombineKernels(level);
    SelectMatchKernels(level);
    SelectTurnKernels(level);
    SelectSizeKernels(level);
    SelectGrayKernels(level);

    if (process.processCount == 0) {
        process.isWin32s = IsWin32sVersion(::GetVersion());
        if (process.isWin32s)
            process.thunkRegistered = RegisterCompanion(module);
    }
    process.tlsIndex = ::TlsAlloc();
    if (process.tlsIndex == TLS_OUT_OF_INDEXES)
        return false;
    if (!MakeThreadBlock()) {
        ::TlsFree(process.tlsIndex);
        process.tlsIndex = TLS_OUT_OF_INDEXES;
        return false;
    }
    CreateFrameBrushes(); // without them regions cannot be framed; everything else works
    ++process.processCount;
    return true;
}

bool AttachThread() { return MakeThreadBlock() != nullptr; }

void DetachThread()
{
    ThreadSettings *block = ExistingThread();
    if (!block)
        return;
    FreeKeptMappings();
    FreeColourCache(block->colourCache);
    V_OsFree(block);
    ::TlsSetValue(process.tlsIndex, nullptr);
}

void DetachProcess(HMODULE module)
{
    --process.processCount;
    DeleteFrameBrushes();
    FreeKeptMappings();
    // Deliberate: only thread detach frees a settings block, so the detaching thread's own stays behind.
    ::TlsFree(process.tlsIndex);
    process.tlsIndex = TLS_OUT_OF_INDEXES;
    // Deliberate: the last detach registers the companion once more; it is never unregistered.
    if (process.processCount == 0 && process.thunkRegistered)
        RegisterCompanion(module);
}

} // namespace vexo

using namespace vexo;

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID)
{
    switch (reason) {
    case DLL_PROCESS_ATTACH: return AttachProcess(module);
    case DLL_THREAD_ATTACH: return AttachThread();
    case DLL_THREAD_DETACH: DetachThread(); return TRUE;
    case DLL_PROCESS_DETACH: DetachProcess(module); return TRUE;
    default: return TRUE;
    }
}

namespace {

// Stores a setting of the calling thread and returns the previous one.
template <class T>
T ExchangeSetting(T ThreadSettings::*setting, T value)
{
    ThreadSettings *thread = CurrentThread();
    if (!thread)
        return T();
    const T previous = thread->*setting;
    thread->*setting = value;
    return previous;
}

} // namespace

int VEXO_CALL V_SetDefaultXResolution(int dotsPerInch)
{
    return ExchangeSetting(&ThreadSettings::defaultXResolution, dotsPerInch);
}

int VEXO_CALL V_SetDefaultYResolution(int dotsPerInch)
{
    return ExchangeSetting(&ThreadSettings::defaultYResolution, dotsPerInch);
}

int VEXO_CALL V_GetDefaultXResolution(void) { return CurrentSettings().defaultXResolution; }
int VEXO_CALL V_GetDefaultYResolution(void) { return CurrentSettings().defaultYResolution; }

int VEXO_CALL V_DefaultDithering(unsigned method)
{
    if (method > kHighestDitherMode)
        return ERR_INV_PARAMETER;
    ThreadSettings *thread = CurrentThread();
    if (!thread)
        return ERR_NO_MEMORY;
    thread->defaultDitherMode = int(method);
    return RESULT_SUCCESS;
}

unsigned VEXO_CALL V_SetDisplayMode(unsigned mask, unsigned value)
{
    ThreadSettings *thread = CurrentThread();
    if (!thread)
        return 0;
    const unsigned old = thread->displayMode;
    thread->displayMode = (old & ~mask) | (value & mask);
    // Deliberate: the value counts here before the mask is applied.
    if (!(old & DISPLAYMODE_PALETTE_INDICES) && (value & DISPLAYMODE_PALETTE_INDICES))
        ResetPaletteIndices(*thread);
    return old;
}

unsigned VEXO_CALL V_GetDisplayMode(void) { return CurrentSettings().displayMode; }

VexoStatusCallback VEXO_CALL V_SetStatusCallBack(VexoStatusCallback callback)
{
    return ExchangeSetting(&ThreadSettings::statusCallback, callback);
}

VexoStatusCallback VEXO_CALL V_GetStatusCallBack(void) { return CurrentSettings().statusCallback; }

int VEXO_CALL V_SetStorageCaching(int cached)
{
    if (!cached)
        FreeKeptMappings();
    return ExchangeSetting(&ThreadSettings::storageCaching, cached);
}

int VEXO_CALL V_VersionInfo(VersionRecord *version)
{
    static constexpr VersionRecord kVersion = {"VEXOKIT\xAE DLL for Win32", 0, 7, 0, __DATE__, __TIME__};
    static_assert(sizeof(VersionRecord) == 104);
    if (!version)
        return ERR_INV_PARAMETER;
    *version = kVersion;
    return RESULT_SUCCESS;
}
