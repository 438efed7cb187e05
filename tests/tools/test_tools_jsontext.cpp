// The simulator's JSON strings must parse whatever bytes a peer sends.

#include "jsontext.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest/QTest>

class JsonTextTest : public QObject
{
    Q_OBJECT

private slots:
    void parsesBackToTheText_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        auto same = [](const char *row, const QByteArray &utf8) {
            QTest::newRow(row) << utf8 << QString::fromUtf8(utf8);
        };
        same("empty", QByteArray());
        same("quotes and backslash", R"(a "b" c\d)");
        same("control characters", "tab\there\nnl\r\x01\x1f end");
        same("two-byte", "caf\xc3\xa9");
        same("three-byte", "\xe6\x96\x87\xe4\xbb\xb6");
        same("four-byte", "\xf0\x9f\x93\x81 file");
        // Bytes that are not valid UTF-8 stand for the code point of their value.
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

    void parsesBackToTheText()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, text);
        const std::string literal = jsonString(bytes.toStdString());
        QJsonParseError error;
        const QJsonDocument document =
            QJsonDocument::fromJson(QByteArray("[") + literal.c_str() + "]", &error);
        QVERIFY2(error.error == QJsonParseError::NoError, literal.c_str());
        QCOMPARE(document.array().at(0).toString(), text);
    }
};

QTEST_GUILESS_MAIN(JsonTextTest)
#include "test_tools_jsontext.moc"
