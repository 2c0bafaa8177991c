quillon_add_test(NAME artworkcatalog SOURCES tst_artworkcatalog.cpp LABELS records)
quillon_add_test(NAME lookupartwork SOURCES tst_lookupartwork.cpp LABELS records)
quillon_add_test(NAME postattachment SOURCES tst_postattachment.cpp LABELS records)
quillon_add_test(NAME postauthor SOURCES tst_postauthor.cpp LABELS records)
