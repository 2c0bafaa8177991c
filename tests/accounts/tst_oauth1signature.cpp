#include <Quillon/accounts/twitterauthenticationrequest.h>
#include "sandboxoauth1.h"

#include <QTest>
#include <QUrlQuery>
#include <QtNetworkAuth/QOAuth1Signature>

using Parameters = TULOSandboxOAuth1::Parameters;

namespace {

QMultiMap<QString, QVariant> toMultiMap(const Parameters &parameters)
{
    QMultiMap<QString, QVariant> map;
    for (const auto &parameter : parameters)
        map.insert(parameter.first, parameter.second);
    return map;
}

// Form body decoding: "+" is a space, as a form's sender meant it.
Parameters formParameters(const QByteArray &body)
{
    Parameters parameters;
    for (const QByteArray &pair : body.split('&')) {
        const qsizetype equals = pair.indexOf('=');
        QByteArray name = equals < 0 ? pair : pair.left(equals);
        QByteArray value = equals < 0 ? QByteArray() : pair.mid(equals + 1);
        name.replace('+', ' ');
        value.replace('+', ' ');
        parameters.append({QUrl::fromPercentEncoding(name), QUrl::fromPercentEncoding(value)});
    }
    return parameters;
}

} // namespace

class TestOAuth1Signature : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The worked example of RFC 5849 section 3.4.1.1: parameters from the header (without
    // realm and signature), the query and the form body.
    void rfc5849BaseString()
    {
        const QByteArray header =
            "OAuth realm=\"Example\", oauth_consumer_key=\"9djdj82h48djs9d2\", oauth_token=\"kkk9d7dh3k39sjv7\", "
            "oauth_signature_method=\"HMAC-SHA1\", oauth_timestamp=\"137131201\", oauth_nonce=\"7d8f3e4a\", "
            "oauth_signature=\"bYT5CMsGcbgUdFHObYMEfcx6bsw%3D\"";
        Parameters parameters;
        for (const auto &item : TULOSandboxOAuth1::authorizationParameters(header)) {
            QVERIFY(item.first != QLatin1String("realm"));
            if (item.first != QLatin1String("oauth_signature"))
                parameters.append(item);
        }
        QCOMPARE(parameters.size(), 5);
        const QUrl url(QStringLiteral("http://example.com/request?b5=%3D%253D&a3=a&c%40=&a2=r%20b"));
        for (const auto &item : QUrlQuery(url).queryItems(QUrl::FullyDecoded))
            parameters.append(item);
        parameters.append(formParameters("c2&a3=2+q"));

        const QByteArray expected =
            "POST&http%3A%2F%2Fexample.com%2Frequest&a2%3Dr%2520b%26a3%3D2%2520q"
            "%26a3%3Da%26b5%3D%253D%25253D%26c%2540%3D%26c2%3D%26oauth_consumer_"
            "key%3D9djdj82h48djs9d2%26oauth_nonce%3D7d8f3e4a%26oauth_signature_m"
            "ethod%3DHMAC-SHA1%26oauth_timestamp%3D137131201%26oauth_token%3Dkkk"
            "9d7dh3k39sjv7";
        QCOMPARE(TULOSandboxOAuth1::signatureBaseString("post", url, parameters), expected);

        // The framework's signer agrees on the encoding of these values. It keeps one value per
        // name and sorts names before encoding them, so it differs for a repeated name ("a3")
        // and for one with a reserved character ("c@"); the access-token request has neither,
        // so the comparison leaves those out.
        Parameters unique;
        for (const auto &parameter : std::as_const(parameters)) {
            if (parameter != qMakePair(QStringLiteral("a3"), QStringLiteral("2 q")) && parameter.first != QLatin1String("c@"))
                unique.append(parameter);
        }
        QCOMPARE(unique.size(), parameters.size() - 2);
        QUrl base = url;
        base.setQuery(QString());
        const QOAuth1Signature signature(base, QStringLiteral("j49sk3j29djd"), QStringLiteral("dh893hdasih9"),
                                         QOAuth1Signature::HttpRequestMethod::Post, toMultiMap(unique));
        QCOMPARE(signature.hmacSha1().toBase64(),
                 TULOSandboxOAuth1::hmacSha1Signature(TULOSandboxOAuth1::signatureBaseString("POST", url, unique),
                                                      QStringLiteral("j49sk3j29djd"), QStringLiteral("dh893hdasih9")));
    }

    void baseStringURI_data()
    {
        QTest::addColumn<QUrl>("url");
        QTest::addColumn<QByteArray>("encodedURI");
        QTest::newRow("default http port dropped") << QUrl(QStringLiteral("http://EXAMPLE.com:80/r%20v/X?id=123"))
                                                   << QByteArray("http%3A%2F%2Fexample.com%2Fr%2520v%2FX");
        QTest::newRow("other port kept") << QUrl(QStringLiteral("https://www.example.net:8080/?q=1"))
                                         << QByteArray("https%3A%2F%2Fwww.example.net%3A8080%2F");
        QTest::newRow("default https port dropped") << QUrl(QStringLiteral("HTTPS://example.net:443"))
                                                    << QByteArray("https%3A%2F%2Fexample.net%2F");
    }
    void baseStringURI()
    {
        QFETCH(QUrl, url);
        QFETCH(QByteArray, encodedURI);
        QCOMPARE(TULOSandboxOAuth1::signatureBaseString("GET", url, {}), "GET&" + encodedURI + "&");
    }

    // Published HMAC-SHA1 examples whose values reproduce.
    void hmacSha1Vectors_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QUrl>("url");
        QTest::addColumn<Parameters>("parameters");
        QTest::addColumn<QString>("consumerSecret");
        QTest::addColumn<QString>("tokenSecret");
        QTest::addColumn<QByteArray>("signature");
        const Parameters photos{{QStringLiteral("file"), QStringLiteral("vacation.jpg")},
                                {QStringLiteral("size"), QStringLiteral("original")},
                                {QStringLiteral("oauth_consumer_key"), QStringLiteral("dpf43f3p2l4k3l03")},
                                {QStringLiteral("oauth_token"), QStringLiteral("nnch734d00sl2jdk")},
                                {QStringLiteral("oauth_signature_method"), QStringLiteral("HMAC-SHA1")}};
        QTest::newRow("OAuth Core 1.0 appendix A.5")
            << QByteArray("GET") << QUrl(QStringLiteral("http://photos.example.net/photos"))
            << (Parameters(photos) << qMakePair(QStringLiteral("oauth_timestamp"), QStringLiteral("1191242096"))
                                   << qMakePair(QStringLiteral("oauth_nonce"), QStringLiteral("kllo9940pd9333jh"))
                                   << qMakePair(QStringLiteral("oauth_version"), QStringLiteral("1.0")))
            << QStringLiteral("kd94hf93k423kf44") << QStringLiteral("pfkkdhi9sl3r4s00") << QByteArray("tR3+Ty81lMeYAr/Fid0kMTYa/WM=");
        QTest::newRow("RFC 5849 section 1.2")
            << QByteArray("GET") << QUrl(QStringLiteral("http://photos.example.net/photos"))
            << (Parameters(photos) << qMakePair(QStringLiteral("oauth_timestamp"), QStringLiteral("137131202"))
                                   << qMakePair(QStringLiteral("oauth_nonce"), QStringLiteral("chapoH")))
            << QStringLiteral("kd94hf93k423kf44") << QStringLiteral("pfkkdhi9sl3r4s00") << QByteArray("MdpQcU8iPSUjWoN/UDMsK2sui9I=");
    }
    void hmacSha1Vectors()
    {
        QFETCH(QByteArray, method);
        QFETCH(QUrl, url);
        QFETCH(Parameters, parameters);
        QFETCH(QString, consumerSecret);
        QFETCH(QString, tokenSecret);
        QFETCH(QByteArray, signature);
        const QOAuth1Signature signer(url, consumerSecret, tokenSecret,
                                      method == "GET" ? QOAuth1Signature::HttpRequestMethod::Get : QOAuth1Signature::HttpRequestMethod::Post,
                                      toMultiMap(parameters));
        QCOMPARE(signer.hmacSha1().toBase64(), signature);
        QCOMPARE(TULOSandboxOAuth1::hmacSha1Signature(TULOSandboxOAuth1::signatureBaseString(method, url, parameters), consumerSecret,
                                                      tokenSecret),
                 signature);
    }

    // The access-token request as the service checks it: parameters from the header, the
    // query and the form, signed with the consumer secret and no token secret.
    void accessTokenRequestVerifies_data()
    {
        QTest::addColumn<QString>("verifierSecret");
        QTest::addColumn<QString>("tamperedPassword");
        QTest::addColumn<bool>("verifies");
        QTest::newRow("as signed") << QStringLiteral("s3cr3t/with+signs&more") << QString() << true;
        QTest::newRow("another consumer secret") << QStringLiteral("s3cr3t/with+signs&morf") << QString() << false;
        QTest::newRow("password changed in transit") << QStringLiteral("s3cr3t/with+signs&more") << QStringLiteral("pässword!") << false;
    }
    void accessTokenRequestVerifies()
    {
        QFETCH(QString, verifierSecret);
        QFETCH(QString, tamperedPassword);
        QFETCH(bool, verifies);
        const QUrl url(QStringLiteral("http://127.0.0.1:8123/twitter/oauth/access_token?lang=en"));
        const QList<QPair<QString, QString>> fields{{QStringLiteral("x_auth_username"), QStringLiteral("someone@example.com")},
                                                    {QStringLiteral("x_auth_password"), QStringLiteral("pa ss&w=rd")},
                                                    {QStringLiteral("x_auth_mode"), QStringLiteral("client_auth")}};
        const auto request = TULOTwitterAuthenticationRequest::signedRequest(url, QStringLiteral("consumer~key"),
                                                                             QStringLiteral("s3cr3t/with+signs&more"), fields,
                                                                             "abc123nonce", 1700000000);
        QVERIFY(request.authorizationHeader.startsWith("OAuth "));
        Parameters parameters;
        QByteArray signature;
        for (const auto &item : TULOSandboxOAuth1::authorizationParameters(request.authorizationHeader)) {
            if (item.first == QLatin1String("oauth_signature"))
                signature = item.second.toLatin1();
            else
                parameters.append(item);
        }
        QVERIFY(parameters.contains(qMakePair(QStringLiteral("oauth_consumer_key"), QStringLiteral("consumer~key"))));
        QVERIFY(parameters.contains(qMakePair(QStringLiteral("oauth_signature_method"), QStringLiteral("HMAC-SHA1"))));
        for (auto field : request.formFields) {
            if (field.first == QLatin1String("x_auth_password") && !tamperedPassword.isNull())
                field.second = tamperedPassword;
            parameters.append(field);
        }
        parameters.append({QStringLiteral("lang"), QStringLiteral("en")});
        const QByteArray expected = TULOSandboxOAuth1::hmacSha1Signature(TULOSandboxOAuth1::signatureBaseString("POST", url, parameters),
                                                                         verifierSecret, QString());
        QCOMPARE(signature == expected, verifies);
    }
};

QTEST_GUILESS_MAIN(TestOAuth1Signature)
#include "tst_oauth1signature.moc"
