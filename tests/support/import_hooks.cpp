#include "tests/support/import_hooks.h"

#include <cstring>

namespace vexo::test {

namespace {

// Import tables are read-only in images of some linkers.
void WriteEntry(void **entry, void *value)
{
    DWORD protection;
    VirtualProtect(entry, sizeof(*entry), PAGE_READWRITE, &protection);
    *entry = value;
    VirtualProtect(entry, sizeof(*entry), protection, &protection);
}

} // namespace

ImportHookBase::ImportHookBase(const char *dll, const char *function, void *replacement)
    : m_next(reinterpret_cast<void *>(GetProcAddress(LoadLibraryA(dll), function)))
{
    PatchModule(GetModuleHandleA(nullptr), dll, function, replacement);
    if (const HMODULE library = GetModuleHandleA("vexokit.dll"))
        PatchModule(library, dll, function, replacement);
    if (!m_patches.empty())
        m_next = m_patches.front().former;
}

ImportHookBase::~ImportHookBase()
{
    for (const Patch &patch : m_patches)
        WriteEntry(patch.entry, patch.former);
}

void ImportHookBase::PatchModule(HMODULE module, const char *dll, const char *function, void *replacement)
{
    ForEachImport(module, [&](const char *importedDll, const char *name, void **entry) {
        if (name && strcmp(name, function) == 0 && _stricmp(importedDll, dll) == 0) {
            m_patches.push_back({entry, *entry});
            WriteEntry(entry, replacement);
        }
    });
}

} // namespace vexo::test
