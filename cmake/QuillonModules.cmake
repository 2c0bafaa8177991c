# The framework's modules, one per src/ folder, each an object library; together they make the
# shared library Quillon.
#
# Layers, bottom to top. A module links the modules it uses and sees the headers of those
# alone, so a module that reaches up (or sideways into one it does not link) fails to compile:
#
#   platform     the platform services reached by role, localisation, errors
#   accounts     linked social accounts, sign-in                     -> platform
#   core         a post's records and operations (attachment,
#                configuration, store item, tag, post preparation)   -> accounts
#   media        sound bites, waveform, playback and their screens   -> core
#   settings     account settings screens                            -> core
#   compose      compose controller, token text, tags, previews      -> media, settings
#   composition  the composition container a host presents           -> compose
#                (its own folder, src/composition, when it lands)
#
# Inside the tree, headers are included as a host includes them: <Quillon/core/attachment.h>.
# A module's include root (build/include/<module>) holds only Quillon/<module>, a link to its
# source folder; that is what keeps the other modules' headers out of sight.

set(QUILLON_MODULES "" CACHE INTERNAL "")
set(QUILLON_EXPORT_ROOT ${PROJECT_BINARY_DIR}/include/export)
set(QUILLON_INCLUDE_ROOTS ${QUILLON_EXPORT_ROOT} CACHE INTERNAL "")

# Automoc (CMake 3.25, Ninja) reruns only when a header it already knows changes, so a header
# added to a module's list in an existing build folder would never be moc'ed (seen when a
# merge added the sound bite view's headers). When the source list changes, drop the
# automoc stamp so the next build rescans the whole target.
function(tulo_rescan_moc_on_new_files target sources)
    set(list_file ${CMAKE_CURRENT_BINARY_DIR}/${target}_sources.txt)
    string(REPLACE ";" "\n" content "${sources}")
    set(previous "")
    if(EXISTS ${list_file})
        file(READ ${list_file} previous)
    endif()
    if(NOT previous STREQUAL content)
        file(WRITE ${list_file} "${content}")
        file(REMOVE ${CMAKE_CURRENT_BINARY_DIR}/${target}_autogen/timestamp)
    endif()
endfunction()

# tulo_add_module(<name> SOURCES <files...> [PUBLIC <targets...>] [PRIVATE <targets...>]):
# quillon_<name> from the explicitly listed sources of src/<name>; PUBLIC are the modules (and
# libraries) its headers need, PRIVATE what only its sources use. Every listed header is
# installed, but private headers (<file>_p.h): what a host does not use goes into one.
function(tulo_add_module name)
    cmake_parse_arguments(arg "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
    set(target quillon_${name})
    set(root ${PROJECT_BINARY_DIR}/include/${name})
    file(MAKE_DIRECTORY ${root}/Quillon)
    if(NOT EXISTS ${root}/Quillon/${name})
        file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${root}/Quillon/${name} SYMBOLIC)
    endif()
    if(NOT arg_SOURCES)
        # A module without code yet still takes its place in the layers.
        add_library(${target} INTERFACE)
        target_include_directories(${target} INTERFACE $<BUILD_INTERFACE:${root}>)
        target_link_libraries(${target} INTERFACE ${arg_PUBLIC})
        set(QUILLON_INCLUDE_ROOTS ${QUILLON_INCLUDE_ROOTS} ${root} CACHE INTERNAL "")
        return()
    endif()
    add_library(${target} OBJECT ${arg_SOURCES})
    # The installed API: the listed headers but the private ones (_p.h), under
    # include/Quillon/<name>/ as the tree includes them.
    foreach(file ${arg_SOURCES})
        if(file MATCHES "\\.h$" AND NOT file MATCHES "_p\\.h$")
            get_filename_component(folder ${file} DIRECTORY)
            install(FILES ${file} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Quillon/${name}/${folder})
        endif()
    endforeach()
    tulo_rescan_moc_on_new_files(${target} "${arg_SOURCES}")
    target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${root}>
        $<BUILD_INTERFACE:${QUILLON_EXPORT_ROOT}>)
    # The objects go into the shared library, so they define (not import) the API. Only what
    # carries QUILLON_EXPORT is visible to a host.
    target_compile_definitions(${target} PRIVATE Quillon_EXPORTS)
    set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    target_link_libraries(${target} PUBLIC ${arg_PUBLIC} PRIVATE ${arg_PRIVATE})
    tulo_precompile(${target} WIDGETS)
    set(QUILLON_MODULES ${QUILLON_MODULES} ${target} CACHE INTERNAL "")
    set(QUILLON_INCLUDE_ROOTS ${QUILLON_INCLUDE_ROOTS} ${root} CACHE INTERNAL "")
endfunction()

# Everything the tree's third-party code may touch: for tests, benchmarks and apps, which
# exercise the backends directly.
add_library(quillon_all_deps INTERFACE)
target_link_libraries(quillon_all_deps INTERFACE
    Qt6::Core Qt6::Gui Qt6::Widgets Qt6::Network Qt6::Concurrent Qt6::DBus Qt6::Multimedia
    Qt6::MultimediaWidgets Qt6::Sensors Qt6::NetworkAuth Qt6::WebEngineCore Qt6::WebEngineWidgets
    Qt6::Svg Qt6Keychain::Qt6Keychain
    PkgConfig::EXIV2 PkgConfig::FFMPEG PkgConfig::SNDFILE PkgConfig::TAGLIB PkgConfig::SQLITE3
    Threads::Threads ${CMAKE_DL_LIBS})
