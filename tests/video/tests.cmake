quillon_add_test(NAME videoframesource SOURCES tst_videoframesource.cpp LABELS platform video)
