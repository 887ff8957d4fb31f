// The Win32s environment: 32-bit programs on 16-bit Windows, where a 16-bit companion library reaches bitmaps through
// the universal thunk.
#ifndef VEXO_CORE_WIN32S_H
#define VEXO_CORE_WIN32S_H

#include "core/core.h"

namespace vexo {

// Whether a result of GetVersion tells of Win32s: high bit set, major version below 4.
constexpr bool IsWin32sVersion(DWORD version) { return (version & 0x80000000u) && (version & 0xFF) < 4; }

// Registers the companion library and stores its call entry in process.thunkEntry. False where it does not exist.
bool RegisterCompanion(HMODULE module);

// Serves a request of the companion library: 0 access, 1 release, 2 get row, 3 put row.
// arguments: bitmap, buffer, row, column, byte count. Returns 0, the row function's result or ERR_BAD_REQUEST.
int ServeCompanion(const UINT_PTR *arguments, unsigned request);

// Requests to the companion library, once it has been registered: a device context over a bitmap, and the end of one.
DWORD CompanionCreateDC(BitmapHandle *bitmap);
DWORD CompanionDeleteDC(HDC dc);

} // namespace vexo

#endif
