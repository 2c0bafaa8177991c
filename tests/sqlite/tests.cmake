quillon_add_test(NAME sqlitedatabase SOURCES tst_sqlitedatabase.cpp LABELS sqlite)
quillon_add_test(NAME sqliteentity SOURCES tst_sqliteentity.cpp LABELS sqlite)
