// A strict stand-in for the global heap and for page-file mappings. Blocks and views end at an unreadable page, blocks
// that are freed or not locked cannot be touched at all, and fresh memory is filled with rubbish, so that a byte read
// or written out of turn stops the test at the guilty instruction.
#ifndef VEXO_TESTS_SUPPORT_PAGE_HEAP_H
#define VEXO_TESTS_SUPPORT_PAGE_HEAP_H

#include <windows.h>

#include <cstdint>
#include <span>
#include <string>

namespace vexo::test {

// Puts the stand-ins in place for the rest of the program; they pass everything through until they are switched on.
void InstallPageHeap(bool on);

// Switches the page heap for blocks and mappings that are made from here on; older ones keep working.
class PageHeapScope {
public:
    explicit PageHeapScope(bool on = true);
    ~PageHeapScope();
    PageHeapScope(const PageHeapScope &) = delete;
    PageHeapScope &operator=(const PageHeapScope &) = delete;

private:
    bool m_previous;
};

// Damage found in bytes around the blocks that were freed since the last call, one line each.
std::string TakePageHeapComplaints();

// A buffer of a test's own that ends exactly at an unreadable page, at whatever alignment that gives; writes in front
// of it are found by its destructor.
class GuardedBuffer {
public:
    explicit GuardedBuffer(size_t size, uint8_t fill = 0xCD);
    ~GuardedBuffer();
    GuardedBuffer(const GuardedBuffer &) = delete;
    GuardedBuffer &operator=(const GuardedBuffer &) = delete;

    uint8_t *data() const { return m_data; }
    size_t size() const { return m_size; }
    std::span<uint8_t> span() const { return {m_data, m_size}; }
    uint8_t &operator[](size_t index) const { return m_data[index]; }
    template <class T>
    T *as() const
    {
        return reinterpret_cast<T *>(m_data);
    }

private:
    uint8_t *m_region;
    uint8_t *m_data;
    size_t m_size;
};

} // namespace vexo::test

#endif
