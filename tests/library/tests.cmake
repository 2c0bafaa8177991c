quillon_add_test(NAME medialibrary LABELS library SOURCES
    tst_medialibrary.cpp
    mediafixtures.cpp)
