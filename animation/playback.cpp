// Animation playback: the steps from frame to frame, the waits, and frames whose rows are still to come. Nothing waits
// inside the library; a step looks at the tick counter and says what it is waiting for.
#include "animation/playback.h"

#include "core/lists.h"

#include <algorithm>

using namespace vexo;

namespace {

// The only place that reads the time. The counter wraps; differences do not mind.
DWORD Ticks() { return ::GetTickCount(); }

Playback *PlaybackOf(HGLOBAL handle)
{
    auto *playback = handle ? static_cast<Playback *>(::GlobalLock(handle)) : nullptr;
    if (playback)
        ::GlobalUnlock(handle); // it stays locked from its making
    return playback;
}

int FrameCount(const Playback *playback)
{
    const BitmapList *list = BitmapListOf(playback->List);
    return list ? int(list->count) : 0;
}

// The current frame. A record of zeros, which has nothing to draw or wait for, where there is none.
BitmapHandle CurrentFrame(const Playback *playback)
{
    BitmapHandle frame = {};
    if (playback->Index >= 0)
        V_GetBitmapListItem(playback->List, unsigned(playback->Index), &frame);
    return frame;
}

bool IsWaiting(unsigned state) { return state >= PB_STATE_AWAIT_INPUT && state <= PB_STATE_AWAIT_INPUT_OR_DELAY; }

void EndAppend(Playback *playback)
{
    playback->AppendActive = 0;
    playback->LinesMissing = 0;
    V_OsFree(playback->LineMarks);
    playback->LineMarks = nullptr;
}

// ---- Steps ----------------------------------------------------------------------------------------------------

unsigned Clear(Playback *playback)
{
    V_FillBitmap(playback->Canvas, playback->Canvas->AnimBackground);
    AddUpdate(playback, *playback->Canvas);
    return PB_STATE_CLEARED;
}

unsigned Advance(Playback *playback)
{
    ++playback->Index;
    return playback->Index < FrameCount(playback) ? PB_STATE_DRAW : PB_STATE_FINISHED;
}

unsigned Draw(Playback *playback, const BitmapHandle &frame)
{
    if (playback->AppendActive && playback->Index == FrameCount(playback) - 1)
        return PB_STATE_AWAIT_ROWS;
    if (!IsAllocated(&frame))
        return PB_STATE_DRAWN;
    if (frame.AnimDisposal == 3)
        SaveArea(playback, frame);
    if (DrawFrame(*playback, frame))
        AddUpdate(playback, frame);
    return PB_STATE_DRAWN;
}

unsigned ChooseWait(Playback *playback, const BitmapHandle &frame)
{
    const bool waitsForInput = frame.Flags & FLAG_WAIT_INPUT;
    if (frame.AnimDelay == 0)
        return waitsForInput ? PB_STATE_AWAIT_INPUT : PB_STATE_BEFORE_DISPOSAL;
    playback->DelayStart = Ticks();
    return waitsForInput ? PB_STATE_AWAIT_INPUT_OR_DELAY : PB_STATE_AWAIT_DELAY;
}

unsigned Dispose(Playback *playback, const BitmapHandle &frame)
{
    if (frame.AnimDisposal == 2 && IsAllocated(&frame)) {
        FillBackground(*playback, frame);
        AddUpdate(playback, frame);
    } else if (frame.AnimDisposal == 3 && RestoreArea(playback, frame)) {
        AddUpdate(playback, frame);
    }
    return PB_STATE_DISPOSED;
}

unsigned NextState(Playback *playback)
{
    const BitmapHandle frame = CurrentFrame(playback);
    switch (playback->State) {
    case PB_STATE_INITIAL: return Clear(playback);
    case PB_STATE_CLEARED:
    case PB_STATE_DISPOSED: return Advance(playback);
    case PB_STATE_DRAW:
    case PB_STATE_AWAIT_ROWS: return Draw(playback, frame);
    case PB_STATE_DRAWN: return ChooseWait(playback, frame);
    case PB_STATE_AWAIT_DELAY:
    case PB_STATE_AWAIT_INPUT_OR_DELAY:
        return Ticks() - playback->DelayStart >= frame.AnimDelay ? PB_STATE_BEFORE_DISPOSAL : playback->State;
    case PB_STATE_BEFORE_DISPOSAL: return Dispose(playback, frame);
    case PB_STATE_FINISHED: playback->Index = 0; return PB_STATE_DRAW;
    }
    return playback->State;
}

} // namespace

// ---- Making and ending ----------------------------------------------------------------------------------------

int VEXO_CALL V_CreatePlayback(HGLOBAL *handle, BitmapHandle *canvas, HGLOBAL list)
{
    if (!handle || !IsAllocated(canvas))
        return ERR_INV_PARAMETER;
    *handle = nullptr;
    Buffer<Playback> playback(1, Buffer<Playback>::Fill::Zero);
    if (!playback)
        return ERR_NO_MEMORY;
    if (!list) {
        const int status = V_CreateBitmapList(&list);
        if (Failed(status))
            return status;
    }
    playback[0].List = list;
    playback[0].Canvas = canvas;
    playback[0].Index = -1;
    *handle = ::GlobalHandle(playback.Release());
    return RESULT_SUCCESS;
}

int VEXO_CALL V_DestroyPlayback(HGLOBAL handle, HGLOBAL *list)
{
    Playback *playback = PlaybackOf(handle);
    if (!playback)
        return ERR_INV_PARAMETER;
    if (list)
        *list = playback->List;
    V_FreeBitmap(&playback->SavedArea);
    EndAppend(playback);
    V_OsFree(playback);
    return RESULT_SUCCESS;
}

// ---- Running --------------------------------------------------------------------------------------------------

int VEXO_CALL V_ProcessPlayback(HGLOBAL handle, unsigned *state)
{
    Playback *playback = PlaybackOf(handle);
    if (!playback)
        return ERR_INV_PARAMETER;
    playback->State = NextState(playback);
    if (state)
        *state = playback->State;
    return RESULT_SUCCESS;
}

int VEXO_CALL V_GetPlaybackState(HGLOBAL handle, unsigned *state)
{
    const Playback *playback = PlaybackOf(handle);
    if (!playback || !state)
        return ERR_INV_PARAMETER;
    *state = playback->State;
    return RESULT_SUCCESS;
}

int VEXO_CALL V_GetPlaybackIndex(HGLOBAL handle, int *index)
{
    const Playback *playback = PlaybackOf(handle);
    if (!playback || !index)
        return ERR_INV_PARAMETER;
    *index = playback->Index;
    return RESULT_SUCCESS;
}

int VEXO_CALL V_SetPlaybackIndex(HGLOBAL handle, int index)
{
    Playback *playback = PlaybackOf(handle);
    if (!playback || index < -1 || index > FrameCount(playback))
        return ERR_INV_PARAMETER;
    EndAppend(playback);
    if (playback->Index > index) {
        V_FreeBitmap(&playback->SavedArea);
        playback->State = PB_STATE_INITIAL;
        playback->Index = -1;
    }
    while (playback->Index < index) {
        playback->State = NextState(playback);
        if (IsWaiting(playback->State))
            playback->State = PB_STATE_BEFORE_DISPOSAL;
    }
    return RESULT_SUCCESS;
}

int VEXO_CALL V_GetPlaybackDelay(HGLOBAL handle, unsigned *milliseconds)
{
    const Playback *playback = PlaybackOf(handle);
    if (!playback || !milliseconds)
        return ERR_INV_PARAMETER;
    *milliseconds = 0;
    if (playback->State == PB_STATE_AWAIT_DELAY || playback->State == PB_STATE_AWAIT_INPUT_OR_DELAY) {
        const unsigned delay = CurrentFrame(playback).AnimDelay, passed = Ticks() - playback->DelayStart;
        *milliseconds = delay - std::min(delay, passed);
    }
    return RESULT_SUCCESS;
}

int VEXO_CALL V_CancelPlaybackWait(HGLOBAL handle)
{
    Playback *playback = PlaybackOf(handle);
    if (!playback)
        return ERR_INV_PARAMETER;
    if (IsWaiting(playback->State))
        playback->State = PB_STATE_BEFORE_DISPOSAL;
    return RESULT_SUCCESS;
}

// ---- The update rectangle -------------------------------------------------------------------------------------

int VEXO_CALL V_GetPlaybackUpdateRect(HGLOBAL handle, RECT *rect, int clear)
{
    Playback *playback = PlaybackOf(handle);
    if (!playback)
        return ERR_INV_PARAMETER;
    if (rect)
        *rect = playback->UpdateRect;
    if (clear)
        playback->UpdateRect = {};
    return RESULT_SUCCESS;
}

int VEXO_CALL V_ClearPlaybackUpdateRect(HGLOBAL handle) { return V_GetPlaybackUpdateRect(handle, nullptr, 1); }

// ---- Frames that are still arriving ---------------------------------------------------------------------------

int VEXO_CALL V_AppendPlayback(HGLOBAL handle, const BitmapHandle *frame)
{
    Playback *playback = PlaybackOf(handle);
    if (!playback || !frame || frame->Height < 1)
        return ERR_INV_PARAMETER;
    EndAppend(playback);
    Buffer<uint8_t> marks(size_t(frame->Height), Buffer<uint8_t>::Fill::Zero);
    if (!marks)
        return ERR_NO_MEMORY;
    const int status = V_InsertBitmapListItem(playback->List, ~0u, frame);
    if (Failed(status))
        return status;
    playback->LineMarks = marks.Release();
    playback->LinesMissing = frame->Height;
    playback->AppendActive = 1;
    V_ReleaseBitmap(&BitmapListOf(playback->List)->span().back());
    if (playback->State == PB_STATE_FINISHED)
        playback->State = PB_STATE_DRAW;
    return RESULT_SUCCESS;
}

int VEXO_CALL V_ValidatePlaybackLines(HGLOBAL handle, int firstRow, int rowCount)
{
    Playback *playback = PlaybackOf(handle);
    if (!playback)
        return ERR_INV_PARAMETER;
    const BitmapList *list = playback->AppendActive ? BitmapListOf(playback->List) : nullptr;
    if (!list || list->count == 0)
        return RESULT_SUCCESS;
    // The caller may have changed the list since; there are marks for as many rows as there are bits.
    const int64_t room = int64_t(::GlobalSize(::GlobalHandle(playback->LineMarks))) * 8;
    const int64_t end = std::min({int64_t(firstRow) + rowCount, int64_t(list->span().back().Height), room});
    for (int64_t row = std::max(firstRow, 0); row < end && playback->AppendActive; ++row) {
        uint8_t &marks = playback->LineMarks[row / 8];
        const uint8_t bit = uint8_t(0x80 >> row % 8);
        if (marks & bit)
            continue;
        marks |= bit;
        if (--playback->LinesMissing == 0)
            EndAppend(playback);
    }
    return RESULT_SUCCESS;
}
