# Two sets of flags: vexokit_common_flags for everything that is compiled here, vexokit_library_flags for the library.

add_library(vexokit_common_flags INTERFACE)
add_library(vexokit_library_flags INTERFACE)
target_link_libraries(vexokit_library_flags INTERFACE vexokit_common_flags)

target_compile_definitions(vexokit_common_flags INTERFACE WIN32_LEAN_AND_MEAN NOMINMAX)

if(MSVC)
    target_compile_options(vexokit_common_flags INTERFACE /W4 /WX /permissive- /utf-8 /wd4127 /wd4324)
    target_compile_options(vexokit_library_flags INTERFACE $<$<COMPILE_LANGUAGE:CXX>:/GR- /Zc:threadSafeInit->)
    target_compile_definitions(vexokit_library_flags INTERFACE _HAS_EXCEPTIONS=0 _CRT_SECURE_NO_WARNINGS)
    string(REPLACE "/EHsc" "" CMAKE_CXX_FLAGS "${CMAKE_CXX_FLAGS}")
else()
    target_compile_options(vexokit_common_flags INTERFACE -Wall -Wextra -Werror)
    target_compile_options(vexokit_library_flags INTERFACE
        $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>)
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
        # Callers promise a stack aligned to 4 bytes only; SSE2 is the baseline.
        target_compile_options(vexokit_common_flags INTERFACE -msse2 -mfpmath=sse -mstackrealign)
    endif()
    # Nothing but the system's own DLLs is needed to run what is built here.
    target_link_options(vexokit_common_flags INTERFACE -static)
endif()

if(VEXOKIT_CHECKED)
    target_compile_definitions(vexokit_common_flags INTERFACE VEXOKIT_CHECKED=1)
    if(NOT MSVC)
        target_compile_options(vexokit_common_flags INTERFACE -fsanitize=undefined -fsanitize-undefined-trap-on-error)
        target_compile_definitions(vexokit_common_flags INTERFACE $<$<COMPILE_LANGUAGE:CXX>:_GLIBCXX_ASSERTIONS>)
    endif()
endif()
