// Devices that no test machine has: what GetDeviceCaps tells of every device context is replaced for a scope.
#ifndef VEXO_TESTS_SUPPORT_FAKE_DEVICE_H
#define VEXO_TESTS_SUPPORT_FAKE_DEVICE_H

#include "tests/support/import_hooks.h"

namespace vexo::test {

class FakeDevice {
public:
    // A screen of `bits` x `planes`, unless another technology is given.
    explicit FakeDevice(int bits, int planes = 1, int technology = DT_RASDISPLAY)
        : m_bits(bits), m_planes(planes), m_technology(technology), m_outer(s_current),
          m_hook("gdi32.dll", "GetDeviceCaps", Answer)
    {
        s_current = this;
    }
    ~FakeDevice() { s_current = m_outer; }
    FakeDevice(const FakeDevice &) = delete;
    FakeDevice &operator=(const FakeDevice &) = delete;

private:
    static int WINAPI Answer(HDC dc, int index)
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

    static inline FakeDevice *s_current;
    const int m_bits, m_planes, m_technology;
    FakeDevice *const m_outer;
    ImportHook<int WINAPI(HDC, int)> m_hook;
};

} // namespace vexo::test

#endif
