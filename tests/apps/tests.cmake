quillon_add_test(NAME postinput LABELS apps SOURCES
    tst_postinput.cpp
    ../../apps/quillon/postoptions.cpp
    ../../apps/quillon/posttext.cpp
    ../../apps/quillon/postjson.cpp
    ../../apps/quillon/postattachments.cpp
    ../library/mediafixtures.cpp)
quillon_add_script_test(NAME accounts SCRIPT accounts.test.sh LABELS apps)
quillon_add_script_test(NAME outbox SCRIPT outbox.test.sh LABELS apps)
quillon_add_script_test(NAME postcommand SCRIPT postcommand.test.sh LABELS apps)
quillon_add_script_test(NAME storesession SCRIPT storesession.test.sh LABELS apps)
quillon_add_script_test(NAME privatehome SCRIPT privatehome.test.sh LABELS apps)
quillon_add_test(NAME demo SOURCES tst_demo.cpp LABELS apps)
# The test runs the demo host it checks.
add_dependencies(tst_apps_demo quillon-demo)
quillon_add_script_test(NAME footprint SCRIPT footprint.test.sh LABELS apps)
# Preloaded by the footprint test to read the command's maps at its exit.
add_library(quillon_mapsatexit SHARED ${CMAKE_CURRENT_LIST_DIR}/mapsatexit.c)
set_target_properties(quillon_mapsatexit PROPERTIES C_VISIBILITY_PRESET default)
