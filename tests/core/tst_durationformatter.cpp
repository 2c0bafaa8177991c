#include <Quillon/core/durationformatter.h>
#include <Quillon/platform/clientcontext.h>

#include <QTest>
#include <QUrl>

#include <limits>

namespace {

TULOClientContext contextWithLocale(const QString &locale)
{
    TULOClientContext context(QUrl(QStringLiteral("http://127.0.0.1:9/bag")));
    context.setValueForConfigurationKey(locale, QLatin1String(TULOClientConfigurationLocaleKey));
    return context;
}

} // namespace

class TestDurationFormatter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stringFromDuration_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("expected");
        QTest::newRow("59.2 s rounds up to a minute") << QStringLiteral("en") << 59.2 << QStringLiteral("0:01:00");
        QTest::newRow("a day, an hour, a minute, a second") << QStringLiteral("en") << 90061.0 << QStringLiteral("1:01:01");
        QTest::newRow("just past a whole second") << QStringLiteral("en") << 1.0001 << QStringLiteral("0:00:02");
        QTest::newRow("whole seconds stay") << QStringLiteral("en") << 3599.0 << QStringLiteral("0:59:59");
        QTest::newRow("ten hours") << QStringLiteral("en") << 36000.0 << QStringLiteral("10:00:00");
        QTest::newRow("last hour of a day") << QStringLiteral("en") << 86399.0 << QStringLiteral("23:59:59");
        QTest::newRow("a whole day reads zero") << QStringLiteral("en") << 86400.0 << QStringLiteral("0:00:00");
        QTest::newRow("zero") << QStringLiteral("en") << 0.0 << QStringLiteral("0:00:00");
        QTest::newRow("negative") << QStringLiteral("en") << -12.5 << QStringLiteral("0:00:00");
        QTest::newRow("not a number") << QStringLiteral("en") << std::numeric_limits<double>::quiet_NaN() << QStringLiteral("0:00:00");
        QTest::newRow("german") << QStringLiteral("de") << 3725.0 << QStringLiteral("1:02:05");
    }
    void stringFromDuration()
    {
        QFETCH(QString, locale);
        QFETCH(double, seconds);
        QFETCH(QString, expected);
        QCOMPARE(TULODurationFormatter(contextWithLocale(locale)).stringFromDuration(seconds), expected);
    }

    void hugeDurationsDoNotOverflow()
    {
        const TULODurationFormatter formatter(contextWithLocale(QStringLiteral("en")));
        for (const double seconds : {1e300, std::numeric_limits<double>::infinity(), 1.8446744073709552e19}) {
            const QString text = formatter.stringFromDuration(seconds);
            QVERIFY2(text.count(QLatin1Char(':')) == 2, qPrintable(text));
            const QStringList parts = text.split(QLatin1Char(':'));
            QVERIFY(parts.at(0).toInt() < 24);
            QVERIFY(parts.at(1).toInt() < 60);
        }
    }

    void localeDigits()
    {
        // Arabic uses its own digits; the padding must use them too.
        const QLocale arabic(QStringLiteral("ar_EG"));
        const QString expected = QStringLiteral("AUDIO_PICKER_VOICE_MEMO_DURATION_FORMAT_") + arabic.toString(0) + QLatin1Char('_')
            + arabic.zeroDigit() + arabic.toString(1) + QLatin1Char('_') + arabic.toString(5) + arabic.toString(9);
        // No Arabic table: the format is the key itself, as the host context answers it.
        QCOMPARE(TULODurationFormatter(contextWithLocale(QStringLiteral("ar_EG"))).stringFromDuration(119.0), expected);
    }

    void withoutContext()
    {
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        QCOMPARE(TULODurationFormatter(TULOClientContext()).stringFromDuration(61.0), QStringLiteral("0:01:01"));
    }
};

QTEST_GUILESS_MAIN(TestDurationFormatter)
#include "tst_durationformatter.moc"
