# Build speed on small machines: precompiled Qt headers, a fast linker, and no relinking of
# every test when only the shared library's contents changed.

# Executables depend on the library's interface, not on its file: a changed libQuillon.so
# is picked up at run time, so its dependents need no relink.
set(CMAKE_LINK_DEPENDS_NO_SHARED ON)

find_program(QUILLON_MOLD mold)
if(QUILLON_MOLD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 12.1)
    # With split debug information the compiler also writes a public-name index into every object,
    # more than half of each executable; the linker turns it into one compact gdb index instead.
    add_link_options(-fuse-ld=mold $<$<CONFIG:Debug,RelWithDebInfo>:-Wl,--gdb-index>)
endif()

option(QUILLON_PCH "Use precompiled headers" ON)

# tulo_precompile(<target> [WIDGETS]): the shared precompiled header for <target>.
function(tulo_precompile target)
    if(NOT QUILLON_PCH)
        return()
    endif()
    if("WIDGETS" IN_LIST ARGN)
        target_precompile_headers(${target} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/pch/quillon_pch_widgets.h)
    else()
        target_precompile_headers(${target} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/pch/quillon_pch.h)
    endif()
endfunction()

# tulo_precompile_reuse(<target> <from>): share <from>'s precompiled header (same flags).
function(tulo_precompile_reuse target from)
    if(QUILLON_PCH)
        target_precompile_headers(${target} REUSE_FROM ${from})
    endif()
endfunction()
