// The capabilities of device contexts.
#include "display/device.h"

namespace vexo {

Device Device::Of(HDC dc)
{
    return {::GetDeviceCaps(dc, TECHNOLOGY), ::GetDeviceCaps(dc, BITSPIXEL), ::GetDeviceCaps(dc, PLANES)};
}

DeviceSurface DeviceSurface::Of(HDC dc)
{
    return {::GetDeviceCaps(dc, NUMCOLORS), ::GetDeviceCaps(dc, HORZRES), ::GetDeviceCaps(dc, VERTRES)};
}

int Device::DepthClass() const
{
    const int depth = Depth();
    return depth < 4 ? kDeviceClass1 : depth < 8 ? kDeviceClass4 : depth < 16 ? kDeviceClass8 : kDeviceClass24;
}

} // namespace vexo
