// Owners for COM: the library's lifetime on a thread, and one reference to an object.
#ifndef VEXO_TOOLS_COM_H
#define VEXO_TOOLS_COM_H

#include <windows.h>

#include <objbase.h>

#include <utility>

namespace vexo::tools {

// COM on this thread for a scope.
class ComScope {
public:
    ComScope() : m_result(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
    ~ComScope()
    {
        if (SUCCEEDED(m_result))
            CoUninitialize();
    }
    ComScope(const ComScope &) = delete;
    ComScope &operator=(const ComScope &) = delete;

private:
    HRESULT m_result;
};

// One reference to a COM object, released at the end of the scope.
template <class T>
class ComPtr {
public:
    ComPtr() = default;
    ComPtr(ComPtr &&other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    ComPtr &operator=(ComPtr &&other) noexcept
    {
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~ComPtr()
    {
        if (m_object)
            m_object->Release();
    }

    explicit operator bool() const { return m_object != nullptr; }
    T *get() const { return m_object; }
    T *operator->() const { return m_object; }

    // For calls that return an object through a pointer; what was held is released first.
    T **Receive()
    {
        *this = ComPtr();
        return &m_object;
    }

    template <class Other>
    HRESULT QueryTo(ComPtr<Other> &other) const
    {
        return m_object->QueryInterface(__uuidof(Other), reinterpret_cast<void **>(other.Receive()));
    }

private:
    T *m_object = nullptr;
};

} // namespace vexo::tools

#endif
