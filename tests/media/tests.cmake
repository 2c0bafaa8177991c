quillon_add_test(NAME audioplayer LABELS media SOURCES
    tst_audioplayer.cpp
    ../audio/testaudio.cpp)
quillon_add_test(NAME audioplayermanager LABELS media SOURCES
    tst_audioplayermanager.cpp
    ../audio/testaudio.cpp)
quillon_add_test(NAME proximitycoordinator SOURCES tst_proximitycoordinator.cpp LABELS media)
quillon_add_test(NAME soundbiteview SOURCES tst_soundbiteview.cpp LABELS media)
quillon_add_test(NAME soundbiteviewcontroller LABELS media SOURCES
    tst_soundbiteviewcontroller.cpp
    ../audio/testaudio.cpp)
quillon_add_test(NAME voicerecorder LABELS media SOURCES
    tst_voicerecorder.cpp
    ../audio/testaudio.cpp)
quillon_add_test(NAME waveformimageproducer SOURCES tst_waveformimageproducer.cpp LABELS media)
quillon_add_test(NAME attachmentalertcontroller LABELS media SOURCES
    tst_attachmentalertcontroller.cpp
    photofixtures.cpp)
quillon_add_test(NAME attachmentdrophandler LABELS media SOURCES
    tst_attachmentdrophandler.cpp
    photofixtures.cpp
    ../library/mediafixtures.cpp)
quillon_add_test(NAME audiopickercontroller LABELS media SOURCES
    tst_audiopickercontroller.cpp
    ../library/mediafixtures.cpp)
quillon_add_test(NAME composeimagepickercontroller LABELS media SOURCES
    tst_composeimagepickercontroller.cpp
    photofixtures.cpp)
quillon_add_test(NAME videocoverimageselectionview SOURCES tst_videocoverimageselectionview.cpp LABELS media video)
quillon_add_test(NAME valuetableviewcontroller SOURCES tst_valuetableviewcontroller.cpp LABELS media)
quillon_add_test(NAME albumselectionviewcontroller SOURCES tst_albumselectionviewcontroller.cpp LABELS media)
quillon_add_test(NAME audiocoverimageselectiontableviewcell SOURCES tst_audiocoverimageselectiontableviewcell.cpp LABELS media)
quillon_add_test(NAME filepathforasseturl SOURCES tst_filepathforasseturl.cpp LABELS media)
