quillon_add_test(NAME metadatastripper LABELS image SOURCES
    tst_metadatastripper.cpp
    imagecorpus.cpp)
quillon_add_test(NAME metadatacorpus LABELS image SOURCES
    tst_metadatacorpus.cpp
    imagecorpus.cpp)
quillon_add_test(NAME imagecoloranalyzer SOURCES tst_imagecoloranalyzer.cpp LABELS image)
quillon_add_test(NAME thumbnailcache SOURCES tst_thumbnailcache.cpp LABELS image)
