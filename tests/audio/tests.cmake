quillon_add_test(NAME audiofile LABELS audio SOURCES
    tst_audiofile.cpp
    testaudio.cpp)
quillon_add_test(NAME voicecapture LABELS audio SOURCES
    tst_voicecapture.cpp
    testaudio.cpp)
