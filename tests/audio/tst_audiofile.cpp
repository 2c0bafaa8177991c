#include "testaudio.h"

#include <Quillon/platform/audio/audiofile.h>

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

std::vector<TULOAudioPacketDescription> packetsFor(qsizetype count)
{
    auto descriptions = std::vector<TULOAudioPacketDescription>(size_t(count));
    for (qsizetype i = 0; i < count; ++i)
        descriptions[size_t(i)] = {i * 2, 0, 2};
    return descriptions;
}

} // namespace

class TestAudioFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void writesLittleEndianCAFThatOutsideReadersRead()
    {
        const QString path = m_dir.filePath(QStringLiteral("take.caf"));
        const std::vector<qint16> samples = TULOTestSineSamples(0.25, 440, 0.8);
        TULOError error;
        auto file = TULOAudioFile::create(path, TULOAudioFileCAFType, TULOSoundBiteStreamFormat(), &error);
        QVERIFY2(file, qPrintable(error.localizedDescription()));
        auto descriptions = packetsFor(qsizetype(samples.size()));
        quint32 packets = quint32(samples.size());
        QCOMPARE(file->writePackets(false, quint32(samples.size() * 2), descriptions.data(), 0, &packets, samples.data()), 0);
        QCOMPARE(packets, quint32(samples.size()));
        QCOMPARE(file->close(), 0);
        QVERIFY(!file->isOpen());

        const TULOTestProbe probe = TULOTestProbeFile(path);
        QVERIFY2(probe.ok, qPrintable(probe.errorText));
        QCOMPARE(probe.formatName, QStringLiteral("caf"));
        QCOMPARE(probe.codecName, QStringLiteral("pcm_s16le"));
        QCOMPARE(probe.sampleRate, 44100);
        QCOMPARE(probe.channels, 1);
        QCOMPARE(probe.frames, qint64(samples.size()));
        QCOMPARE(TULOTestCAFDescFlags(path), 2); // CAF's "little-endian" flag, not the in-memory 12
        bool decoded = false;
        QCOMPARE(TULOTestDecodeSamples(path, &decoded), samples);
        QVERIFY(decoded);
    }

    void createErasesAnExistingFile()
    {
        const QString path = m_dir.filePath(QStringLiteral("old.caf"));
        QFile old(path);
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write(QByteArray(100000, 'x'));
        old.close();
        auto file = TULOAudioFile::create(path, TULOAudioFileCAFType, TULOSoundBiteStreamFormat());
        QVERIFY(file);
        file.reset(); // closes
        QVERIFY(QFile(path).size() < 100000);
        const TULOTestProbe probe = TULOTestProbeFile(path);
        QVERIFY2(probe.ok, qPrintable(probe.errorText));
        QCOMPARE(probe.frames, 0);
    }

    // Packets land at the index they are written at, in order or not.
    void writesAtPacketIndex()
    {
        const QString path = m_dir.filePath(QStringLiteral("indexed.caf"));
        auto file = TULOAudioFile::create(path, TULOAudioFileCAFType, TULOSoundBiteStreamFormat());
        QVERIFY(file);
        const std::vector<qint16> first{1, 2, 3, 4};
        const std::vector<qint16> second{5, 6, 7};
        auto descriptions = packetsFor(4);
        quint32 packets = 4;
        QCOMPARE(file->writePackets(false, 8, descriptions.data(), 0, &packets, first.data()), 0);
        packets = 3;
        QCOMPARE(file->writePackets(false, 6, descriptions.data(), 4, &packets, second.data()), 0);
        packets = 2; // rewrite packets 1 and 2
        const std::vector<qint16> patch{-9, -8};
        QCOMPARE(file->writePackets(false, 4, descriptions.data(), 1, &packets, patch.data()), 0);
        QCOMPARE(packets, 2u);
        QCOMPARE(file->close(), 0);
        QCOMPARE(TULOTestDecodeSamples(path), (std::vector<qint16>{1, -9, -8, 4, 5, 6, 7}));
    }

    void packetsOutsideTheDataEndTheWrite_data()
    {
        QTest::addColumn<int>("badIndex");
        QTest::addColumn<qint64>("badOffset");
        QTest::addColumn<quint32>("badSize");
        QTest::addColumn<quint32>("written");
        QTest::newRow("past the end") << 3 << qint64(10) << 2u << 3u;
        QTest::newRow("negative offset") << 0 << qint64(-2) << 2u << 0u;
        QTest::newRow("wrong packet size") << 2 << qint64(4) << 4u << 2u;
        QTest::newRow("empty packet") << 4 << qint64(8) << 0u << 4u;
    }
    void packetsOutsideTheDataEndTheWrite()
    {
        QFETCH(int, badIndex);
        QFETCH(qint64, badOffset);
        QFETCH(quint32, badSize);
        QFETCH(quint32, written);
        const QString path = m_dir.filePath(QStringLiteral("partial-%1.caf").arg(QTest::currentDataTag()));
        auto file = TULOAudioFile::create(path, TULOAudioFileCAFType, TULOSoundBiteStreamFormat());
        QVERIFY(file);
        const std::vector<qint16> samples{10, 20, 30, 40, 50};
        auto descriptions = packetsFor(5);
        descriptions[size_t(badIndex)] = {badOffset, 0, badSize};
        quint32 packets = 5;
        const qint64 status = file->writePackets(false, 10, descriptions.data(), 0, &packets, samples.data());
        QVERIFY(status != 0);
        QCOMPARE(packets, written);
        QCOMPARE(file->close(), 0);
        const std::vector<qint16> expected(samples.begin(), samples.begin() + written);
        QCOMPARE(TULOTestDecodeSamples(path), expected);
    }

    void creationFailures_data()
    {
        QTest::addColumn<QString>("relativePath");
        QTest::addColumn<quint32>("fileType");
        QTest::addColumn<quint32>("bitsPerChannel");
        QTest::newRow("parent is a file") << QStringLiteral("plain/take.caf") << TULOAudioFileCAFType << 16u;
        QTest::newRow("missing directory") << QStringLiteral("nowhere/deeper/take.caf") << TULOAudioFileCAFType << 16u;
        QTest::newRow("not CAF") << QStringLiteral("take.wav") << 0x57415645u << 16u;
        QTest::newRow("not 16-bit") << QStringLiteral("take24.caf") << TULOAudioFileCAFType << 24u;
    }
    void creationFailures()
    {
        QFETCH(QString, relativePath);
        QFETCH(quint32, fileType);
        QFETCH(quint32, bitsPerChannel);
        QFile plain(m_dir.filePath(QStringLiteral("plain")));
        QVERIFY(plain.open(QIODevice::WriteOnly));
        plain.close();
        TULOAudioStreamBasicDescription format = TULOSoundBiteStreamFormat();
        format.bitsPerChannel = bitsPerChannel;
        const QString path = m_dir.filePath(relativePath);
        TULOError error;
        QVERIFY(!TULOAudioFile::create(path, fileType, format, &error));
        QCOMPARE(error.domain(), TULOOSStatusErrorDomain);
        QVERIFY(error.code() != 0);
        QVERIFY(!error.localizedDescription().isEmpty());
        QVERIFY(!QFile::exists(path));
    }

    void soundBiteFormatIsTheRecordingTable()
    {
        const TULOAudioStreamBasicDescription format = TULOSoundBiteStreamFormat();
        QCOMPARE(format.sampleRate, 44100.0);
        QCOMPARE(format.formatID, 0x6C70636Du);
        QCOMPARE(format.formatFlags, 12u);
        QCOMPARE(format.bytesPerPacket, 2u);
        QCOMPARE(format.framesPerPacket, 1u);
        QCOMPARE(format.bytesPerFrame, 2u);
        QCOMPARE(format.channelsPerFrame, 1u);
        QCOMPARE(format.bitsPerChannel, 16u);
    }

private:
    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(TestAudioFile)
#include "tst_audiofile.moc"
