#include "../audio/testaudio.h"

#include <Quillon/media/audioplayermanager.h>
#include <Quillon/media/playbutton.h>

#include <QHash>
#include <QTemporaryDir>
#include <QTest>

namespace {

// A row's play button as the audio pickers show it, remembering what it was told.
class Button : public TULOPlayButton
{
public:
    void hideProgressAnimated(bool animated) override
    {
        calls.append(animated ? QStringLiteral("hide:animated") : QStringLiteral("hide"));
        showingProgress = false;
    }
    void showPlayIndicator(bool show) override { calls.append(show ? QStringLiteral("indicator:on") : QStringLiteral("indicator:off")); }
    void setProgress(float value, bool animated) override
    {
        calls.append(QStringLiteral("progress:%1%2").arg(value).arg(animated ? QStringLiteral(":animated") : QString()));
        showingProgress = true;
    }
    bool isShowingProgress() const override { return showingProgress; }

    QStringList calls;
    bool showingProgress = false;
};

class Rows : public QObject, public TULOAudioPlayerManagerDataSource
{
public:
    TULOPlayButton *audioPlayerManagerPlayButtonForRepresentedObject(TULOAudioPlayerManager *, const QVariant &object) override
    {
        return buttons.value(object.toString());
    }
    QHash<QString, Button *> buttons;
};

TULOAudioPlayerStatus statusWith(qint64 state, double currentTime, double duration)
{
    TULOAudioPlayerStatus status;
    status.setState(state);
    status.setCurrentTime(currentTime);
    status.setDuration(duration);
    return status;
}

} // namespace

class TestAudioPlayerManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_song = QUrl::fromLocalFile(m_dir.filePath(QStringLiteral("song.wav")));
        // Long enough for two of the once-a-second updates before the end.
        QVERIFY(TULOTestWriteWav(m_song.toLocalFile(), TULOTestSineSamples(2.5, 330, 0.3)));
        m_longSong = QUrl::fromLocalFile(m_dir.filePath(QStringLiteral("long.wav")));
        QVERIFY(TULOTestWriteWav(m_longSong.toLocalFile(), TULOTestSineSamples(5.0, 330, 0.3)));
    }
    void init()
    {
        m_rows.buttons = {{QStringLiteral("a"), &m_a}, {QStringLiteral("b"), &m_b}};
        m_a = Button();
        m_b = Button();
    }

    void tappingThePlayingItemStopsIt()
    {
        TULOAudioPlayerManager manager;
        manager.setDataSource(&m_rows);
        manager.playAsset(m_song, QStringLiteral("a"));
        QVERIFY(manager.player());
        QCOMPARE(manager.player()->representedObject(), QVariant(QStringLiteral("a")));
        QVERIFY(m_a.calls.isEmpty());
        manager.playAsset(m_song, QString(QStringLiteral("a"))); // an equal object, not the same one
        QVERIFY(!manager.player());
        QVERIFY(m_a.calls.contains(QStringLiteral("hide:animated")));
    }

    void tappingAnotherItemSwitches()
    {
        TULOAudioPlayerManager manager;
        manager.setDataSource(&m_rows);
        manager.playAsset(m_song, QStringLiteral("a"));
        QPointer<TULOAudioPlayer> first = manager.player();
        manager.playAsset(m_song, QStringLiteral("b"));
        QVERIFY(manager.player());
        QVERIFY(manager.player() != first);
        QCOMPARE(manager.player()->representedObject(), QVariant(QStringLiteral("b")));
        QVERIFY(m_a.calls.contains(QStringLiteral("hide:animated")));
        QVERIFY(m_b.calls.isEmpty());
        QTRY_VERIFY(!first); // the old player is gone
    }

    void statusDrivesTheButton_data()
    {
        QTest::addColumn<qint64>("state");
        QTest::addColumn<double>("currentTime");
        QTest::addColumn<double>("duration");
        QTest::addColumn<bool>("alreadyShowingProgress");
        QTest::addColumn<QStringList>("calls");
        QTest::addColumn<bool>("stillPlaying");
        QTest::newRow("playing") << qint64(1) << 0.5 << 2.0 << false
                                 << QStringList{QStringLiteral("progress:0.25"), QStringLiteral("indicator:off")} << true;
        QTest::newRow("playing, progress shown: animated") << qint64(1) << 1.5 << 2.0 << true
                                 << QStringList{QStringLiteral("progress:0.75:animated"), QStringLiteral("indicator:off")} << true;
        QTest::newRow("playing, unknown duration") << qint64(1) << 0.0 << 0.0 << false
                                                   << QStringList{QStringLiteral("indicator:off")} << true;
        QTest::newRow("paused") << qint64(2) << 0.5 << 2.0 << false << QStringList{QStringLiteral("indicator:on")} << true;
        QTest::newRow("ended") << qint64(3) << 2.0 << 2.0 << true
                               << QStringList{QStringLiteral("hide:animated"), QStringLiteral("hide:animated")} << false;
        QTest::newRow("played to end") << qint64(4) << 2.0 << 2.0 << true
                                       << QStringList{QStringLiteral("hide:animated"), QStringLiteral("hide:animated")} << false;
        QTest::newRow("idle") << qint64(0) << 0.0 << 0.0 << false << QStringList{} << true;
    }
    void statusDrivesTheButton()
    {
        QFETCH(qint64, state);
        QFETCH(double, currentTime);
        QFETCH(double, duration);
        QFETCH(bool, alreadyShowingProgress);
        QFETCH(QStringList, calls);
        QFETCH(bool, stillPlaying);
        TULOAudioPlayerManager manager;
        manager.setDataSource(&m_rows);
        manager.playAsset(m_song, QStringLiteral("a"));
        m_a.showingProgress = alreadyShowingProgress;
        manager.audioPlayerDidChangeStatus(manager.player(), statusWith(state, currentTime, duration));
        QCOMPARE(m_a.calls, calls);
        QCOMPARE(manager.player() != nullptr, stillPlaying);
    }

    void failureOfTheCurrentPlayerStopsIt()
    {
        TULOAudioPlayerManager manager;
        manager.setDataSource(&m_rows);
        manager.playAsset(m_song, QStringLiteral("a"));
        TULOAudioPlayer stale(m_song);
        stale.setRepresentedObject(QStringLiteral("b"));
        manager.audioPlayerDidFailWithError(&stale, TULOError(QStringLiteral("d"), 1));
        QVERIFY(manager.player()); // a player that is no longer current is ignored
        QVERIFY(m_b.calls.isEmpty());
        manager.audioPlayerDidFailWithError(manager.player(), TULOError(QStringLiteral("d"), 1));
        QVERIFY(!manager.player());
        QVERIFY(m_a.calls.contains(QStringLiteral("hide:animated")));
    }

    void personalizeRows_data()
    {
        QTest::addColumn<QString>("row");
        QTest::addColumn<bool>("animated");
        QTest::addColumn<QStringList>("calls");
        QTest::newRow("another row") << QStringLiteral("b") << false << QStringList{QStringLiteral("hide")};
        QTest::newRow("another row, animated") << QStringLiteral("b") << true << QStringList{QStringLiteral("hide:animated")};
        QTest::newRow("the playing row") << QStringLiteral("a") << true
                                         << QStringList{QStringLiteral("progress:0.5"), QStringLiteral("indicator:off")};
    }
    void personalizeRows()
    {
        QFETCH(QString, row);
        QFETCH(bool, animated);
        QFETCH(QStringList, calls);
        TULOAudioPlayerManager manager;
        manager.setDataSource(&m_rows);
        manager.playAsset(m_longSong, QStringLiteral("a"));
        // Let the player report a status of its own (once a second), then reuse a cell for `row`.
        QTRY_VERIFY_WITH_TIMEOUT(manager.player() && manager.player()->status().state() == TULOAudioPlayerStatus::Playing
                                     && manager.player()->status().currentTime() > 0.0, 20000);
        const TULOAudioPlayerStatus status = manager.player()->status();
        Button reused;
        manager.personalizePlayButton(&reused, row, animated);
        if (row == QLatin1String("a")) // the progress is the player's own
            calls[0] = QStringLiteral("progress:%1").arg(float(status.currentTime() / status.duration()));
        QCOMPARE(reused.calls, calls);
    }

    void playsToTheEndAndLetsGo()
    {
        TULOAudioPlayerManager manager;
        manager.setDataSource(&m_rows);
        manager.playAsset(m_song, QStringLiteral("a"));
        QTRY_VERIFY_WITH_TIMEOUT(!manager.player(), 30000);
        QVERIFY(m_a.calls.contains(QStringLiteral("indicator:off")));
        QCOMPARE(m_a.calls.constLast(), QStringLiteral("hide:animated"));
        QVERIFY(!m_a.showingProgress);
    }

private:
    QTemporaryDir m_dir;
    QUrl m_song;
    QUrl m_longSong;
    Rows m_rows;
    Button m_a;
    Button m_b;
};

QTEST_MAIN(TestAudioPlayerManager)
#include "tst_audioplayermanager.moc"
