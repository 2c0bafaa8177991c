// quillon outbox: what waits to be sent, and sending or dropping it by hand.

#include "command.h"
#include "outboxwait.h"
#include "postsession.h"

#include <Quillon/platform/store/postoutbox.h>
#include <Quillon/platform/store/storeerror.h>

#include <QCommandLineParser>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTextStream>

#include <unistd.h>

namespace {

const QString kCommand = QStringLiteral("outbox");

// A key as typed: the whole key or a start of it that only one post has.
QString resolveKey(const TULOPostOutbox &outbox, const QString &typed, QString *problem)
{
    QStringList matches;
    for (const TULOPostOutboxEntry &e : outbox.entries()) {
        if (e.idempotencyKey == typed)
            return typed;
        if (typed.size() >= 4 && e.idempotencyKey.startsWith(typed, Qt::CaseInsensitive))
            matches << e.idempotencyKey;
    }
    if (matches.size() == 1)
        return matches.first();
    *problem = matches.isEmpty() ? QStringLiteral("no post %1 waits in the outbox (see quillon outbox list)").arg(typed)
                                 : QStringLiteral("%1 names %2 posts; give more of the key").arg(typed).arg(matches.size());
    return QString();
}

QString stateName(const TULOPostOutbox &outbox, const TULOPostOutboxEntry &e)
{
    if (e.state == TULOPostOutboxEntry::Failed)
        return QStringLiteral("refused");
    if (outbox.isSendingElsewhere(e.idempotencyKey))
        return QStringLiteral("sending");
    return QStringLiteral("pending");
}

QString errorInWords(const TULOError &error)
{
    const QString reason = error.localizedFailureReason();
    return reason.isEmpty() ? error.localizedDescription() : reason + QStringLiteral(": ") + error.localizedDescription();
}

int list(const TULOPostOutbox &outbox, bool json)
{
    const QList<TULOPostOutboxEntry> entries = outbox.entries();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QTextStream out(stdout);
    if (json) {
        QJsonArray posts;
        for (const TULOPostOutboxEntry &e : entries) {
            QJsonArray files;
            for (const QString &name : e.fileNamesByPart())
                files.append(name);
            QJsonObject o {{QStringLiteral("key"), e.idempotencyKey}, {QStringLiteral("state"), stateName(outbox, e)},
                {QStringLiteral("attempts"), e.attempts}, {QStringLiteral("size"), double(e.size)},
                {QStringLiteral("created"), e.created.toString(Qt::ISODate)},
                {QStringLiteral("ageSeconds"), double(qMax<qint64>(0, e.created.secsTo(now)))},
                {QStringLiteral("store"), e.bagURL.toString()}, {QStringLiteral("account"), e.accountName},
                {QStringLiteral("text"), e.description.value(QStringLiteral("text")).toString()},
                {QStringLiteral("files"), files}};
            if (e.nextAttempt.isValid())
                o.insert(QStringLiteral("nextAttempt"), e.nextAttempt.toString(Qt::ISODate));
            if (e.lastError) {
                QJsonObject error {{QStringLiteral("message"), e.lastError.localizedDescription()}};
                if (!e.lastError.localizedFailureReason().isEmpty())
                    error.insert(QStringLiteral("reason"), e.lastError.localizedFailureReason());
                const QVariant status = e.lastError.userInfo().value(QString::fromLatin1(TULOStoreHTTPStatusKey));
                if (status.isValid())
                    error.insert(QStringLiteral("httpStatus"), status.toInt());
                o.insert(QStringLiteral("lastError"), error);
            }
            posts.append(o);
        }
        out << QJsonDocument(QJsonObject {{QStringLiteral("posts"), posts}}).toJson(QJsonDocument::Indented);
        return 0;
    }
    if (entries.isEmpty()) {
        out << "The outbox is empty.\n";
        return 0;
    }
    for (const TULOPostOutboxEntry &e : entries) {
        out << stateName(outbox, e).leftJustified(8) << ' ' << QStringLiteral("%1 attempt%2").arg(e.attempts).arg(e.attempts == 1 ? "" : "s").leftJustified(11) << ' '
            << TULOOutboxWait::describe(e) << '\n';
        out << "         store: " << e.bagURL.toString() << '\n';
        if (e.lastError)
            out << "         last error: " << errorInWords(e.lastError) << '\n';
        if (e.state == TULOPostOutboxEntry::Pending && e.nextAttempt.isValid() && e.nextAttempt > now)
            out << "         next try in " << now.secsTo(e.nextAttempt) + 1 << " s\n";
    }
    return 0;
}

int discard(TULOPostOutbox &outbox, const QString &typed, bool confirmed)
{
    QString problem;
    const QString key = resolveKey(outbox, typed, &problem);
    if (key.isEmpty())
        return TULOCommandFail(kCommand, problem);
    const TULOPostOutboxEntry e = *outbox.entry(key);
    if (!confirmed && ::isatty(STDIN_FILENO)) {
        QTextStream(stderr) << "Discard post " << TULOOutboxWait::describe(e)
                            << " and its outbox files? It will not be sent. [y/N] " << Qt::flush;
        QTextStream in(stdin);
        const QString answer = in.readLine().trimmed().toLower();
        if (answer != QLatin1String("y") && answer != QLatin1String("yes"))
            return TULOCommandFail(kCommand, QStringLiteral("nothing discarded"));
    }
    TULOError error;
    if (!outbox.discard(key, &error))
        return TULOCommandFail(kCommand, QStringLiteral("post %1 was not discarded: %2")
                                             .arg(TULOOutboxWait::shortKey(key), error.localizedDescription()));
    QTextStream(stdout) << "discarded: " << key << '\n';
    return 0;
}

int send(const QCommandLineParser &parser, const QStringList &typed)
{
    TULOPostOutbox *outbox = TULOPostOutbox::defaultOutbox();
    QStringList keys;
    for (const QString &t : typed) {
        QString problem;
        const QString key = resolveKey(*outbox, t, &problem);
        if (key.isEmpty())
            return TULOCommandFail(kCommand, problem);
        keys << key;
    }
    QUrl bag;
    if (parser.isSet(QStringLiteral("store"))) {
        bag = QUrl(parser.value(QStringLiteral("store")), QUrl::StrictMode);
        if (!bag.isValid() || (bag.scheme() != QLatin1String("http") && bag.scheme() != QLatin1String("https")))
            return TULOCommandFail(kCommand, QStringLiteral("--store needs the store's bag address (http or https)"), 2);
    }
    bool ok = true;
    const int limit = parser.isSet(QStringLiteral("wait-limit")) ? parser.value(QStringLiteral("wait-limit")).toInt(&ok) : 120;
    if (!ok || limit < 0)
        return TULOCommandFail(kCommand, QStringLiteral("--wait-limit needs a number of seconds, 0 or more"), 2);
    // The store signs the account in again: a queued post may have outlived its session.
    TULOPostSession session;
    TULOError error;
    if (!session.open(bag, &error))
        return TULOCommandFail(kCommand, error.localizedDescription());
    for (const QString &key : std::as_const(keys)) {
        const QUrl wanted = outbox->entry(key)->bagURL;
        if (wanted != session.clientContext().bagURL())
            return TULOCommandFail(kCommand, QStringLiteral("post %1 is for the store at %2; add --store %2")
                                                 .arg(TULOOutboxWait::shortKey(key), wanted.toString()));
    }
    TULOOutboxWait wait(outbox, kCommand);
    wait.setBagURL(session.clientContext().bagURL());
    wait.setPosts(keys);
    wait.setWaitLimit(limit);
    wait.setJSON(parser.isSet(QStringLiteral("json")));
    return wait.run();
}

int run(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "The posts that wait in the outbox to be sent to a store.\n\n"
        "  list [--json]      each post: state (pending, sending, refused), attempts, size, age,\n"
        "                     store and last error\n"
        "  send [KEY...]      sends the posts now, a refused one too; without KEY every post\n"
        "                     pending for the store\n"
        "  discard KEY        drops a post and its outbox files (asks first on a terminal)\n\n"
        "KEY is a post's key or its start, as list shows it.\n"
        "Exit status of send: 0 delivered, 1 refused or an error, 3 still queued after the wait limit."));
    parser.addHelpOption();
    parser.addOptions({
        {QStringLiteral("json"), QStringLiteral("'list' and 'send' print JSON.")},
        {QStringLiteral("store"), QStringLiteral("'send': the store's bag address (default: the embedded sandbox store)."), QStringLiteral("BAG_URL")},
        {QStringLiteral("wait-limit"), QStringLiteral("'send': how long to keep retrying (default 120)."), QStringLiteral("SECONDS")},
        {{QStringLiteral("y"), QStringLiteral("yes")}, QStringLiteral("'discard': do not ask.")},
    });
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("list, send or discard"));
    if (!parser.parse(QStringList {QStringLiteral("quillon outbox")} + arguments))
        return TULOCommandFail(kCommand, parser.errorText(), 2);
    if (parser.isSet(QStringLiteral("help"))) {
        QString help = parser.helpText();
        help.replace(QRegularExpression(QStringLiteral("^Usage: \\S+")), QStringLiteral("Usage: quillon outbox"));
        QTextStream(stdout) << help;
        return 0;
    }
    QStringList positional = parser.positionalArguments();
    const QString verb = positional.isEmpty() ? QStringLiteral("list") : positional.takeFirst();
    // Every verb works on the whole outbox, posts by key included.
    const QStringList verbs {QStringLiteral("list"), QStringLiteral("send"), QStringLiteral("discard")};
    if (verbs.contains(verb))
        TULOOutboxWait::waitUntilReady(TULOPostOutbox::defaultOutbox());
    if (verb == QLatin1String("list")) {
        if (!positional.isEmpty())
            return TULOCommandFail(kCommand, QStringLiteral("unexpected argument '%1'").arg(positional.first()), 2);
        return list(*TULOPostOutbox::defaultOutbox(), parser.isSet(QStringLiteral("json")));
    }
    if (verb == QLatin1String("send"))
        return send(parser, positional);
    if (verb == QLatin1String("discard")) {
        if (positional.size() != 1)
            return TULOCommandFail(kCommand, QStringLiteral("discard takes one post's key (see quillon outbox list)"), 2);
        return discard(*TULOPostOutbox::defaultOutbox(), positional.first(), parser.isSet(QStringLiteral("yes")));
    }
    return TULOCommandFail(kCommand, QStringLiteral("unknown command '%1' (list, send or discard)").arg(verb), 2);
}

const TULOCommandRegistration registration(
    TULOCommand{kCommand, QStringLiteral("list, send or discard the posts waiting in the outbox"), run});

} // namespace
