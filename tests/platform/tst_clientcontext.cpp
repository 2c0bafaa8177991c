#include "platform/clientcontext.h"

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

} // namespace

class TestClientContext : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void configurationValues_data()
    {
        QTest::addColumn<QVariant>("locale");
        QTest::addColumn<QString>("expectedLocale");
        QTest::newRow("locale name") << QVariant(QStringLiteral("de_DE")) << QStringLiteral("de_DE");
        QTest::newRow("padded") << QVariant(QStringLiteral(" en ")) << QStringLiteral("en");
        QTest::newRow("empty") << QVariant(QString()) << QString();
        QTest::newRow("absent") << QVariant() << QString();
        QTest::newRow("wrong type") << QVariant(49) << QString();
        QTest::newRow("list") << QVariant(QStringList{QStringLiteral("de")}) << QString();
    }
    void configurationValues()
    {
        QFETCH(QVariant, locale);
        QFETCH(QString, expectedLocale);
        TULOClientContext context;
        context.setValueForConfigurationKey(locale, QLatin1String(TULOClientConfigurationLocaleKey));
        QCOMPARE(context.localeName(), expectedLocale);
        QCOMPARE(context.localeName().isNull(), expectedLocale.isNull());
    }

    void settingAndRemovingValues()
    {
        TULOClientContext context({{QLatin1String(TULOClientConfigurationStorefrontSuffixKey), QStringLiteral("-1,29")}});
        QCOMPARE(context.storefrontSuffix(), QStringLiteral("-1,29"));
        context.setValueForConfigurationKey(QVariant(), QLatin1String(TULOClientConfigurationStorefrontSuffixKey));
        QVERIFY(context.storefrontSuffix().isNull());
        QVERIFY(context.configuration().isEmpty());
    }

    void hostTextsComeFromTheApplicationsTranslators()
    {
        const TULOClientContext context;
        QCOMPARE(context.localizedStringForKey(QStringLiteral("HOST_ONLY_KEY"), QStringLiteral("PostComposition")),
                 QStringLiteral("HOST_ONLY_KEY"));
        TULOHostTranslator translator;
        QCoreApplication::installTranslator(&translator);
        QCOMPARE(context.localizedStringForKey(QStringLiteral("HOST_ONLY_KEY"), QStringLiteral("PostComposition")),
                 QStringLiteral("From the host"));
        QCOMPARE(context.localizedStringForKey(QStringLiteral("HOST_ONLY_KEY"), QStringLiteral("OtherTable")),
                 QStringLiteral("HOST_ONLY_KEY"));
        QCoreApplication::removeTranslator(&translator);
    }

    void hostMayOverrideTheFallback()
    {
        class Host : public TULOClientContext
        {
        public:
            QString localizedStringForKey(const QString &key, const QString &table) const override
            {
                return table + QLatin1Char(':') + key;
            }
        };
        const Host host;
        const TULOClientContext &context = host;
        QCOMPARE(context.localizedStringForKey(QStringLiteral("K"), QStringLiteral("T")), QStringLiteral("T:K"));
    }
};

QTEST_GUILESS_MAIN(TestClientContext)
#include "tst_clientcontext.moc"
