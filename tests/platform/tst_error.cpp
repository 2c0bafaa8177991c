#include <Quillon/platform/error.h>

#include <QTest>

class TestError : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nullMeansNoError()
    {
        const TULOError none;
        QVERIFY(none.isNull());
        QVERIFY(!none);
        const TULOError some(QString::fromLatin1(TULOErrorDomain), 0);
        QVERIFY(!some.isNull()); // code 0 is a real error ("no author may post")
    }

    void description_data()
    {
        QTest::addColumn<QVariantMap>("userInfo");
        QTest::addColumn<QString>("expected");
        QTest::newRow("own text") << QVariantMap{{QString::fromLatin1(TULOLocalizedDescriptionKey), QStringLiteral("Disk full")}}
                                  << QStringLiteral("Disk full");
        QTest::newRow("generic") << QVariantMap{}
                                 << QStringLiteral("The operation couldn't be completed. (TULOErrorDomain error 121.)");
    }
    void description()
    {
        QFETCH(QVariantMap, userInfo);
        QFETCH(QString, expected);
        QCOMPARE(TULOError(QString::fromLatin1(TULOErrorDomain), 121, userInfo).localizedDescription(), expected);
    }

    void underlyingErrorSurvivesUserInfo()
    {
        const TULOError cause(QString::fromLatin1(TULOStoreErrorDomain), 100);
        const TULOError error(QString::fromLatin1(TULOErrorDomain), 2,
                              {{QString::fromLatin1(TULOUnderlyingErrorKey), QVariant::fromValue(cause)}});
        QCOMPARE(error.underlyingError(), cause);
        QVERIFY(error.underlyingError().is(QString::fromLatin1(TULOStoreErrorDomain), 100));
        QVERIFY(TULOError().underlyingError().isNull());
    }

    void setErrorWritesOnlyWhenAsked()
    {
        TULOSetError(nullptr, TULOError(QStringLiteral("x"), 1)); // must not crash
        TULOError out;
        TULOSetError(&out, TULOError(QStringLiteral("x"), 1));
        QCOMPARE(out.code(), 1);
    }
};

QTEST_GUILESS_MAIN(TestError)
#include "tst_error.moc"
