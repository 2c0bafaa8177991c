quillon_add_test(NAME composepostviewcontroller LABELS composition SOURCES
    tst_composepostviewcontroller.cpp
    ../audio/testaudio.cpp)
quillon_add_test(NAME compositioncontainer SOURCES tst_compositioncontainer.cpp LABELS composition)
quillon_add_test(NAME composewiring LABELS composition SOURCES
    tst_composewiring.cpp
    ../media/photofixtures.cpp
    ../library/mediafixtures.cpp)
