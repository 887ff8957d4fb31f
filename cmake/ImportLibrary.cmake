# vexokit_add_dll(name def rc): the DLL and its import library, as the targets `name` and `name_import`.
#
# The .def holds undecorated names. MSVC's linker matches them to the decorated stdcall symbols and writes a matching
# import library. GNU ld matches them too, but its import library lacks the decorations a stdcall client asks for, so
# there the import library comes from dlltool and a .def decorated from the symbols of the objects.
function(vexokit_add_dll name def rc)
    set(def_path ${CMAKE_SOURCE_DIR}/${def})
    file(WRITE ${CMAKE_BINARY_DIR}/empty.cpp "")
    add_library(${name} SHARED ${rc} ${CMAKE_BINARY_DIR}/empty.cpp)
    set_target_properties(${name} PROPERTIES PREFIX "" LINK_DEPENDS ${def_path})
    target_link_libraries(${name} PRIVATE vexokit_library_flags "$<LINK_LIBRARY:WHOLE_ARCHIVE,vexokit_objects>")
    target_include_directories(${name} INTERFACE ${CMAKE_SOURCE_DIR}/include)

    add_library(${name}_import INTERFACE)
    target_include_directories(${name}_import INTERFACE ${CMAKE_SOURCE_DIR}/include)

    if(MSVC)
        target_link_options(${name} PRIVATE /DEF:${def_path})
        target_link_libraries(${name}_import INTERFACE ${name})
        return()
    endif()

    target_link_options(${name} PRIVATE ${def_path} -Wl,--enable-stdcall-fixup -Wl,--no-insert-timestamp)
    set_target_properties(${name} PROPERTIES IMPORT_SUFFIX ".unused.a")

    # dlltool belongs to the compiler's binutils, whatever the machine's own is called.
    get_filename_component(tool_prefix ${CMAKE_AR} NAME)
    string(REGEX REPLACE "ar(\\.exe)?$" "" tool_prefix ${tool_prefix})
    string(REGEX REPLACE "gcc-$" "" tool_prefix ${tool_prefix})
    find_program(VEXOKIT_DLLTOOL NAMES ${tool_prefix}dlltool dlltool REQUIRED)
    find_program(VEXOKIT_NM NAMES ${tool_prefix}nm nm REQUIRED)

    set(import_library ${CMAKE_BINARY_DIR}/lib/lib${name}.dll.a)
    add_custom_command(
        OUTPUT ${import_library}
        COMMAND ${CMAKE_COMMAND} -DNM=${VEXOKIT_NM} -DDLLTOOL=${VEXOKIT_DLLTOOL} -DDEF=${def_path}
                -DOBJECTS=$<TARGET_FILE:vexokit_objects> -DDLL=${name}.dll -DOUTPUT=${import_library}
                -DPOINTER_SIZE=${CMAKE_SIZEOF_VOID_P} -P ${CMAKE_SOURCE_DIR}/cmake/MakeImportLibrary.cmake
        DEPENDS ${def_path} vexokit_objects ${CMAKE_SOURCE_DIR}/cmake/MakeImportLibrary.cmake
        VERBATIM)
    add_custom_target(${name}_import_library ALL DEPENDS ${import_library})
    add_dependencies(${name}_import ${name} ${name}_import_library)
    target_link_libraries(${name}_import INTERFACE ${import_library})
endfunction()
