#include "../audio/testaudio.h"

#include <Quillon/media/audioplayer.h>

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

class StatusLog : public QObject, public TULOAudioPlayerDelegate
{
public:
    void audioPlayerDidChangeStatus(TULOAudioPlayer *player, const TULOAudioPlayerStatus &status) override
    {
        statuses.append(status);
        // A copy: later changes of the player's status do not reach it.
        copiesMatch = copiesMatch && player->status() == status;
    }
    void audioPlayerDidFailWithError(TULOAudioPlayer *player, const TULOError &error) override
    {
        errors.append(error);
        stateAtFailure = player->status().state();
    }
    qsizetype count(qint64 state) const
    {
        return std::count_if(statuses.cbegin(), statuses.cend(), [state](const auto &s) { return s.state() == state; });
    }

    QList<TULOAudioPlayerStatus> statuses;
    QList<TULOError> errors;
    bool copiesMatch = true;
    qint64 stateAtFailure = -1;
};

} // namespace

class TestAudioPlayer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_short = m_dir.filePath(QStringLiteral("short.wav"));
        QVERIFY(TULOTestWriteWav(m_short, TULOTestSineSamples(1.5, 440, 0.3)));
    }

    void statusCopiesCarryAllFields()
    {
        TULOAudioPlayerStatus status;
        QCOMPARE(status.state(), TULOAudioPlayerStatus::Idle);
        status.setCurrentTime(1.5);
        status.setDuration(3.0);
        status.setState(TULOAudioPlayerStatus::Paused);
        status.setError(TULOError(QStringLiteral("d"), 7));
        TULOAudioPlayerStatus copy = status;
        QCOMPARE(copy, status);
        copy.setCurrentTime(2.0);
        QCOMPARE(status.currentTime(), 1.5);
    }

    // With display-refresh updates every refresh sends a status, an unchanged one too.
    void displayRefreshPlaysToTheEnd()
    {
        TULOAudioPlayer player(QUrl::fromLocalFile(m_short));
        StatusLog log;
        player.setDelegate(&log);
        player.setUsesDisplayRefresh(true);
        player.play();
        QVERIFY(log.statuses.isEmpty()); // play itself sends nothing
        QTRY_VERIFY_WITH_TIMEOUT(log.count(TULOAudioPlayerStatus::Playing) >= 3, 20000);
        player.pause();
        QTRY_VERIFY_WITH_TIMEOUT(log.count(TULOAudioPlayerStatus::Paused) >= 3, 20000);
        const TULOAudioPlayerStatus paused = log.statuses.constLast();
        QTRY_VERIFY_WITH_TIMEOUT(log.count(TULOAudioPlayerStatus::Paused) >= 6, 20000);
        QCOMPARE(log.statuses.constLast().currentTime(), paused.currentTime()); // paused: the time stands
        player.togglePlayback();
        QTRY_VERIFY_WITH_TIMEOUT(log.count(TULOAudioPlayerStatus::PlayedToEnd) == 1, 30000);
        const auto end = std::find_if(log.statuses.cbegin(), log.statuses.cend(),
                                      [](const auto &s) { return s.state() == TULOAudioPlayerStatus::PlayedToEnd; });
        QVERIFY(std::abs(end->currentTime() - 1.5) < 0.1);
        player.stop();
        QVERIFY(log.copiesMatch);
        QVERIFY(log.errors.isEmpty());
        double previous = 0.0;
        for (const TULOAudioPlayerStatus &status : std::as_const(log.statuses)) {
            QVERIFY2(status.duration() >= status.currentTime(), qPrintable(QString::number(status.currentTime())));
            QVERIFY(status.currentTime() >= previous); // never runs backwards
            previous = status.currentTime();
        }
        QVERIFY(std::abs(end->duration() - 1.5) < 0.1);
    }

    // Once a second otherwise, the first when playback starts: far fewer updates than
    // refreshes for the same playback.
    void periodicUpdates()
    {
        TULOAudioPlayer player(QUrl::fromLocalFile(m_short));
        StatusLog log;
        player.setDelegate(&log);
        player.play();
        QVERIFY(log.statuses.isEmpty()); // not from inside play
        QTRY_VERIFY_WITH_TIMEOUT(!log.statuses.isEmpty(), 20000);
        QCOMPARE(log.statuses.constFirst().state(), TULOAudioPlayerStatus::Playing);
        // Sent as playback began, not a second into it.
        QVERIFY2(log.statuses.constFirst().currentTime() < 0.5, qPrintable(QString::number(log.statuses.constFirst().currentTime())));
        QTRY_VERIFY_WITH_TIMEOUT(log.count(TULOAudioPlayerStatus::PlayedToEnd) == 1, 30000);
        QVERIFY(log.count(TULOAudioPlayerStatus::Playing) >= 1);
        QVERIFY2(log.statuses.size() <= 6, qPrintable(QString::number(log.statuses.size())));
    }

    void stopSendsNothingAndPlayStartsAgain()
    {
        TULOAudioPlayer player(QUrl::fromLocalFile(m_short));
        StatusLog log;
        player.setDelegate(&log);
        player.setUsesDisplayRefresh(true);
        player.play();
        QTRY_VERIFY_WITH_TIMEOUT(log.count(TULOAudioPlayerStatus::Playing) >= 1, 20000);
        player.stop();
        const qsizetype sent = log.statuses.size();
        QTest::qWait(200);
        QCOMPARE(log.statuses.size(), sent);
        player.play();
        QTRY_VERIFY_WITH_TIMEOUT(log.count(TULOAudioPlayerStatus::PlayedToEnd) == 1, 30000);
    }

    void failures_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::newRow("not audio") << QByteArray(8192, '\x42');
        QTest::newRow("truncated header") << QByteArray("RIFF\x10\0\0\0WAVEfmt ", 16);
        QTest::newRow("missing file") << QByteArray();
    }
    void failures()
    {
        QFETCH(QByteArray, contents);
        const QString path = m_dir.filePath(QStringLiteral("bad-%1.wav").arg(QTest::currentDataTag()));
        if (!contents.isEmpty()) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(contents);
        }
        TULOAudioPlayer player(QUrl::fromLocalFile(path));
        StatusLog log;
        player.setDelegate(&log);
        player.setUsesDisplayRefresh(true);
        player.play();
        QTRY_VERIFY_WITH_TIMEOUT(!log.errors.isEmpty(), 20000);
        QVERIFY(!log.errors.constFirst().isNull());
        QCOMPARE(player.status().error(), log.errors.constLast());
        QCOMPARE(log.stateAtFailure, TULOAudioPlayerStatus::Idle); // failing changes no state
        QCOMPARE(log.count(TULOAudioPlayerStatus::PlayedToEnd), 0);
    }

    void releasedDelegateIsNotCalled()
    {
        TULOAudioPlayer player(QUrl::fromLocalFile(m_short));
        auto log = std::make_unique<StatusLog>();
        player.setDelegate(log.get());
        player.setUsesDisplayRefresh(true);
        player.play();
        QTRY_VERIFY_WITH_TIMEOUT(!log->statuses.isEmpty(), 20000);
        log.reset();
        QVERIFY(!player.delegate());
        QTest::qWait(100); // refreshes keep coming; nobody to tell
        player.stop();
    }

private:
    QTemporaryDir m_dir;
    QString m_short;
};

QTEST_MAIN(TestAudioPlayer)
#include "tst_audioplayer.moc"
