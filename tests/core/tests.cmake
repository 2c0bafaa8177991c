quillon_add_test(NAME attachment LABELS core SOURCES
    tst_attachment.cpp
    ../library/mediafixtures.cpp)
quillon_add_test(NAME attachmentdownloadoperation SOURCES tst_attachmentdownloadoperation.cpp LABELS core)
quillon_add_test(NAME configuration SOURCES tst_configuration.cpp LABELS core)
quillon_add_test(NAME durationformatter SOURCES tst_durationformatter.cpp LABELS core)
quillon_add_test(NAME loadauthoralbums SOURCES tst_loadauthoralbums.cpp LABELS core)
quillon_add_test(NAME loadconfiguration SOURCES tst_loadconfiguration.cpp LABELS core)
quillon_add_test(NAME localization SOURCES tst_localization.cpp LABELS core)
quillon_add_test(NAME quillon SOURCES tst_quillon.cpp LABELS core)
quillon_add_test(NAME storeitem LABELS core SOURCES
    tst_storeitem.cpp
    ../library/mediafixtures.cpp)
quillon_add_test(NAME storeitemartworkrequest SOURCES tst_storeitemartworkrequest.cpp LABELS core)
