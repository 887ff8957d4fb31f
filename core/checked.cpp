// The checked build only: failed assertions of the standard library stop at once. The runtime's own version of this
// function prints first, and brings in what a DLL cannot give back when it is unloaded.
#if defined(VEXOKIT_CHECKED) && defined(__GNUC__)

namespace std {

[[noreturn]] void __glibcxx_assert_fail(const char *, int, const char *, const char *) noexcept { __builtin_trap(); }

} // namespace std

#endif
