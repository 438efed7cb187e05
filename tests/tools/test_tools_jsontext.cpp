// The simulator's JSON strings must parse whatever bytes a peer sends.

#include "jsontext.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest/QTest>

class JsonTextTest : public QObject
{
    Q_OBJECT

private:
    // Parses jsonString(bytes) as the one element of an array; fails the test if it is not
    // valid JSON.
    static QString parsed(const QByteArray &bytes)
    {
        const std::string literal = jsonString(bytes.toStdString());
        QJsonParseError error;
        const QJsonDocument document =
            QJsonDocument::fromJson(QByteArray("[") + literal.c_str() + "]", &error);
        if (error.error != QJsonParseError::NoError) {
            qWarning("not valid JSON: %s (%s)", literal.c_str(), qPrintable(error.errorString()));
            return QStringLiteral("<invalid>");
        }
        return document.array().at(0).toString();
    }

private slots:
    void validTextRoundTrips_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("plain") << QByteArray("WIFI_CONNECT_STATUS");
        QTest::newRow("quotes and backslash") << QByteArray(R"(a "b" c\d)");
        QTest::newRow("control characters") << QByteArray("tab\there\nnl\r\x01\x1f end");
        QTest::newRow("xml") << QByteArray(R"(<l><d path="/media/a" state="EJECTING"/></l>)");
        QTest::newRow("two-byte") << QByteArray("caf\xc3\xa9");
        QTest::newRow("three-byte") << QByteArray("\xe6\x96\x87\xe4\xbb\xb6");
        QTest::newRow("four-byte") << QByteArray("\xf0\x9f\x93\x81 file");
        QTest::newRow("empty") << QByteArray();
    }

    void validTextRoundTrips()
    {
        QFETCH(QByteArray, text);
        QCOMPARE(parsed(text), QString::fromUtf8(text));
    }

    void invalidBytesBecomeTheirOwnCodePoint_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("expected");
        QTest::newRow("lone continuation") << QByteArray("a\x80z") << QStringLiteral("a\u0080z");
        QTest::newRow("latin-1") << QByteArray("caf\xe9") << QStringLiteral("caf\u00e9");
        QTest::newRow("truncated at end") << QByteArray("x\xc3") << QStringLiteral("x\u00c3");
        QTest::newRow("overlong slash") << QByteArray("\xc0\xaf") << QStringLiteral("\u00c0\u00af");
        QTest::newRow("surrogate")
            << QByteArray("\xed\xa0\x80") << QStringLiteral("\u00ed\u00a0\u0080");
        QTest::newRow("past U+10FFFF")
            << QByteArray("\xf4\x90\x80\x80") << QStringLiteral("\u00f4\u0090\u0080\u0080");
        QTest::newRow("valid after invalid")
            << QByteArray("\xff\xc3\xa9") << QStringLiteral("\u00ff\u00e9");
    }

    void invalidBytesBecomeTheirOwnCodePoint()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, expected);
        QCOMPARE(parsed(bytes), expected);
    }
};

QTEST_GUILESS_MAIN(JsonTextTest)
#include "test_tools_jsontext.moc"
