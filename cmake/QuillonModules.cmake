# One object library per src/ folder; together they make the shared library Quillon.

# Every module sees the same third-party libraries; the Qt ones are public in the library's interface.
add_library(quillon_deps INTERFACE)
target_link_libraries(quillon_deps INTERFACE
    Qt6::Core Qt6::Gui Qt6::Widgets Qt6::Network Qt6::Concurrent Qt6::DBus Qt6::Multimedia
    Qt6::MultimediaWidgets Qt6::Sensors Qt6::NetworkAuth Qt6::WebEngineCore Qt6::WebEngineWidgets
    Qt6::Svg Qt6Keychain::Qt6Keychain
    PkgConfig::EXIV2 PkgConfig::FFMPEG PkgConfig::SNDFILE PkgConfig::TAGLIB PkgConfig::SQLITE3
    Threads::Threads ${CMAKE_DL_LIBS})
target_include_directories(quillon_deps INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>
    $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/src>)

set(QUILLON_MODULES "" CACHE INTERNAL "")

# Automoc (CMake 3.25, Ninja) reruns only when a header it already knows changes, so a header
# added to a globbed target would never be moc'ed. When the source list changes, drop the
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

# tulo_add_module(<folder>): every .cpp/.h below src/<folder>, except files of optional
# plug-in modules (under a "modules/" folder), becomes quillon_<folder>.
function(tulo_add_module folder)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS
        ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h ${CMAKE_CURRENT_SOURCE_DIR}/*.qrc)
    list(FILTER sources EXCLUDE REGEX "/modules/")
    if(NOT sources)
        return() # a folder without code yet
    endif()
    set(target quillon_${folder})
    add_library(${target} OBJECT ${sources})
    tulo_rescan_moc_on_new_files(${target} "${sources}")
    target_link_libraries(${target} PUBLIC quillon_deps)
    tulo_precompile(${target} WIDGETS)
    set(QUILLON_MODULES ${QUILLON_MODULES} ${target} CACHE INTERNAL "")
endfunction()
