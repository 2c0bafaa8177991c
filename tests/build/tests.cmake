quillon_add_script_test(NAME install_consumer SCRIPT install_consumer.test.sh LABELS build)
quillon_add_script_test(NAME layers SCRIPT layers.test.sh LABELS build)
quillon_add_script_test(NAME relro SCRIPT relro.test.sh LABELS build)
