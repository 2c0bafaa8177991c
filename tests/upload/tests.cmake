quillon_add_test(NAME feedpage SOURCES tst_feedpage.cpp LABELS upload)
quillon_add_test(NAME postendpoint SOURCES tst_postendpoint.cpp LABELS upload)
quillon_add_test(NAME postupload SOURCES tst_postupload.cpp LABELS upload)
quillon_add_test(NAME storedownload SOURCES tst_storedownload.cpp LABELS upload)
