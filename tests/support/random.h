// A small deterministic generator: the same seed gives the same test on every machine.
#ifndef VEXO_TESTS_SUPPORT_RANDOM_H
#define VEXO_TESTS_SUPPORT_RANDOM_H

#include <cstddef>
#include <cstdint>

namespace vexo::test {

class Random {
public:
    explicit Random(uint64_t seed) : m_state(seed) {}

    uint64_t Next()
    {
        uint64_t z = m_state += 0x9E3779B97F4A7C15u;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }
    // 0 to limit - 1
    int Below(int limit) { return int(Next() % unsigned(limit)); }
    // first to last
    int Between(int first, int last) { return first + Below(last - first + 1); }
    bool OneIn(int n) { return Below(n) == 0; }
    uint8_t Byte() { return uint8_t(Next()); }
    void Fill(void *data, size_t size)
    {
        for (size_t i = 0; i < size; ++i)
            static_cast<uint8_t *>(data)[i] = Byte();
    }

private:
    uint64_t m_state;
};

} // namespace vexo::test

#endif
