quillon_add_test(NAME videoframesource SOURCES tst_videoframesource.cpp LABELS platform video)
quillon_add_test(NAME videosurface SOURCES tst_videosurface.cpp LABELS platform video)
