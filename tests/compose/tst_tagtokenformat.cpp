#include <Quillon/compose/tagtokentextattachment.h>
#include <Quillon/core/tag.h>
#include <Quillon/core/tagtokenformat.h>

#include <QtTest>

namespace {

TULOTag makeTag(const QString &entityType, const QString &identifier, const QString &name)
{
    TULOTag tag;
    tag.setEntityType(entityType);
    tag.setIdentifier(identifier);
    tag.setName(name);
    return tag;
}

} // namespace

class TestTagTokenFormat : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writer_data()
    {
        QTest::addColumn<QString>("entityType");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("expected");

        QTest::newRow("all fields") << "artist" << "7" << "Ann" << "@{artist:7:\"Ann\"}";
        QTest::newRow("nil name leaves out the quotes") << "artist" << "7" << QString() << "@{artist:7:}";
        QTest::newRow("empty name keeps the quotes") << "artist" << "7" << QString(0, QChar()) << "@{artist:7:\"\"}";
        QTest::newRow("nil entity type") << QString() << "7" << "Ann" << "@{:7:\"Ann\"}";
        QTest::newRow("nil identifier") << "artist" << QString() << "Ann" << "@{artist::\"Ann\"}";
        QTest::newRow("all nil") << QString() << QString() << QString() << "@{::}";
        QTest::newRow("quote escaped") << "album" << "3" << "The \"Best\"" << "@{album:3:\"The \\\"Best\\\"\"}";
        QTest::newRow("backslash, colon, brace as they stand") << "a:b" << "1:2" << "x\\y:z}"
                                                               << "@{a:b:1:2:\"x\\y:z}\"}";
    }
    void writer()
    {
        QFETCH(QString, entityType);
        QFETCH(QString, identifier);
        QFETCH(QString, name);
        QFETCH(QString, expected);
        const TULOTag tag = makeTag(entityType, identifier, name);
        QCOMPARE(TULOTagTokenString(tag), expected);
        // The token in the text view writes exactly the same.
        QCOMPARE(TULOTagTokenTextAttachment(tag).representedText(), expected);
    }

    // What the writer produces, read back by the consumer's pattern.
    void roundTrip_data()
    {
        QTest::addColumn<QString>("entityType");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("matched");

        QTest::newRow("plain tag") << "artist" << "123" << "Name" << true;
        QTest::newRow("name with spaces and unicode") << "album" << "pl.9" << QString::fromUtf8("Sigur Rós live") << true;
        QTest::newRow("name with a brace") << "artist" << "1" << "a}b" << true;
        QTest::newRow("empty entity type is raw text") << QString() << "123" << "Name" << false;
        QTest::newRow("empty identifier is raw text") << "artist" << QString() << "Name" << false;
        QTest::newRow("missing name is raw text") << "artist" << "123" << QString() << false;
        QTest::newRow("escaped quote is raw text") << "artist" << "123" << "Say \"hi\"" << false;
    }
    void roundTrip()
    {
        QFETCH(QString, entityType);
        QFETCH(QString, identifier);
        QFETCH(QString, name);
        QFETCH(bool, matched);
        const QString token = TULOTagTokenString(makeTag(entityType, identifier, name));
        const QString text = QStringLiteral("before ") + token + QStringLiteral(" after");
        const QRegularExpressionMatch match = TULOTagTokenRegularExpression().match(text);
        QCOMPARE(match.hasMatch(), matched);
        const QString resolved = TULOStringByReplacingTagTokensWithNames(text);
        if (matched) {
            QCOMPARE(match.captured(0), token);
            QCOMPARE(match.captured(1), name);
            QCOMPARE(resolved, QStringLiteral("before ") + name + QStringLiteral(" after"));
        } else {
            QCOMPARE(resolved, text);
        }
    }

    // Text back to tokens, as a draft is restored: every field as written, nil staying nil.
    void reader_data()
    {
        QTest::addColumn<QString>("entityType");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("readable");

        QTest::newRow("all fields") << "artist" << "7" << "Ann" << true;
        QTest::newRow("nil name") << "artist" << "7" << QString() << true;
        QTest::newRow("empty name") << "artist" << "7" << QString(0, QChar()) << true;
        QTest::newRow("nil entity type and identifier") << QString() << QString() << "Ann" << true;
        QTest::newRow("escaped quotes") << "album" << "3" << "The \"Best\" \"Of\"" << true;
        QTest::newRow("backslash and brace in the name") << "artist" << "1" << "x\\y:z}" << true;
        QTest::newRow("colon in the type stays text") << "a:b" << "1" << "Ann" << false;
    }
    void reader()
    {
        QFETCH(QString, entityType);
        QFETCH(QString, identifier);
        QFETCH(QString, name);
        QFETCH(bool, readable);
        const QString token = TULOTagTokenString(makeTag(entityType, identifier, name));
        const QString before = QStringLiteral("Zürich @ {x} with ");
        const QList<TULOTagTokenMatch> found = TULOTagTokensInString(before + token + QStringLiteral(" and @{artist:2:\"B\"}"));
        QCOMPARE(found.size(), readable ? 2 : 1);
        QCOMPARE(found.constLast().tag.name(), QStringLiteral("B"));
        if (!readable)
            return;
        const TULOTagTokenMatch &first = found.constFirst();
        QCOMPARE(first.start, before.size());
        QCOMPARE(first.length, token.size());
        QCOMPARE(first.tag.entityType(), entityType);
        QCOMPARE(first.tag.entityType().isNull(), entityType.isNull());
        QCOMPARE(first.tag.identifier(), identifier);
        QCOMPARE(first.tag.name(), name);
        QCOMPARE(first.tag.name().isNull(), name.isNull());
        // Written again, the same token.
        QCOMPARE(TULOTagTokenString(first.tag), token);
    }

    void replacesEveryToken()
    {
        const QString text = TULOTagTokenString(makeTag("artist", "123", "Name")) + QStringLiteral(" hi ")
            + TULOTagTokenString(makeTag("album", "5", "Other"));
        QCOMPARE(TULOStringByReplacingTagTokensWithNames(text), QStringLiteral("Name hi Other"));
    }
};

QTEST_MAIN(TestTagTokenFormat)
#include "tst_tagtokenformat.moc"
