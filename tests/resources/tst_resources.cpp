// The pictures and catalogues compiled into the program, loaded the way the tray icon and the
// start-up code load them.

#include <QFile>
#include <QImage>
#include <QLocale>
#include <QPixmap>
#include <QRegularExpression>
#include <QSet>
#include <QTranslator>
#include <QXmlStreamReader>
#include <QtTest>

namespace {

// Every picture the tray icon's state table names, plus the fallbacks and the battery overlay.
const QStringList &iconFiles()
{
    static const QStringList files = {
        QStringLiteral(":/icons/SysTrayUsbFlashGreen.png"),
        QStringLiteral(":/icons/SysTrayUsbFlashConnected.png"),
        QStringLiteral(":/icons/SysTrayUsbFlashError.png"),
        QStringLiteral(":/icons/SysTrayEmpty.png"),
        QStringLiteral(":/icons/SysTrayVnc.png"),
        QStringLiteral(":/icons/SysTrayVncMultiple.png"),
        QStringLiteral(":/icons/SysTrayAudio.png"),
        QStringLiteral(":/icons/SysTrayBluetooth.png"),
        QStringLiteral(":/icons/SysTrayR7300mInvalid.png"),
        QStringLiteral(":/icons/SysTrayVellumActive.png"),
        QStringLiteral(":/icons/SysTrayVellumRefresh.png"),
        QStringLiteral(":/icons/SysTrayVellumSuccess.png"),
        QStringLiteral(":/icons/SysTrayVellumError.png"),
        QStringLiteral(":/icons/SysTrayJobManagerActive.png"),
        QStringLiteral(":/icons/SysTrayNtp.png"),
        QStringLiteral(":/icons/SysTrayWifiDisconnected.png"),
        QStringLiteral(":/icons/SysTrayWifiConnected.png"),
        QStringLiteral(":/icons/SysTrayGpsPresent.png"),
        QStringLiteral(":/icons/SysTrayGpsInactive.png"),
        QStringLiteral(":/icons/SysTrayGpsLocked.png"),
        QStringLiteral(":/icons/SysTrayGpsLocked_dual.png"),
        QStringLiteral(":/icons/SysTrayGpsSearch.png"),
        QStringLiteral(":/icons/SysTrayClockSearching.png"),
        QStringLiteral(":/icons/SysTrayClockInt.png"),
        QStringLiteral(":/icons/SysTrayClock10MUnlocked.png"),
        QStringLiteral(":/icons/SysTrayClock10MLocked.png"),
        QStringLiteral(":/icons/SysTrayClock13MUnlocked.png"),
        QStringLiteral(":/icons/SysTrayClock13MLocked.png"),
        QStringLiteral(":/icons/SysTrayClock15MUnlocked.png"),
        QStringLiteral(":/icons/SysTrayClock15MLocked.png"),
        QStringLiteral(":/icons/SysTrayClockGPSUnlocked.png"),
        QStringLiteral(":/icons/SysTrayClockGPSLocked.png"),
        QStringLiteral(":/icons/SysTrayFanFaulty.png"),
        QStringLiteral(":/icons/SysTrayLaserWarning.png"),
        QStringLiteral(":/icons/SysTrayUnknown.png"),
        QStringLiteral(":/icons/SysTrayIconUnknown.png"),
        QStringLiteral(":/icons/SysTrayBatteryAc.png"),
    };
    return files;
}

const QString blankCanvas = QStringLiteral(":/icons/SysTrayEmpty.png");

const QStringList catalogueLocales = {
    QStringLiteral("de"),    QStringLiteral("es"),    QStringLiteral("fr"),    QStringLiteral("it"),
    QStringLiteral("pt_BR"), QStringLiteral("ru"),    QStringLiteral("pl"),    QStringLiteral("ja"),
    QStringLiteral("ko"),    QStringLiteral("zh_CN"), QStringLiteral("zh_TW"),
};

QString hiDpiVariant(QString file)
{
    return file.insert(file.lastIndexOf(QLatin1Char('.')), QStringLiteral("@2x"));
}

int countOpaquePixels(const QImage &image)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            count += qAlpha(image.pixel(x, y)) > 128 ? 1 : 0;
    return count;
}

struct CatalogueEntry
{
    QString context;
    QString source;
    QString translation;
};

// The entries of one catalogue source that lrelease compiles: texts no longer in the sources
// (vanished, obsolete) are left out of the .qm file.
struct Catalogue
{
    QString language;
    QList<CatalogueEntry> entries;
};

Catalogue readCatalogue(const QString &path)
{
    Catalogue catalogue;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return catalogue;
    QXmlStreamReader xml(&file);
    QString context;
    CatalogueEntry entry;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QStringRef name = xml.name();
        if (name == QLatin1String("TS")) {
            catalogue.language = xml.attributes().value(QLatin1String("language")).toString();
        } else if (name == QLatin1String("name")) {
            context = xml.readElementText();
        } else if (name == QLatin1String("source")) {
            entry = {context, xml.readElementText(), {}};
        } else if (name == QLatin1String("translation")) {
            const QStringRef type = xml.attributes().value(QLatin1String("type"));
            const bool compiled =
                type != QLatin1String("vanished") && type != QLatin1String("obsolete");
            entry.translation = xml.readElementText();
            if (compiled && !entry.translation.isEmpty())
                catalogue.entries.append(entry);
        }
    }
    if (xml.hasError())
        qWarning() << path << xml.errorString();
    return catalogue;
}

QString catalogueSource(const QString &locale)
{
    return QStringLiteral(GLYPHD_TRANSLATIONS_SOURCE_DIR "/glyphd_%1.ts").arg(locale);
}

QStringList placeholders(const QString &text)
{
    static const QRegularExpression marker(QStringLiteral("%\\d"));
    QStringList found;
    for (auto it = marker.globalMatch(text); it.hasNext();)
        found << it.next().captured();
    found.sort();
    return found;
}

} // namespace

class TestResources : public QObject
{
    Q_OBJECT

private slots:
    void picturesLoadAtBarSize_data();
    void picturesLoadAtBarSize();
    void picturesShowSomethingExceptTheBlankCanvas();
    void differentFilesHoldDifferentPictures();

    void catalogueLoadsForLocale_data();
    void catalogueLoadsForLocale();
    void compiledCatalogueMatchesItsSource_data();
    void compiledCatalogueMatchesItsSource();
    void cataloguesCoverTheSameTexts();
    void itemTitlesAreTranslated_data();
    void itemTitlesAreTranslated();
};

void TestResources::picturesLoadAtBarSize_data()
{
    QTest::addColumn<QString>("file");
    for (const QString &file : iconFiles())
        QTest::newRow(qPrintable(file)) << file;
}

void TestResources::picturesLoadAtBarSize()
{
    QFETCH(QString, file);
    const QPixmap picture(file);
    QVERIFY2(!picture.isNull(), qPrintable(file));
    QCOMPARE(picture.size(), QSize(32, 32));

    const QPixmap hiDpi(hiDpiVariant(file));
    QVERIFY2(!hiDpi.isNull(), qPrintable(hiDpiVariant(file)));
    QCOMPARE(hiDpi.size(), QSize(64, 64));
}

void TestResources::picturesShowSomethingExceptTheBlankCanvas()
{
    for (const QString &file : iconFiles()) {
        const QImage image(file);
        const int opaque = countOpaquePixels(image);
        if (file == blankCanvas)
            QVERIFY2(opaque == 0 && image.hasAlphaChannel(), "the gauge canvas must be clear");
        else
            QVERIFY2(opaque >= 20, qPrintable(file + QStringLiteral(" is nearly empty")));
    }
}

void TestResources::differentFilesHoldDifferentPictures()
{
    QList<QPair<QString, QImage>> pictures;
    for (const QString &file : iconFiles())
        pictures.append({file, QImage(file).convertToFormat(QImage::Format_ARGB32)});
    for (int i = 0; i < pictures.size(); ++i) {
        for (int j = i + 1; j < pictures.size(); ++j) {
            QVERIFY2(
                pictures[i].second != pictures[j].second,
                qPrintable(pictures[i].first + QStringLiteral(" equals ") + pictures[j].first));
        }
    }
}

void TestResources::catalogueLoadsForLocale_data()
{
    QTest::addColumn<QLocale>("locale");
    QTest::addColumn<QString>("expectedFile");
    QTest::addColumn<QString>("expectedLanguage");
    for (const QString &name : catalogueLocales) {
        QTest::newRow(qPrintable(name))
            << QLocale(name) << QStringLiteral(":/translations/glyphd_%1.qm").arg(name) << name;
    }
    // Regional variants fall back to the language's catalogue.
    QTest::newRow("de_AT") << QLocale(QStringLiteral("de_AT"))
                           << QStringLiteral(":/translations/glyphd_de.qm") << QStringLiteral("de");
    QTest::newRow("ru_RU") << QLocale(QStringLiteral("ru_RU"))
                           << QStringLiteral(":/translations/glyphd_ru.qm") << QStringLiteral("ru");
    QTest::newRow("ja_JP") << QLocale(QStringLiteral("ja_JP"))
                           << QStringLiteral(":/translations/glyphd_ja.qm") << QStringLiteral("ja");
    // English is the source language: no catalogue, so the daemon stays untranslated.
    QTest::newRow("en_US") << QLocale(QStringLiteral("en_US")) << QString() << QString();
}

void TestResources::catalogueLoadsForLocale()
{
    QFETCH(QLocale, locale);
    QFETCH(QString, expectedFile);
    QFETCH(QString, expectedLanguage);

    QTranslator translator;
    const bool loaded = translator.load(locale, QStringLiteral("glyphd"), QStringLiteral("_"),
                                        QStringLiteral(":/translations"));
    QCOMPARE(loaded, !expectedFile.isEmpty());
    QCOMPARE(translator.filePath(), expectedFile);
    QCOMPARE(translator.language(), expectedLanguage);
}

void TestResources::compiledCatalogueMatchesItsSource_data()
{
    QTest::addColumn<QString>("locale");
    for (const QString &name : catalogueLocales)
        QTest::newRow(qPrintable(name)) << name;
}

// Every translated text of a catalogue source comes back from the compiled catalogue, and
// keeps the placeholders of its source text.
void TestResources::compiledCatalogueMatchesItsSource()
{
    QFETCH(QString, locale);
    const Catalogue catalogue = readCatalogue(catalogueSource(locale));
    QVERIFY2(!catalogue.entries.isEmpty(), qPrintable(catalogueSource(locale)));

    QTranslator translator;
    QVERIFY(translator.load(QStringLiteral(":/translations/glyphd_%1.qm").arg(locale)));
    for (const CatalogueEntry &entry : catalogue.entries) {
        const QString where = entry.context + QStringLiteral(": ") + entry.source;
        QCOMPARE(translator.translate(entry.context.toUtf8().constData(),
                                      entry.source.toUtf8().constData()),
                 entry.translation);
        QVERIFY2(placeholders(entry.translation) == placeholders(entry.source), qPrintable(where));
        QVERIFY2(entry.translation.contains(QLatin1Char('\n')) ==
                     entry.source.contains(QLatin1Char('\n')),
                 qPrintable(where));
    }
}

void TestResources::cataloguesCoverTheSameTexts()
{
    auto textsOf = [](const QString &locale) {
        QSet<QString> texts;
        for (const CatalogueEntry &entry : readCatalogue(catalogueSource(locale)).entries)
            texts.insert(entry.context + QLatin1Char('\x1f') + entry.source);
        return texts;
    };
    const QSet<QString> reference = textsOf(catalogueLocales.first());
    QVERIFY(!reference.isEmpty());
    for (const QString &locale : catalogueLocales)
        QVERIFY2(textsOf(locale) == reference, qPrintable(locale));
}

void TestResources::itemTitlesAreTranslated_data()
{
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("context");
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("expected");
    const QString usb = QStringLiteral("glyphd::CUsbFlashSystemTrayDataItem");
    const QString bluetooth = QStringLiteral("glyphd::CBluetoothSystemTrayDataItem");
    const QString removable = QStringLiteral("Removable Storage");

    QTest::newRow("de VNC") << "de"
                            << "glyphd::CVncSystemTrayDataItem"
                            << "VNC"
                            << "VNC";
    QTest::newRow("de Wi-Fi") << "de"
                              << "glyphd::CWifiSystemTrayDataItem"
                              << "Wi-Fi"
                              << "WLAN";
    QTest::newRow("de storage") << "de" << usb << removable
                                << QString::fromUtf8("Wechseldatenträger");
    QTest::newRow("fr storage") << "fr" << usb << removable << "Stockage amovible";
    QTest::newRow("ru storage") << "ru" << usb << removable
                                << QString::fromUtf8("Съёмный носитель");
    QTest::newRow("ja storage") << "ja" << usb << removable
                                << QString::fromUtf8("リムーバブル ストレージ");
    QTest::newRow("zh_CN Bluetooth")
        << "zh_CN" << bluetooth << "Bluetooth" << QString::fromUtf8("蓝牙");
    QTest::newRow("zh_TW Bluetooth")
        << "zh_TW" << bluetooth << "Bluetooth" << QString::fromUtf8("藍牙");
    QTest::newRow("ko clock source") << "ko"
                                     << "glyphd::CClockSourceTrayDataItem"
                                     << "ClockSource" << QString::fromUtf8("클럭 소스");
    QTest::newRow("pt_BR file received")
        << "pt_BR" << bluetooth << "File received and placed in the bluetooth inbox.\nFilename: %1"
        << "Arquivo recebido e colocado na caixa de entrada do Bluetooth.\nNome do arquivo: %1";
}

// The daemon's way in: a translator installed in the application, read through tr().
void TestResources::itemTitlesAreTranslated()
{
    QFETCH(QString, locale);
    QFETCH(QString, context);
    QFETCH(QString, source);
    QFETCH(QString, expected);

    QTranslator translator;
    QVERIFY(translator.load(QLocale(locale), QStringLiteral("glyphd"), QStringLiteral("_"),
                            QStringLiteral(":/translations")));
    QVERIFY(QCoreApplication::installTranslator(&translator));
    const QString translated =
        QCoreApplication::translate(context.toUtf8().constData(), source.toUtf8().constData());
    QCoreApplication::removeTranslator(&translator);
    QCOMPARE(translated, expected);
}

QTEST_MAIN(TestResources)
#include "tst_resources.moc"
