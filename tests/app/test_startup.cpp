// Start-up pieces of the daemon: the command line, the locale override and the translations.
#include "app/commandline.h"
#include "app/instrumentconfiguration.h"
#include "app/translations.h"

#include <QCoreApplication>
#include <QProcess>
#include <QtTest>

#include <vector>

class TestStartup : public QObject
{
    Q_OBJECT
private slots:
    void commandLine_data();
    void commandLine();
    void commandLineRejects_data();
    void commandLineRejects();
    void localeOverride_data();
    void localeOverride();
    void translationsNeedALocale();
    void missingCatalogueIsReported();
    void catalogueOfTheDefaultLocaleIsInstalled();
    void instrumentConfiguration_data();
    void instrumentConfiguration();
};

namespace {

// argv as main() gets it, program name first.
struct Arguments
{
    explicit Arguments(const QStringList &list)
    {
        storage.push_back("glyphd");
        for (const QString &argument : list) {
            storage.push_back(argument.toStdString());
        }
        for (std::string &argument : storage) {
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
    }
    int argc() const { return static_cast<int>(storage.size()); }
    char **argv() { return pointers.data(); }

    std::vector<std::string> storage;
    std::vector<char *> pointers;
};

} // namespace

void TestStartup::commandLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("clientName");
    QTest::addColumn<QString>("host");
    QTest::addColumn<int>("port");
    QTest::addColumn<bool>("daemonize");

    QTest::newRow("defaults") << QStringList() << "glyphd"
                              << "127.0.0.1" << 3000 << true;
    QTest::newRow("all options") << QStringList{"--no-daemon", "--clientName", "tray2", "--host",
                                                "10.0.0.7",    "--port",       "4000"}
                                 << "tray2"
                                 << "10.0.0.7" << 4000 << false;
    QTest::newRow("--port last") << QStringList{"--port"} << "glyphd"
                                 << "127.0.0.1" << 3000 << true;
    QTest::newRow("no range check") << QStringList{"--port", "70000"} << "glyphd"
                                    << "127.0.0.1" << 70000 << true;
    QTest::newRow("negative port") << QStringList{"--port", "-1"} << "glyphd"
                                   << "127.0.0.1" << -1 << true;
    QTest::newRow("digits only as far as they go") << QStringList{"--port", "12x"} << "glyphd"
                                                   << "127.0.0.1" << 12 << true;
    QTest::newRow("no digits") << QStringList{"--port", "abc"} << "glyphd"
                               << "127.0.0.1" << 0 << true;
    QTest::newRow("last value wins") << QStringList{"--host", "a", "--host", "b"} << "glyphd"
                                     << "b" << 3000 << true;
    // --no-daemon is recognised even while a client name is pending, which stays pending.
    QTest::newRow("--clientName --no-daemon")
        << QStringList{"--clientName", "--no-daemon"} << "glyphd"
        << "127.0.0.1" << 3000 << false;
    // Any other word is the pending value, option names included.
    QTest::newRow("--clientName --host") << QStringList{"--clientName", "--host"} << "--host"
                                         << "127.0.0.1" << 3000 << true;
    QTest::newRow("--host --clientName x") << QStringList{"--host", "--clientName", "x", "h"} << "x"
                                           << "h" << 3000 << true;
}

void TestStartup::commandLine()
{
    QFETCH(QStringList, arguments);
    Arguments args(arguments);
    glyphd::StartupSettings settings;

    QVERIFY(glyphd::parseCommandLine(args.argc(), args.argv(), settings));

    QTEST(QString::fromStdString(settings.clientName), "clientName");
    QTEST(QString::fromStdString(settings.host), "host");
    QTEST(settings.port, "port");
    QTEST(settings.daemonize, "daemonize");
}

void TestStartup::commandLineRejects_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("unknown option") << QStringList{"--verbose"};
    QTest::newRow("--host --port 5") << QStringList{"--host", "--port", "5"};
    QTest::newRow("value without option") << QStringList{"3000"};
}

void TestStartup::commandLineRejects()
{
    QFETCH(QStringList, arguments);
    Arguments args(arguments);
    glyphd::StartupSettings settings;
    QVERIFY(!glyphd::parseCommandLine(args.argc(), args.argv(), settings));

    // A null entry in the middle of argv.
    Arguments withNull({"--no-daemon", "x"});
    withNull.pointers[2] = nullptr;
    QVERIFY(!glyphd::parseCommandLine(withNull.argc(), withNull.argv(), settings));
}

void TestStartup::localeOverride_data()
{
    QTest::addColumn<QString>("lcAll");
    QTest::addColumn<QString>("expectedLcAll");
    QTest::addColumn<QString>("flag");
    QTest::addColumn<QString>("qtLocale");

    QTest::newRow("zh_CN") << "zh_CN"
                           << "en_US"
                           << "BERT_CHINESE"
                           << "zh_CN";
    QTest::newRow("ja_JP") << "ja_JP"
                           << "en_US"
                           << "BERT_JAPANESE"
                           << "ja_JP";
    QTest::newRow("ko_KR") << "ko_KR"
                           << "en_US"
                           << "BERT_KOREAN"
                           << "ko_KR";
    QTest::newRow("ru_RU") << "ru_RU"
                           << "en_US"
                           << "BERT_RUSSIAN"
                           << "ru_RU";
    // Qt's own reading of LC_ALL decides the locale here; nothing is overridden.
    QTest::newRow("ru_RU.UTF-8 unchanged") << "ru_RU.UTF-8"
                                           << "ru_RU.UTF-8" << QString() << QString();
    QTest::newRow("case matters") << "RU_ru"
                                  << "RU_ru" << QString() << QString();
}

void TestStartup::localeOverride()
{
    QFETCH(QString, lcAll);
    QFETCH(QString, expectedLcAll);
    QFETCH(QString, flag);
    QFETCH(QString, qtLocale);

    QProcessEnvironment environment;
    environment.insert(QStringLiteral("PATH"), QStringLiteral("/usr/bin:/bin"));
    environment.insert(QStringLiteral("LANG"), QStringLiteral("en_US"));
    environment.insert(QStringLiteral("LC_ALL"), lcAll);
    QProcess probe;
    probe.setProcessEnvironment(environment);
    probe.start(QCoreApplication::applicationDirPath() + QStringLiteral("/glyphd-localeprobe"),
                QStringList());
    QVERIFY(probe.waitForFinished(30000));
    QCOMPARE(probe.exitCode(), 0);

    const QStringList lines = QString::fromUtf8(probe.readAllStandardOutput()).split('\n');
    QVERIFY(lines.contains("LC_ALL=" + expectedLcAll));
    for (const char *variable : {"BERT_CHINESE", "BERT_JAPANESE", "BERT_KOREAN", "BERT_RUSSIAN"}) {
        const QString expected = QLatin1String(variable) == flag ? "true" : "(unset)";
        QVERIFY2(lines.contains(QLatin1String(variable) + "=" + expected), variable);
    }
    if (!qtLocale.isEmpty()) {
        QVERIFY2(lines.contains("QLocale=" + qtLocale), qPrintable(lines.join(' ')));
    }
}

void TestStartup::translationsNeedALocale()
{
    QLocale::setDefault(QLocale::c());
    QTest::ignoreMessage(QtWarningMsg,
                         "Locale not set (or set to \"C\"): Not loading translations");
    glyphd::loadTranslations(":/translations", "glyphd", "_");
}

void TestStartup::missingCatalogueIsReported()
{
    QLocale::setDefault(QLocale(QLocale::Russian, QLocale::Russia));
    QTest::ignoreMessage(QtWarningMsg, "Could not load the translations");
    glyphd::loadTranslations(":/no-such-directory", "glyphd", "_");
}

void TestStartup::catalogueOfTheDefaultLocaleIsInstalled()
{
    if (!QFile::exists(QStringLiteral(":/translations/glyphd_ru.qm"))) {
        QSKIP("built without the resources");
    }
    // ru_RU has no catalogue of its own: Qt falls back to glyphd_ru.qm.
    QLocale::setDefault(QLocale(QLocale::Russian, QLocale::Russia));
    glyphd::loadTranslations(":/translations", "glyphd", "_");
    QCOMPARE(QCoreApplication::translate("glyphd::CAudioSystemTrayDataItem", "Audio"),
             QString::fromUtf8("Звук"));
}

void TestStartup::instrumentConfiguration_data()
{
    QTest::addColumn<QByteArray>("qrx4400");
    QTest::addColumn<QByteArray>("rab");
    QTest::addColumn<bool>("isQrx4400");
    QTest::addColumn<bool>("isRab");
    QTest::newRow("unset") << QByteArray() << QByteArray() << false << false;
    QTest::newRow("QRX4400") << QByteArray("YES") << QByteArray() << true << false;
    QTest::newRow("QRX4400 rab") << QByteArray("YES") << QByteArray("YES") << true << true;
    QTest::newRow("lower-case yes") << QByteArray("yes") << QByteArray("yes") << false << false;
    QTest::newRow("YES with blank") << QByteArray("YES ") << QByteArray("1") << false << false;
}

void TestStartup::instrumentConfiguration()
{
    QFETCH(QByteArray, qrx4400);
    QFETCH(QByteArray, rab);
    const auto set = [](const char *name, const QByteArray &value) {
        if (value.isNull()) {
            qunsetenv(name);
        } else {
            qputenv(name, value);
        }
    };
    set("QRX4400_CONFIGURED", qrx4400);
    set("RAB_CONFIGURED", rab);

    const auto configuration = glyphd::InstrumentConfiguration::fromEnvironment();

    QTEST(configuration.qrx4400, "isQrx4400");
    QTEST(configuration.rab, "isRab");
}

QTEST_GUILESS_MAIN(TestStartup)
#include "test_startup.moc"
