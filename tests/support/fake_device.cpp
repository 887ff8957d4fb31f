#include "tests/support/fake_device.h"

namespace vexo::test {

FakeDevice *FakeDevice::s_current;

FakeDevice::FakeDevice(int bits, int planes, int technology)
    : m_bits(bits), m_planes(planes), m_technology(technology), m_outer(s_current),
      m_hook("gdi32.dll", "GetDeviceCaps", Answer)
{
    s_current = this;
}

FakeDevice::~FakeDevice() { s_current = m_outer; }

int WINAPI FakeDevice::Answer(HDC dc, int index)
{
    const FakeDevice &device = *s_current;
    const FakeDevice *first = s_current; // the one whose hook leads to the system
    while (first->m_outer)
        first = first->m_outer;
    switch (index) {
    case TECHNOLOGY: return device.m_technology;
    case BITSPIXEL: return device.m_bits;
    case PLANES: return device.m_planes;
    case NUMCOLORS: return device.m_bits * device.m_planes > 8 ? -1 : 1 << device.m_bits * device.m_planes;
    default: return first->m_hook.Next()(dc, index);
    }
}

} // namespace vexo::test
