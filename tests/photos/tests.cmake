quillon_add_test(NAME photolibrary LABELS photos SOURCES
    tst_photolibrary.cpp
    ../image/imagecorpus.cpp)
quillon_add_test(NAME photolibraryindex LABELS photos SOURCES
    tst_photolibraryindex.cpp
    ../media/photofixtures.cpp)
