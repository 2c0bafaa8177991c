#include <Quillon/platform/clientcontext.h>

#include <QCoreApplication>
#include <QTest>
#include <QTranslator>

namespace {

// A host translator that knows one text, as an application's own catalogue would.
class TULOHostTranslator : public QTranslator
{
public:
    QString translate(const char *context, const char *sourceText, const char *, int) const override
    {
        if (qstrcmp(context, "PostComposition") == 0 && qstrcmp(sourceText, "HOST_ONLY_KEY") == 0)
            return QStringLiteral("From the host");
        return QString();
    }
    bool isEmpty() const override { return false; }
};

TULOClientContext makeContext()
{
    return TULOClientContext(QUrl(QStringLiteral("http://127.0.0.1:9/bag")));
}

} // namespace

class TestClientContext : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void localeValue_data()
    {
        QTest::addColumn<QVariant>("locale");
        QTest::addColumn<QString>("expected");
        QTest::newRow("locale name") << QVariant(QStringLiteral("de_DE")) << QStringLiteral("de_DE");
        QTest::newRow("absent") << QVariant() << QString();
        QTest::newRow("wrong type") << QVariant(49) << QString();
        QTest::newRow("list") << QVariant(QStringList{QStringLiteral("de")}) << QString();
    }
    void localeValue()
    {
        QFETCH(QVariant, locale);
        QFETCH(QString, expected);
        TULOClientContext context = makeContext();
        context.setValueForConfigurationKey(locale, QLatin1String(TULOClientConfigurationLocaleKey));
        QCOMPARE(context.locale(), expected);
    }

    void configurationOnlyContext()
    {
        TULOClientContext context({{QLatin1String(TULOClientConfigurationLocaleKey), QStringLiteral("de")},
                                   {QLatin1String(TULOClientConfigurationStorefrontSuffixKey), QStringLiteral("-1,29")}});
        QVERIFY(!context.isNull());
        QVERIFY(context.bagURL().isEmpty());
        QCOMPARE(context.locale(), QStringLiteral("de"));
        QCOMPARE(context.storefrontSuffix(), QStringLiteral("-1,29"));
        context.setValueForConfigurationKey(QVariant(), QLatin1String(TULOClientConfigurationStorefrontSuffixKey));
        QCOMPARE(context.configuration().keys(), QStringList{QLatin1String(TULOClientConfigurationLocaleKey)});
    }

    void hostTextsComeFromTheApplicationsTranslators()
    {
        const TULOClientContext context = makeContext();
        const QString table = QStringLiteral("PostComposition");
        QCOMPARE(context.localizedStringForKey(QStringLiteral("HOST_ONLY_KEY"), table), QStringLiteral("HOST_ONLY_KEY"));
        TULOHostTranslator translator;
        QCoreApplication::installTranslator(&translator);
        QCOMPARE(context.localizedStringForKey(QStringLiteral("HOST_ONLY_KEY"), table), QStringLiteral("From the host"));
        QCOMPARE(context.localizedStringForKey(QStringLiteral("HOST_ONLY_KEY"), QStringLiteral("OtherTable")),
                 QStringLiteral("HOST_ONLY_KEY"));
        QCoreApplication::removeTranslator(&translator);
    }

    void hostHandlerIsSharedByCopies()
    {
        TULOClientContext context = makeContext();
        const TULOClientContext copy = context;
        context.setLocalizedStringHandler([](const QString &key, const QString &table) { return table + QLatin1Char(':') + key; });
        QCOMPARE(copy.localizedStringForKey(QStringLiteral("K"), QStringLiteral("T")), QStringLiteral("T:K"));
        context.setLocalizedStringHandler(nullptr);
        QCOMPARE(copy.localizedStringForKey(QStringLiteral("K"), QStringLiteral("T")), QStringLiteral("K"));
    }

    void nullContextAnswersTheKey()
    {
        TULOClientContext none;
        QVERIFY(none.isNull());
        none.setLocalizedStringHandler([](const QString &, const QString &) { return QStringLiteral("never"); });
        QCOMPARE(none.localizedStringForKey(QStringLiteral("COMPOSE_TITLE"), QStringLiteral("PostComposition")),
                 QStringLiteral("COMPOSE_TITLE"));
        QVERIFY(none.locale().isNull());
    }
};

QTEST_GUILESS_MAIN(TestClientContext)
#include "tst_clientcontext.moc"
