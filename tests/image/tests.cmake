quillon_add_test(NAME metadatastripper LABELS image SOURCES
    tst_metadatastripper.cpp
    imagecorpus.cpp)
