// The pictures and catalogues compiled into the program, loaded the way the tray icon and the
// start-up code load them.

#include <QDir>
#include <QImage>
#include <QLocale>
#include <QPixmap>
#include <QTranslator>
#include <QtTest>

namespace {

// The bar-size pictures; each has a double-size variant beside it.
QStringList pictureFiles()
{
    QStringList files;
    for (const QString &name : QDir(QStringLiteral(":/icons")).entryList(QDir::Files)) {
        if (!name.contains(QLatin1String("@2x")))
            files << QStringLiteral(":/icons/") + name;
    }
    return files;
}

bool loadCatalogue(QTranslator &translator, const QString &locale)
{
    return translator.load(QLocale(locale), QStringLiteral("glyphd"), QStringLiteral("_"),
                           QStringLiteral(":/translations"));
}

} // namespace

class TestResources : public QObject
{
    Q_OBJECT

private slots:
    // Bar size, a double-size variant beside each, and no two files alike.
    void picturesLoadAtBarSize()
    {
        const QStringList files = pictureFiles();
        QVERIFY(files.contains(QStringLiteral(":/icons/SysTrayUnknown.png")));
        QList<QImage> images;
        for (const QString &file : files) {
            QString hiDpi = file;
            hiDpi.insert(hiDpi.lastIndexOf(QLatin1Char('.')), QStringLiteral("@2x"));
            // The job manager's picture leaves room below for the text the item writes.
            const int side = file.endsWith(QLatin1String("JobManagerActive.png")) ? 40 : 32;
            QVERIFY2(QPixmap(file).size() == QSize(side, side), qPrintable(file));
            QVERIFY2(QPixmap(hiDpi).size() == QSize(side, side) * 2, qPrintable(hiDpi));
            images << QImage(file).convertToFormat(QImage::Format_ARGB32);
            QVERIFY2(images.indexOf(images.last()) == images.size() - 1, qPrintable(file));
        }
    }

    // Every catalogue source has a compiled catalogue that its locale finds, and the daemon's
    // way in, a translator installed in the application, reads the item titles through it.
    void cataloguesTranslateItemTitles()
    {
        const QStringList sources = QDir(QStringLiteral(GLYPHD_TRANSLATIONS_SOURCE_DIR))
                                        .entryList({QStringLiteral("glyphd_*.ts")});
        QVERIFY(!sources.isEmpty());
        for (QString locale : sources) {
            locale = locale.mid(7).chopped(3);
            QTranslator translator;
            QVERIFY2(loadCatalogue(translator, locale), qPrintable(locale));
            QCOMPARE(translator.filePath(), ":/translations/glyphd_" + locale + ".qm");
            QVERIFY(!translator.isEmpty());
        }
        // English is the source language: there is no catalogue to load.
        QTranslator english;
        QVERIFY(!loadCatalogue(english, QStringLiteral("en_US")));

        const char *rows[][4] = {
            {"de_AT", "glyphd::CWifiSystemTrayDataItem", "Wi-Fi", "WLAN"},
            {"fr", "glyphd::CUsbFlashSystemTrayDataItem", "Removable Storage", "Stockage amovible"},
            {"zh_TW", "glyphd::CBluetoothSystemTrayDataItem", "Bluetooth", "藍牙"}};
        for (const auto &row : rows) {
            QTranslator translator;
            QVERIFY(loadCatalogue(translator, row[0]));
            QVERIFY(QCoreApplication::installTranslator(&translator));
            const QString translated = QCoreApplication::translate(row[1], row[2]);
            QCoreApplication::removeTranslator(&translator);
            QCOMPARE(translated, QString::fromUtf8(row[3]));
        }
    }
};

QTEST_MAIN(TestResources)
#include "tst_resources.moc"
