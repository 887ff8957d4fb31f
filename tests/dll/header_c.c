/* The public header in a C translation unit of its own: it must compile as plain old C, with nothing before it. */
#include "vexokit.h"

#include <stddef.h>

#define OFFSET(field) offsetof(BitmapHandle, field)

const unsigned kBitmapSizeInC = sizeof(BitmapHandle);
const unsigned kVersionSizeInC = sizeof(VersionRecord);
const unsigned kOffsetCountInC = 26;
const unsigned kOffsetsInC[26] = {
    OFFSET(Handle),          OFFSET(Data),         OFFSET(Width),           OFFSET(Height),
    OFFSET(BitsPerPixel),    OFFSET(BytesPerLine), OFFSET(CachedRowOffset), OFFSET(CachedRow),
    OFFSET(Flags),           OFFSET(ColorCount),   OFFSET(Palette),         OFFSET(Orientation),
    OFFSET(ColorOrder),      OFFSET(Size),         OFFSET(DitherState),     OFFSET(DitherMode),
    OFFSET(Reserved),        OFFSET(Region),       OFFSET(XResolution),     OFFSET(YResolution),
    OFFSET(AnimLeft),        OFFSET(AnimTop),      OFFSET(AnimDelay),       OFFSET(AnimBackground),
    OFFSET(AnimTransparent), OFFSET(AnimDisposal)};

/* The program of the header's first page. Returns the colour it wrote, read back. */
COLORREF FirstProgramInC(void)
{
    BitmapHandle bitmap;
    COLORREF color = COLOR_INVALID;
    if (V_CreateBitmap(&bitmap, STORAGE_MEMORY, 640, 480, 24, COLOR_ORDER_BGR, NULL, ORIENT_BOTTOM_UP) ==
        RESULT_SUCCESS) {
        V_PutPixelColor(&bitmap, 3, 4, RGB(255, 1, 2));
        color = V_GetPixelColor(&bitmap, 3, 4);
        V_FreeBitmap(&bitmap);
    }
    return color;
}
