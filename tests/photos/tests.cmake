quillon_add_test(NAME photolibrary LABELS photos SOURCES
    tst_photolibrary.cpp
    ../image/imagecorpus.cpp)
