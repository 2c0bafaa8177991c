#include <Quillon/core/quillon.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/localizedstringdictionary.h>

#include "support/testsupport.h"

#include <QDirIterator>
#include <QFile>
#include <QLocale>
#include <QRegularExpression>
#include <QTest>
#include <QUrl>
#include <QXmlStreamReader>

namespace {

const QString table = QLatin1String(TULOStringsTablePostComposition);

TULOClientContext contextWithLocale(const QString &locale)
{
    TULOClientContext context(QUrl(QStringLiteral("http://127.0.0.1:9/bag")));
    if (!locale.isNull())
        context.setValueForConfigurationKey(locale, QLatin1String(TULOClientConfigurationLocaleKey));
    return context;
}

// A host with texts of its own for every key.
TULOClientContext hostContextWithLocale(const QString &locale)
{
    TULOClientContext context = contextWithLocale(locale);
    context.setLocalizedStringHandler([](const QString &key, const QString &inTable) {
        return QStringLiteral("host ") + inTable + QLatin1Char(' ') + key;
    });
    return context;
}

QStringList tableKeys()
{
    QFile file(TULOSourcePath(QStringLiteral("resources/translations/postcomposition_en.ts")));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList keys;
    QXmlStreamReader xml(&file);
    while (!xml.atEnd()) {
        if (xml.readNext() == QXmlStreamReader::StartElement && xml.name() == QLatin1String("message"))
            keys << xml.attributes().value(QLatin1String("id")).toString();
    }
    return xml.hasError() ? QStringList() : keys;
}

int placeholderCount(const QString &text)
{
    static const QRegularExpression placeholder(QStringLiteral("%(\\d+\\$)?@"));
    return int(text.count(placeholder));
}

} // namespace

class TestLocalization : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // The lookup without a locale follows the user's locale; pin it.
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    }

    void textsPerLocale_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("expected");
        QTest::newRow("english") << QStringLiteral("en") << QStringLiteral("COMPOSE_TITLE") << QStringLiteral("New Post");
        QTest::newRow("british reads english") << QStringLiteral("en_GB") << QStringLiteral("COMPOSE_POST_BUTTON") << QStringLiteral("Post");
        QTest::newRow("german") << QStringLiteral("de_DE") << QStringLiteral("COMPOSE_TITLE") << QStringLiteral("Neuer Beitrag");
        QTest::newRow("austrian reads german") << QStringLiteral("de_AT") << QStringLiteral("YES") << QStringLiteral("Ja");
        QTest::newRow("german umlaut") << QStringLiteral("de") << QStringLiteral("BACK_BUTTON_TITLE") << QStringLiteral("Zurück");
        QTest::newRow("format key") << QStringLiteral("de") << QStringLiteral("ATTRIBUTION_PERSON_%@_FROM_GROUP_%@") << QStringLiteral("%@ von %@");
    }
    void textsPerLocale()
    {
        QFETCH(QString, locale);
        QFETCH(QString, key);
        QFETCH(QString, expected);
        QCOMPARE(TULOLocalization::defaultLocalization()->localizedStringForKey(key, table, contextWithLocale(locale)), expected);
    }

    void fallbacks_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("hostHasTexts");
        QTest::addColumn<QString>("expected");
        QTest::newRow("missing key, plain host") << QStringLiteral("en") << QStringLiteral("NO_SUCH_KEY") << false << QStringLiteral("NO_SUCH_KEY");
        QTest::newRow("missing key, host text") << QStringLiteral("de") << QStringLiteral("NO_SUCH_KEY") << true << QStringLiteral("host PostComposition NO_SUCH_KEY");
        QTest::newRow("locale without a table, host text") << QStringLiteral("fr_FR") << QStringLiteral("COMPOSE_TITLE") << true << QStringLiteral("host PostComposition COMPOSE_TITLE");
        QTest::newRow("locale without a table, plain host") << QStringLiteral("ja") << QStringLiteral("COMPOSE_TITLE") << false << QStringLiteral("COMPOSE_TITLE");
        QTest::newRow("nonsense locale") << QStringLiteral("zz_!!") << QStringLiteral("COMPOSE_TITLE") << false << QStringLiteral("COMPOSE_TITLE");
        QTest::newRow("unknown table") << QStringLiteral("en") << QStringLiteral("COMPOSE_TITLE") << false << QStringLiteral("COMPOSE_TITLE");
        QTest::newRow("host text not asked when the framework has one") << QStringLiteral("en") << QStringLiteral("NO") << true << QStringLiteral("No");
    }
    void fallbacks()
    {
        QFETCH(QString, locale);
        QFETCH(QString, key);
        QFETCH(bool, hostHasTexts);
        QFETCH(QString, expected);
        const TULOClientContext context = hostHasTexts ? hostContextWithLocale(locale) : contextWithLocale(locale);
        const QString inTable = QString::fromLatin1(QTest::currentDataTag()) == QLatin1String("unknown table")
            ? QStringLiteral("NoSuchTable") : table;
        QCOMPARE(TULOLocalization::defaultLocalization()->localizedStringForKey(key, inTable, context), expected);
    }

    void withoutLocaleTheUsersLocaleIsRead()
    {
        auto *localization = TULOLocalization::defaultLocalization();
        QCOMPARE(localization->localizedStringForKey(QStringLiteral("COMPOSE_TITLE"), table, TULOClientContext()), QStringLiteral("New Post"));
        QCOMPARE(localization->localizedStringForKey(QStringLiteral("COMPOSE_TITLE"), table, contextWithLocale(QString())),
                 QStringLiteral("New Post"));
        // A host with texts is not asked on this path: a missing key answers itself.
        const TULOClientContext host = hostContextWithLocale(QString());
        QCOMPARE(localization->localizedStringForKey(QStringLiteral("NO_SUCH_KEY"), table, host), QStringLiteral("NO_SUCH_KEY"));
        QCOMPARE(localization->localizedStringForKey(QString(), table, host), QStringLiteral(""));
    }

    void cachedDictionaryFollowsTheContextsLocale()
    {
        auto *localization = TULOLocalization::defaultLocalization();
        TULOClientContext context = contextWithLocale(QStringLiteral("de"));
        const QString key = QStringLiteral("COMPOSE_CANCEL_BUTTON");
        QCOMPARE(localization->localizedStringForKey(key, table, context), QStringLiteral("Abbrechen"));
        context.setValueForConfigurationKey(QStringLiteral("en"), QLatin1String(TULOClientConfigurationLocaleKey));
        QCOMPARE(localization->localizedStringForKey(key, table, context), QStringLiteral("Cancel"));
        // Another context with another locale in between must not leave a stale dictionary.
        QCOMPARE(localization->localizedStringForKey(key, table, contextWithLocale(QStringLiteral("de_DE"))), QStringLiteral("Abbrechen"));
        QCOMPARE(localization->localizedStringForKey(key, table, context), QStringLiteral("Cancel"));
    }

    void categoryNames_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("expected");
        QTest::newRow("english") << QStringLiteral("en") << QStringLiteral("AlternateVersion") << QStringLiteral("Alternate Version");
        QTest::newRow("german") << QStringLiteral("de") << QStringLiteral("WorkInProgress") << QStringLiteral("Unfertige Version");
        QTest::newRow("no text") << QStringLiteral("en") << QStringLiteral("Polka") << QStringLiteral("Polka");
        QTest::newRow("no text, no locale") << QString() << QStringLiteral("Polka") << QStringLiteral("Polka");
        QTest::newRow("locale without a table") << QStringLiteral("fr") << QStringLiteral("Song") << QStringLiteral("Song");
        QTest::newRow("empty name") << QStringLiteral("en") << QString() << QString();
    }
    void categoryNames()
    {
        QFETCH(QString, locale);
        QFETCH(QString, name);
        QFETCH(QString, expected);
        QCOMPARE(TULOLocalization::defaultLocalization()->localizedStringForCategoryName(name, contextWithLocale(locale)), expected);
    }

    void formats_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("expected");
        QTest::newRow("in order") << QStringLiteral("%@ from %@") << QStringList{QStringLiteral("Ann"), QStringLiteral("Band")} << QStringLiteral("Ann from Band");
        QTest::newRow("numbered, reordered") << QStringLiteral("%2$@: %1$@") << QStringList{QStringLiteral("a"), QStringLiteral("b")} << QStringLiteral("b: a");
        QTest::newRow("percent sign") << QStringLiteral("100%% %@") << QStringList{QStringLiteral("x")} << QStringLiteral("100% x");
        QTest::newRow("missing argument") << QStringLiteral("%@ and %@") << QStringList{QStringLiteral("one")} << QStringLiteral("one and ");
        QTest::newRow("argument holding a placeholder") << QStringLiteral("%@ %@") << QStringList{QStringLiteral("%@"), QStringLiteral("b")} << QStringLiteral("%@ b");
        QTest::newRow("lone percent at the end") << QStringLiteral("50%") << QStringList{} << QStringLiteral("50%");
        QTest::newRow("number without dollar") << QStringLiteral("%1 left") << QStringList{QStringLiteral("x")} << QStringLiteral("%1 left");
        QTest::newRow("number zero") << QStringLiteral("[%0$@]") << QStringList{QStringLiteral("x")} << QStringLiteral("[]");
    }
    void formats()
    {
        QFETCH(QString, format);
        QFETCH(QStringList, arguments);
        QFETCH(QString, expected);
        QCOMPARE(TULOStringWithFormat(format, arguments), expected);
    }

    // Every key the framework's code asks for must have an English text.
    void everyKeyInTheCodeHasEnglishText()
    {
        // Upper-case quoted names are text keys, except the project's environment variables (QUILLON_*).
        static const QRegularExpression quotedKey(QStringLiteral("\"((?!QUILLON_)[A-Z][A-Z0-9]*(?:_[A-Z0-9%@]+)+|YES|NO)\""));
        static const QRegularExpression notAText(QStringLiteral("getenv|qputenv|qEnvironmentVariable|QProcessEnvironment"));
        const TULOLocalizedStringDictionary english(QStringLiteral("en"));
        QStringList missing;
        int keysSeen = 0;
        QDirIterator files(TULOSourcePath(QStringLiteral("src")), {QStringLiteral("*.cpp"), QStringLiteral("*.h")},
                           QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
            for (const QString &line : lines) {
                if (line.contains(notAText))
                    continue;
                for (auto match = quotedKey.globalMatch(line); match.hasNext();) {
                    const QString key = match.next().captured(1);
                    ++keysSeen;
                    if (english.stringForKey(key, table).isNull())
                        missing << key + QStringLiteral(" (") + files.fileName() + QLatin1Char(')');
                }
            }
        }
        QVERIFY(keysSeen > 0); // the scan found the framework's own keys
        QVERIFY2(missing.isEmpty(), qPrintable(QStringLiteral("no English text for: ") + missing.join(QStringLiteral(", "))));
    }

    void germanTableIsComplete()
    {
        const QStringList keys = tableKeys();
        QVERIFY(keys.size() > 100);
        const TULOLocalizedStringDictionary english(QStringLiteral("en"));
        const TULOLocalizedStringDictionary german(QStringLiteral("de"));
        for (const QString &key : keys) {
            const QString en = english.stringForKey(key, table);
            const QString de = german.stringForKey(key, table);
            QVERIFY2(!en.isEmpty(), qPrintable(key));
            QVERIFY2(!de.isEmpty(), qPrintable(key));
            // A translation that drops or adds a placeholder loses a name or shows garbage.
            QVERIFY2(placeholderCount(en) == placeholderCount(de), qPrintable(key));
            // A format key names its placeholders; the delete confirmation's pattern is filled
            // into the key itself and its text has none, and the Facebook unlink message is a
            // format filled with the author's name although its key names no placeholder.
            if (key == QLatin1String("ACCOUNT_MANAGE_UNLINK_CONFIRMATION_MESSAGE_FACEBOOK"))
                QCOMPARE(placeholderCount(en), 1);
            else if (!key.startsWith(QLatin1String("ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_")))
                QVERIFY2(placeholderCount(en) == int(key.count(QStringLiteral("%@"))), qPrintable(key));
        }
    }
};

QTEST_GUILESS_MAIN(TestLocalization)
#include "tst_localization.moc"
