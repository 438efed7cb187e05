#include "platform/beeper/beeper.h"
#include "tray/cbeepingwarning.h"

#include <QAbstractButton>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <fcntl.h>
#include <linux/input.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

using glyphd::CBeepingWarning;

namespace {

// Debug messages of the program, as the message log gets them.
QStringList s_debugMessages;

void recordDebug(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtDebugMsg)
        s_debugMessages.append(text);
}

} // namespace

// The warning and the beeper. The beeper writes its tone events into a FIFO, as into an input
// device, and the test reads them back.
class TestBeepingWarning : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void showHideAndIgnore_data();
    void showHideAndIgnore();
    void toneGoesOnAndOffAgain();
    void beepsAtOnceAndEveryInterval();
    void withoutToneDeviceFallsBackQuietly();

private:
    // The tone values written since the last call (one per EV_SND record).
    QList<int> readTones();
    static int countOn(const QList<int> &tones)
    {
        return int(std::count_if(tones.begin(), tones.end(), [](int tone) { return tone != 0; }));
    }

    QTemporaryDir m_dir;
    int m_readFd = -1;
    std::unique_ptr<Beeper> m_beeper;
};

void TestBeepingWarning::init()
{
    const QByteArray fifo = QFile::encodeName(m_dir.filePath(QStringLiteral("event-fifo")));
    ::unlink(fifo.constData());
    QCOMPARE(::mkfifo(fifo.constData(), 0600), 0);
    m_readFd = ::open(fifo.constData(), O_RDONLY | O_NONBLOCK);
    QVERIFY(m_readFd >= 0);
    m_beeper = Beeper::forToneDevice(QFile::decodeName(fifo));
    QVERIFY(m_beeper->hasDevice());
    Beeper::setProcessBeeper(m_beeper.get());
}

void TestBeepingWarning::cleanup()
{
    Beeper::setProcessBeeper(nullptr);
    m_beeper.reset();
    ::close(m_readFd);
}

QList<int> TestBeepingWarning::readTones()
{
    QList<int> tones;
    input_event event;
    while (::read(m_readFd, &event, sizeof(event)) == ssize_t(sizeof(event))) {
        if (event.type == EV_SND && event.code == SND_TONE)
            tones.append(event.value);
        else if (event.type != EV_SYN)
            tones.append(-1);
    }
    return tones;
}

void TestBeepingWarning::showHideAndIgnore_data()
{
    // Steps: "show:TEXT", "ignore" (the Ignore button), "close" (the window closed), "hide".
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<bool>("visible");
    QTest::addColumn<int>("beeps");
    QTest::addColumn<QString>("text");
    // clang-format off
    QTest::newRow("two shows, one box") << QStringList{"show:first", "show:second"} << true << 1 << "second";
    QTest::newRow("ignored stays silent") << QStringList{"show:first", "ignore", "show:second"} << false << 1 << "second";
    QTest::newRow("closing counts as ignoring") << QStringList{"show:first", "close", "show:second"} << false << 1 << "second";
    QTest::newRow("hide clears the ignore") << QStringList{"show:first", "ignore", "hide", "show:second"} << true << 2 << "second";
    QTest::newRow("hide closes") << QStringList{"show:first", "hide"} << false << 1 << "first";
    QTest::newRow("reopened after hide") << QStringList{"show:first", "hide", "show:second"} << true << 2 << "second";
    QTest::newRow("hide before any show") << QStringList{"hide"} << false << 0 << QString();
    // clang-format on
}

void TestBeepingWarning::showHideAndIgnore()
{
    QFETCH(QStringList, steps);
    QFETCH(bool, visible);
    QFETCH(int, beeps);
    QFETCH(QString, text);

    CBeepingWarning warning(QPixmap(16, 16));
    for (const QString &step : steps) {
        if (step.startsWith(QLatin1String("show:")))
            warning.showWarning(step.mid(5));
        else if (step == QLatin1String("ignore"))
            warning.box()->button(QMessageBox::Ignore)->click();
        else if (step == QLatin1String("close"))
            warning.box()->close();
        else if (step == QLatin1String("hide"))
            warning.hideWarning();
    }
    QCOMPARE(warning.box() != nullptr, !text.isEmpty());
    if (warning.box()) {
        QCOMPARE(warning.box()->isVisible(), visible);
        QCOMPARE(warning.box()->text(), text);
        QCOMPARE(warning.box()->iconPixmap().size(), QSize(16, 16));
        QCOMPARE(warning.box()->windowTitle(), QStringLiteral("System Warning"));
    }
    QCOMPARE(warning.beepTimer()->isActive(), visible);
    QCOMPARE(countOn(readTones()), beeps);
}

void TestBeepingWarning::toneGoesOnAndOffAgain()
{
    CBeepingWarning warning{QPixmap()};
    QElapsedTimer clock;
    clock.start();
    warning.showWarning(QStringLiteral("low"));
    QCOMPARE(readTones(), QList<int>{1000});
    QList<int> later;
    QTRY_VERIFY_WITH_TIMEOUT(!(later += readTones()).isEmpty(), 10000);
    QCOMPARE(later, QList<int>{0});
    QVERIFY2(clock.elapsed() >= CBeepingWarning::BeepMs - 10,
             qPrintable(QString::number(clock.elapsed())));
}

void TestBeepingWarning::beepsAtOnceAndEveryInterval()
{
    // The interval is shortened tenfold: three beeps in 2.5 s stand for three in 25 s.
    const int intervalMs = CBeepingWarning::BeepIntervalMs / 10;
    CBeepingWarning warning{QPixmap()};
    QCOMPARE(warning.beepTimer()->interval(), CBeepingWarning::BeepIntervalMs);
    warning.showWarning(QStringLiteral("low"));
    warning.beepTimer()->setInterval(intervalMs);
    warning.beepTimer()->start();
    QElapsedTimer clock;
    clock.start();
    QSignalSpy ticks(warning.beepTimer(), SIGNAL(timeout()));
    QTRY_COMPARE_WITH_TIMEOUT(ticks.count(), 2, 20000);
    // A coarse timer may fire up to 5 % early.
    QVERIFY(clock.elapsed() >= 2 * intervalMs * 95 / 100);
    QCOMPARE(countOn(readTones()), 3);

    warning.hideWarning();
    QVERIFY(!warning.beepTimer()->isActive());
}

void TestBeepingWarning::withoutToneDeviceFallsBackQuietly()
{
    // A folder without devices, and one whose event file is no device.
    for (const char *entry : {"", "event0"}) {
        QTemporaryDir devices;
        if (*entry)
            QVERIFY(QFile(devices.filePath(entry)).open(QIODevice::WriteOnly));
        Beeper fallback(devices.path());
        QVERIFY(!fallback.hasDevice());
        Beeper::setProcessBeeper(&fallback);
        s_debugMessages.clear();
        const QtMessageHandler previous = qInstallMessageHandler(recordDebug);
        {
            CBeepingWarning warning{QPixmap()};
            warning.showWarning(QStringLiteral("low"));
            warning.beep();
        }
        qInstallMessageHandler(previous);
        QCOMPARE(s_debugMessages.filter(QStringLiteral("No input device plays tones")).size(), 1);
    }
}

QTEST_MAIN(TestBeepingWarning)
#include "tst_beepingwarning.moc"
