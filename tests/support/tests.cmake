quillon_add_test(NAME testhome SOURCES tst_testhome.cpp LABELS support)
