#include <Quillon/platform/error.h>
#include <Quillon/platform/store/storeerror.h>

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
        const TULOError some(TULOErrorDomain, TULOErrorNoAuthor);
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
        QCOMPARE(TULOError(TULOErrorDomain, 121, userInfo).localizedDescription(), expected);
    }

    void underlyingErrorSurvivesUserInfo()
    {
        const TULOError cause(TULOStoreErrorDomain, TULOStoreErrorRequestFailed);
        const TULOError error(TULOErrorDomain, TULOErrorSignInRequired,
                              {{QString::fromLatin1(TULOUnderlyingErrorKey), QVariant::fromValue(cause)}});
        QCOMPARE(error.underlyingError(), cause);
        QVERIFY(error.underlyingError().is(TULOStoreErrorDomain, TULOStoreErrorRequestFailed));
        QVERIFY(TULOError().underlyingError().isNull());
    }

    // Errors come back from disk and other processes with plain string domains; they must match
    // the constants, whose names and code values are part of the API.
    void domainsMatchErrorsReadBack_data()
    {
        QTest::addColumn<QString>("storedDomain");
        QTest::addColumn<qint64>("storedCode");
        QTest::addColumn<bool>("isSignInRequired");
        QTest::newRow("sign in again") << QStringLiteral("TULOErrorDomain") << qint64(2) << true;
        QTest::newRow("other code") << QStringLiteral("TULOErrorDomain") << qint64(3) << false;
        QTest::newRow("store domain, same code") << QStringLiteral("TULOStoreErrorDomain") << qint64(2) << false;
        QTest::newRow("case differs") << QStringLiteral("tuloErrorDomain") << qint64(2) << false;
    }
    void domainsMatchErrorsReadBack()
    {
        QFETCH(QString, storedDomain);
        QFETCH(qint64, storedCode);
        QFETCH(bool, isSignInRequired);
        const TULOError readBack(storedDomain, storedCode);
        QCOMPARE(readBack.is(TULOErrorDomain, TULOErrorSignInRequired), isSignInRequired);
        QCOMPARE(readBack == TULOError(TULOErrorDomain, TULOErrorSignInRequired), isSignInRequired);
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
