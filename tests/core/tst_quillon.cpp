#include <Quillon/core/quillon.h>

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>

class TestQuillon : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void constants()
    {
        QCOMPARE(TULOErrorDomain, QStringLiteral("TULOErrorDomain"));
        QCOMPARE(QString::fromLatin1(TULOStringsTablePostComposition), QStringLiteral("PostComposition"));
        QCOMPARE(QuillonVersionNumber, 1.0);
    }

    void versionStringIsAWhatMarker()
    {
        const QString marker = QString::fromLatin1(QuillonVersionString);
        QVERIFY(marker.startsWith(QStringLiteral("@(#)PROGRAM:Quillon  PROJECT:")));
        QVERIFY(marker.endsWith(QLatin1Char('\n')));
        QCOMPARE(marker.count(QLatin1Char('\n')), 1);
        // The project name follows, then "-1".
        static const QRegularExpression shape(QStringLiteral("^@\\(#\\)PROGRAM:Quillon  PROJECT:[A-Za-z][A-Za-z0-9]*-1\\n$"));
        QVERIFY2(shape.match(marker).hasMatch(), qPrintable(marker));
    }

    void temporaryAssetsDirectoryIsNotCreated()
    {
        QStandardPaths::setTestModeEnabled(true);
        const QString shared = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
        QDir(QDir(shared).filePath(QStringLiteral("Library"))).removeRecursively();
        const QString path = TULOTemporaryAssetsDirectoryPath();
        QCOMPARE(path, QDir(shared).filePath(QStringLiteral("Library/com.vantor.Quillon/Assets")));
        QVERIFY(QFileInfo(path).isAbsolute());
        QVERIFY(!QFileInfo::exists(path));
        QVERIFY(!QFileInfo::exists(QDir(shared).filePath(QStringLiteral("Library"))));
    }
};

QTEST_GUILESS_MAIN(TestQuillon)
#include "tst_quillon.moc"
