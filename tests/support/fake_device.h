// Devices that no test machine has: what GetDeviceCaps tells of every device context is replaced for a scope.
#ifndef VEXO_TESTS_SUPPORT_FAKE_DEVICE_H
#define VEXO_TESTS_SUPPORT_FAKE_DEVICE_H

#include "tests/support/import_hooks.h"

namespace vexo::test {

class FakeDevice {
public:
    // A screen of `bits` x `planes`, unless another technology is given.
    explicit FakeDevice(int bits, int planes = 1, int technology = DT_RASDISPLAY);
    ~FakeDevice();
    FakeDevice(const FakeDevice &) = delete;
    FakeDevice &operator=(const FakeDevice &) = delete;

private:
    static int WINAPI Answer(HDC dc, int index);
    static FakeDevice *s_current;

    const int m_bits, m_planes, m_technology;
    FakeDevice *const m_outer;
    ImportHook<int WINAPI(HDC, int)> m_hook;
};

} // namespace vexo::test

#endif
