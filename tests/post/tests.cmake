quillon_add_test(NAME preparedphotos LABELS post SOURCES
    tst_preparedphotos.cpp
    ../image/imagecorpus.cpp)
quillon_add_test(NAME preparepostdescription LABELS post SOURCES
    tst_preparepostdescription.cpp
    ../library/mediafixtures.cpp)
