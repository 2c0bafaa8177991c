quillon_add_test(NAME endpoints SOURCES tst_endpoints.cpp LABELS sandbox)
quillon_add_test(NAME faults SOURCES tst_faults.cpp LABELS sandbox)
quillon_add_test(NAME lifecycle SOURCES tst_lifecycle.cpp LABELS sandbox)
quillon_add_script_test(NAME executable SCRIPT executable.test.sh LABELS sandbox)
