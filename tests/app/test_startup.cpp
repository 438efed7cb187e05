// Start-up pieces of the daemon: the command line, the locale override and detaching, each in
// a child process (this program run with a probe option, so the test keeps its environment
// and session, and the parser gets a real argv).
#include "app/commandline.h"
#include "app/daemonize.h"
#include "app/localeoverride.h"

#include <QSaveFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdio>
#include <unistd.h>

namespace {

const char *const kLocaleVariables[] = {"LC_ALL", "BERT_CHINESE", "BERT_JAPANESE", "BERT_KOREAN",
                                        "BERT_RUSSIAN"};

int runProbe(int argc, char **argv)
{
    const char *const probe = argv[1], *const argument = argc >= 3 ? argv[2] : nullptr;
    if (qstrcmp(probe, "--probe-command-line") == 0) {
        // The probe option stands in for the program name; a refusal prints only its message.
        glyphd::StartupSettings settings;
        if (glyphd::parseCommandLine(argc - 1, argv + 1, settings)) {
            std::printf("%s %s %d %s", settings.clientName.c_str(), settings.host.c_str(),
                        settings.port, settings.daemonize ? "daemon" : "foreground");
        }
        return 0;
    }
    if (qstrcmp(probe, "--probe-locale") == 0) {
        glyphd::applyLocaleOverride();
        for (const char *name : kLocaleVariables)
            std::printf("%s ", qPrintable(qEnvironmentVariable(name, "-")));
        std::printf("%s", qPrintable(QLocale().name()));
        return 0;
    }
    glyphd::daemonize();
    QSaveFile report(QString::fromLocal8Bit(argument)); // appears whole: never read half
    report.open(QIODevice::WriteOnly);
    report.write(QByteArray::number(getpid()) + ' ' + QByteArray::number(getsid(0)) + ' ' +
                 QDir::currentPath().toUtf8());
    return report.commit() ? 0 : 1;
}

// What the probe printed on either channel, or "failed" when it did not end with status 0 within 30
// s.
QString runSelf(const QStringList &args,
                const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment())
{
    QProcess probe;
    probe.setProcessEnvironment(environment);
    probe.setProcessChannelMode(QProcess::MergedChannels);
    probe.start(QCoreApplication::applicationFilePath(), args);
    const bool ended = probe.waitForFinished(30000) && probe.exitStatus() == QProcess::NormalExit &&
                       probe.exitCode() == 0;
    return ended ? QString::fromUtf8(probe.readAll()) : "failed";
}

} // namespace

class TestStartup : public QObject
{
    Q_OBJECT
private slots:
    void commandLine_data();
    void commandLine();
    void localeOverride_data();
    void localeOverride();
    void daemonModeDetaches();
};

void TestStartup::commandLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("outcome"); // the settings, or what a refusal prints

    QTest::newRow("defaults") << QStringList() << "glyphd 127.0.0.1 3000 daemon";
    QTest::newRow("all options") << QStringList{"--no-daemon", "--clientName", "tray2", "--host",
                                                "10.0.0.7",    "--port",       "4000"}
                                 << "tray2 10.0.0.7 4000 foreground";
    QTest::newRow("--port last") << QStringList{"--port"} << "glyphd 127.0.0.1 3000 daemon";
    QTest::newRow("no range check")
        << QStringList{"--port", "70000"} << "glyphd 127.0.0.1 70000 daemon";
    // The two keywords are recognised even while a value is pending, which stays pending;
    // every other word is the value, option names included.
    QTest::newRow("--clientName --no-daemon")
        << QStringList{"--clientName", "--no-daemon"} << "glyphd 127.0.0.1 3000 foreground";
    QTest::newRow("--clientName --host")
        << QStringList{"--clientName", "--host"} << "--host 127.0.0.1 3000 daemon";
    QTest::newRow("--host --port 5")
        << QStringList{"--host", "--port", "5"} << "unknown option: '5'\n\n";
}

void TestStartup::commandLine()
{
    QFETCH(QStringList, arguments);
    QTEST(runSelf(QStringList{QStringLiteral("--probe-command-line")} + arguments), "outcome");
}

void TestStartup::localeOverride_data()
{
    QTest::addColumn<QString>("lcAll");
    QTest::addColumn<QString>("outcome"); // LC_ALL, the four flags ("-": unset), Qt's locale
    QTest::newRow("ru_RU") << "ru_RU"
                           << "en_US - - - true ru_RU";
    // Only the exact names match; Qt then reads LC_ALL itself.
    QTest::newRow("ru_RU.UTF-8 unchanged") << "ru_RU.UTF-8"
                                           << "ru_RU.UTF-8 - - - - ru_RU";
}

void TestStartup::localeOverride()
{
    QFETCH(QString, lcAll);
    QFETCH(QString, outcome);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *name : kLocaleVariables)
        environment.remove(QLatin1String(name));
    environment.insert(QStringLiteral("LANG"), QStringLiteral("en_US"));
    environment.insert(QStringLiteral("LC_ALL"), lcAll);
    QCOMPARE(runSelf({QStringLiteral("--probe-locale")}, environment), outcome);
}

// The parent returns at once with status 0; the daemon lives on in a session of its own,
// not as its leader (so it can never get a terminal again), in "/".
void TestStartup::daemonModeDetaches()
{
    QTemporaryDir dir;
    const QString report = dir.filePath(QStringLiteral("daemon"));
    QCOMPARE(runSelf({QStringLiteral("--probe-daemonize"), report}), QString());

    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(report), 20000);
    QFile file(report);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QStringList fields = QString::fromUtf8(file.readAll()).trimmed().split(' ');
    QCOMPARE(fields.size(), 3);
    QVERIFY(fields[1].toInt() != int(getsid(0)));
    QVERIFY(fields[1].toInt() != fields[0].toInt());
    QCOMPARE(fields[2], QStringLiteral("/"));
}

int main(int argc, char **argv)
{
    if (argc >= 2 && qstrncmp(argv[1], "--probe-", 8) == 0)
        return runProbe(argc, argv);
    QCoreApplication application(argc, argv);
    TestStartup test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_startup.moc"
