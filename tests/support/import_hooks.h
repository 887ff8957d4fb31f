// Replaces functions that a loaded module imports by writing to its import table, and puts them back. Tests stand
// between the library and the system this way without any seam in the product.
#ifndef VEXO_TESTS_SUPPORT_IMPORT_HOOKS_H
#define VEXO_TESTS_SUPPORT_IMPORT_HOOKS_H

#include <windows.h>

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

namespace vexo::test {

// One imported function, replaced in the test program (which the static library is part of) and in vexokit.dll when
// that is loaded. Hooks of one function nest: the newer calls Next() to reach the older, and goes first.
class ImportHookBase {
public:
    ImportHookBase(const char *dll, const char *function, void *replacement);
    virtual ~ImportHookBase();
    ImportHookBase(const ImportHookBase &) = delete;
    ImportHookBase &operator=(const ImportHookBase &) = delete;

protected:
    void *next() const { return m_next; }

private:
    struct Patch {
        void **entry;
        void *former;
    };

    void PatchModule(HMODULE module, const char *dll, const char *function, void *replacement);

    std::vector<Patch> m_patches;
    void *m_next;
};

template <class Function>
class ImportHook : public ImportHookBase {
public:
    ImportHook(const char *dll, const char *function, Function *replacement)
        : ImportHookBase(dll, function, reinterpret_cast<void *>(replacement))
    {
    }
    Function *Next() const { return reinterpret_cast<Function *>(next()); }
};

// The same with any callable, which gets the function it stands for first.
template <class Function, class Callable>
class Replacement;

template <class Result, class... Arguments, class Callable>
class Replacement<Result WINAPI(Arguments...), Callable> : public ImportHook<Result WINAPI(Arguments...)> {
public:
    Replacement(const char *dll, const char *function, Callable callable)
        : ImportHook<Result WINAPI(Arguments...)>(dll, function, Call), m_callable(callable)
    {
        s_current = this;
    }

private:
    static Result WINAPI Call(Arguments... arguments) { return s_current->m_callable(s_current->Next(), arguments...); }

    Callable m_callable;
    static inline Replacement *s_current; // each callable is a type of its own
};

template <class Function, class Callable>
Replacement<Function, Callable> Replace(const char *dll, const char *function, Callable callable)
{
    return {dll, function, callable};
}

// Any number of them that come and go together.
class Replacements {
public:
    template <class Function, class Callable>
    void Add(const char *dll, const char *function, Callable callable)
    {
        m_hooks.emplace_back(new Replacement<Function, Callable>(dll, function, callable));
    }

private:
    std::vector<std::unique_ptr<ImportHookBase>> m_hooks;
};

// A stand-in that stays until the process ends. What it stands for can be reached while it is being put in place,
// because another thread may call it at once.
template <auto StandIn>
class PermanentHook {
public:
    static void Install(const char *dll, const char *function) { new (s_room) Hook(dll, function, StandIn); }
    static auto Next() { return reinterpret_cast<Hook *>(s_room)->Next(); }

private:
    using Hook = ImportHook<std::remove_pointer_t<decltype(StandIn)>>;
    alignas(Hook) static inline std::byte s_room[sizeof(Hook)];
};

// Calls visit(dll, function or null for an import by number, address of the entry) for every import of a module.
template <class Visit>
void ForEachImport(HMODULE module, Visit &&visit)
{
    auto *base = reinterpret_cast<BYTE *>(module);
    const auto *dos = reinterpret_cast<const IMAGE_DOS_HEADER *>(base);
    const auto *nt = reinterpret_cast<const IMAGE_NT_HEADERS *>(base + dos->e_lfanew);
    const IMAGE_DATA_DIRECTORY &directory = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (!directory.VirtualAddress)
        return;
    const auto *import = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR *>(base + directory.VirtualAddress);
    for (; import->Name; ++import) {
        const auto *dll = reinterpret_cast<const char *>(base + import->Name);
        const DWORD names = import->OriginalFirstThunk ? import->OriginalFirstThunk : import->FirstThunk;
        const auto *name = reinterpret_cast<const IMAGE_THUNK_DATA *>(base + names);
        auto *entry = reinterpret_cast<void **>(base + import->FirstThunk);
        for (; name->u1.AddressOfData; ++name, ++entry) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal))
                visit(dll, static_cast<const char *>(nullptr), entry);
            else
                visit(dll, reinterpret_cast<const IMAGE_IMPORT_BY_NAME *>(base + name->u1.AddressOfData)->Name, entry);
        }
    }
}

} // namespace vexo::test

#endif
