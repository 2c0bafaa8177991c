#include "outboxwait.h"

#include <Quillon/platform/store/postoutbox.h>

#include <QDateTime>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QTextStream>
#include <QTimer>

#include <unistd.h>

namespace {

QString bytes(qint64 count)
{
    return QLocale::c().formattedDataSize(count, 1, QLocale::DataSizeTraditionalFormat);
}

QString duration(qint64 seconds)
{
    if (seconds >= 3600)
        return QStringLiteral("%1:%2:%3").arg(seconds / 3600).arg(seconds / 60 % 60, 2, 10, QLatin1Char('0')).arg(seconds % 60, 2, 10, QLatin1Char('0'));
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

QString age(const QDateTime &created)
{
    const qint64 seconds = qMax<qint64>(0, created.secsTo(QDateTime::currentDateTimeUtc()));
    if (seconds < 120)
        return QStringLiteral("%1 s").arg(seconds);
    if (seconds < 2 * 3600)
        return QStringLiteral("%1 min").arg(seconds / 60);
    if (seconds < 2 * 86400)
        return QStringLiteral("%1 h").arg(seconds / 3600);
    return QStringLiteral("%1 days").arg(seconds / 86400);
}

} // namespace

TULOOutboxWait::TULOOutboxWait(TULOPostOutbox *outbox, const QString &command, QObject *parent)
    : QObject(parent)
    , m_outbox(outbox)
    , m_command(command)
    , m_terminal(::isatty(STDERR_FILENO) == 1)
{
}

QString TULOOutboxWait::shortKey(const QString &key)
{
    return key.left(8);
}

QString TULOOutboxWait::describe(const TULOPostOutboxEntry &entry)
{
    QString text = entry.description.value(QStringLiteral("text")).toString().simplified();
    if (text.size() > 40)
        text = text.left(39) + QChar(0x2026);
    const int files = entry.manifest.value(QStringLiteral("files")).toArray().size();
    QString what = text.isEmpty() ? QStringLiteral("without text") : QStringLiteral("\"%1\"").arg(text);
    if (files > 0)
        what += QStringLiteral(", %1 file%2, %3").arg(files).arg(files == 1 ? "" : "s", bytes(entry.size));
    return QStringLiteral("%1 (%2, written %3 ago)").arg(shortKey(entry.idempotencyKey), what, age(entry.created));
}

QString TULOOutboxWait::label(const QString &key) const
{
    return key == m_own ? QStringLiteral("your post") : QStringLiteral("queued post %1").arg(shortKey(key));
}

void TULOOutboxWait::say(const QString &line)
{
    clearProgress();
    QTextStream(stderr) << "quillon " << m_command << ": " << line << Qt::endl;
    drawProgress();
}

void TULOOutboxWait::printLanded(const QString &key, const QUrl &url)
{
    clearProgress();
    QTextStream out(stdout);
    if (m_json)
        out << QJsonDocument(QJsonObject {{QStringLiteral("feed"), url.toString()}, {QStringLiteral("key"), key},
                                 {QStringLiteral("queued"), key != m_own}})
                   .toJson(QJsonDocument::Compact)
            << '\n';
    else if (key == m_own || m_own.isEmpty())
        out << "posted: " << url.toString() << '\n';
    else
        out << "posted: " << url.toString() << " (queued post " << shortKey(key) << ")\n";
    out.flush();
    drawProgress();
}

void TULOOutboxWait::clearProgress()
{
    if (!m_terminal || m_drawnLines == 0)
        return;
    // Up to the first progress line, and everything below it away.
    QTextStream(stderr) << "\x1b[" << m_drawnLines << "F\x1b[J" << Qt::flush;
    m_drawnLines = 0;
}

void TULOOutboxWait::drawProgress()
{
    if (!m_terminal)
        return;
    clearProgress();
    QTextStream err(stderr);
    for (const QString &key : std::as_const(m_progressOrder)) {
        const Progress &p = m_progress[key];
        const double seconds = p.clock.elapsed() / 1000.0;
        const double rate = seconds > 0.2 ? p.sent / seconds : 0;
        QString line = QStringLiteral("  %1: %2 of %3").arg(p.label, bytes(p.sent), bytes(p.total));
        if (rate > 0) {
            line += QStringLiteral(", %1/s").arg(bytes(qint64(rate)));
            line += QStringLiteral(", %1 left").arg(duration(qint64((p.total - p.sent) / rate + 0.5)));
        }
        err << line << '\n';
        ++m_drawnLines;
    }
    err.flush();
}

void TULOOutboxWait::finishOne(const QString &key)
{
    m_waiting.remove(key);
    if (m_progress.remove(key))
        m_progressOrder.removeOne(key);
}

void TULOOutboxWait::waitUntilReady(TULOPostOutbox *outbox)
{
    if (outbox->isReady())
        return;
    QEventLoop loop;
    connect(outbox, &TULOPostOutbox::ready, &loop, &QEventLoop::quit);
    loop.exec();
}

int TULOOutboxWait::run()
{
    // The posts queued by earlier runs are sent too, so the whole outbox must be known.
    waitUntilReady(m_outbox);
    m_outbox->refresh();
    QStringList keys = m_requested;
    if (keys.isEmpty()) {
        for (const TULOPostOutboxEntry &e : m_outbox->entries()) {
            if (e.state == TULOPostOutboxEntry::Pending && e.bagURL == m_bagURL)
                keys.append(e.idempotencyKey);
        }
    }
    for (const QString &key : std::as_const(keys)) {
        if (m_outbox->entry(key))
            m_waiting.insert(key);
    }
    if (!m_own.isEmpty())
        m_waiting.insert(m_own);
    if (m_waiting.isEmpty())
        return Delivered;
    // Only these: a post for another store, or one left for later, is not started to be cut off.
    m_outbox->setSendsRequestedPostsOnly(true);

    QEventLoop loop;
    const auto check = [&] {
        if (m_waiting.isEmpty())
            loop.exit(m_refused > 0 ? Refused : Delivered);
    };
    connect(m_outbox, &TULOPostOutbox::postWillSend, &loop, [&](const QString &key) {
        if (!m_waiting.contains(key))
            return;
        if (key != m_own && !m_announced.contains(key)) {
            m_announced.insert(key);
            if (const auto e = m_outbox->entry(key))
                say(QStringLiteral("sending a post queued earlier: %1").arg(describe(*e)));
        }
        Progress &p = m_progress[key];
        p.label = label(key);
        p.sent = 0;
        p.total = 0;
        p.clock.start();
        if (!m_progressOrder.contains(key))
            m_progressOrder.append(key);
    });
    connect(m_outbox, &TULOPostOutbox::postUploadProgress, &loop, [&](const QString &key, qint64 sent, qint64 total) {
        const auto it = m_progress.find(key);
        if (it == m_progress.end())
            return;
        it->sent = sent;
        it->total = total;
        // A few redraws a second say enough; one per block would flood a slow terminal.
        if (sent == total || !m_drawn.isValid() || m_drawn.elapsed() >= 100) {
            m_drawn.start();
            drawProgress();
        }
    });
    connect(m_outbox, &TULOPostOutbox::postDidFinish, &loop, [&](const QString &key, const QUrl &url) {
        if (!m_waiting.contains(key))
            return;
        finishOne(key);
        printLanded(key, url);
        check();
    });
    connect(m_outbox, &TULOPostOutbox::postDidFail, &loop, [&](const QString &key, const TULOError &error, bool willRetry) {
        if (!m_waiting.contains(key))
            return;
        if (m_progress.remove(key))
            m_progressOrder.removeOne(key);
        const auto e = m_outbox->entry(key);
        if (willRetry) {
            const qint64 wait = e && e->nextAttempt.isValid()
                ? qMax<qint64>(0, QDateTime::currentDateTimeUtc().msecsTo(e->nextAttempt) + 999) / 1000
                : 0;
            say(QStringLiteral("attempt %1 for %2 failed: %3; trying again in %4 s")
                    .arg(e ? e->attempts : 1)
                    .arg(label(key), error.localizedDescription())
                    .arg(wait));
            return;
        }
        finishOne(key);
        ++m_refused;
        const QString reason = error.localizedFailureReason();
        say(QStringLiteral("%1 can never be sent: %2%3. It stays in the outbox; 'quillon outbox discard %4' removes it.")
                .arg(label(key), reason.isEmpty() ? QString() : reason + QStringLiteral(": "),
                    error.localizedDescription(), shortKey(key)));
        check();
    });
    connect(m_outbox, &TULOPostOutbox::postWasRemoved, &loop, [&](const QString &key) {
        if (!m_waiting.contains(key))
            return;
        finishOne(key);
        say(QStringLiteral("%1 left the outbox: another quillon process sent or discarded it").arg(label(key)));
        check();
    });
    connect(m_outbox, &TULOPostOutbox::postDidChange, &loop, [&](const QString &key) {
        if (m_waiting.contains(key) && !m_announced.contains(key) && m_outbox->isSendingElsewhere(key)) {
            m_announced.insert(key);
            say(QStringLiteral("another quillon process is sending %1; waiting for it").arg(label(key)));
        }
    });
    QTimer limit;
    limit.setSingleShot(true);
    connect(&limit, &QTimer::timeout, &loop, [&] { loop.exit(StillQueued); });
    limit.start(qMax(0, m_waitLimit) * 1000);
    // Each retry goes to the head of the line: this run's own post first, then the older ones
    // oldest first, then whatever else waits.
    QStringList order = keys;
    if (!m_own.isEmpty())
        order.prepend(m_own);
    for (auto it = order.crbegin(); it != order.crend(); ++it) {
        TULOError error;
        if (!m_outbox->retry(*it, &error) && m_waiting.remove(*it))
            say(QStringLiteral("%1 cannot be sent now: %2").arg(label(*it), error.localizedDescription()));
    }
    int status = m_waiting.isEmpty() ? (m_refused > 0 ? Refused : Delivered) : loop.exec();
    clearProgress();
    if (status == StillQueued) {
        for (const QString &key : std::as_const(m_waiting)) {
            const auto e = m_outbox->entry(key);
            const QString last = e && e->lastError ? e->lastError.localizedDescription() : QStringLiteral("no answer yet");
            QTextStream(stderr) << "quillon " << m_command << ": " << label(key) << " is still queued after "
                                << m_waitLimit << " s (" << (e ? e->attempts : 0) << " attempts, last: " << last
                                << "). It stays in the outbox; the next 'quillon post' sends it, or now: 'quillon outbox send "
                                << shortKey(key) << "'." << Qt::endl;
        }
    }
    return status;
}
