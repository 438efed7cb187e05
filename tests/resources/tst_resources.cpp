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
    void picturesLoadAtBarSize()
    {
        const QStringList files = pictureFiles();
        QVERIFY(files.contains(QStringLiteral(":/icons/SysTrayUnknown.png")));
        for (const QString &file : files) {
            QString hiDpi = file;
            hiDpi.insert(hiDpi.lastIndexOf(QLatin1Char('.')), QStringLiteral("@2x"));
            // The job manager's picture leaves room below for the text the item writes.
            const QSize size = file.endsWith(QLatin1String("/SysTrayJobManagerActive.png"))
                                   ? QSize(40, 40)
                                   : QSize(32, 32);
            QVERIFY2(QPixmap(file).size() == size, qPrintable(file));
            QVERIFY2(QPixmap(hiDpi).size() == size * 2, qPrintable(hiDpi));
        }
    }

    void differentFilesHoldDifferentPictures()
    {
        const QStringList files = pictureFiles();
        QList<QImage> images;
        for (const QString &file : files)
            images << QImage(file).convertToFormat(QImage::Format_ARGB32);
        for (int i = 0; i < images.size(); ++i) {
            for (int j = i + 1; j < images.size(); ++j)
                QVERIFY2(images[i] != images[j], qPrintable(files[i] + " equals " + files[j]));
        }
    }

    // Every catalogue source has a compiled catalogue that its locale finds.
    void everyCatalogueLoadsForItsLocale()
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
    }

    void itemTitlesAreTranslated_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("context");
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("expected");
        QTest::newRow("de_AT Wi-Fi") << "de_AT"
                                     << "glyphd::CWifiSystemTrayDataItem"
                                     << "Wi-Fi"
                                     << "WLAN";
        QTest::newRow("fr storage") << "fr"
                                    << "glyphd::CUsbFlashSystemTrayDataItem"
                                    << "Removable Storage"
                                    << "Stockage amovible";
        QTest::newRow("zh_TW Bluetooth") << "zh_TW"
                                         << "glyphd::CBluetoothSystemTrayDataItem"
                                         << "Bluetooth" << QString::fromUtf8("藍牙");
    }

    // The daemon's way in: a translator installed in the application, read through tr().
    void itemTitlesAreTranslated()
    {
        QFETCH(QString, locale);
        QFETCH(QString, context);
        QFETCH(QString, source);
        QFETCH(QString, expected);
        QTranslator translator;
        QVERIFY(loadCatalogue(translator, locale));
        QVERIFY(QCoreApplication::installTranslator(&translator));
        const QString translated =
            QCoreApplication::translate(context.toUtf8().constData(), source.toUtf8().constData());
        QCoreApplication::removeTranslator(&translator);
        QCOMPARE(translated, expected);
    }
};

QTEST_MAIN(TestResources)
#include "tst_resources.moc"
