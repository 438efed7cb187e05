#include "csystemtrayicon.h"

#include <QIcon>
#include <QImage>
#include <QMap>
#include <QMenu>
#include <QPainter>
#include <QPen>
#include <QTimer>

namespace glyphd {

namespace {

const QString &unknownStateFile()
{
    static const QString file = QStringLiteral(":/icons/SysTrayUnknown.png");
    return file;
}

// Shown when a state's picture cannot be loaded at all.
const QString &unloadableIconFile()
{
    static const QString file = QStringLiteral(":/icons/SysTrayIconUnknown.png");
    return file;
}

// One table for the whole process. States 4 to 8 are blank canvases for painted pictures;
// 30 to 33 are deliberately left free.
const QMap<int, QString> &stateTable()
{
    static const QMap<int, QString> table = {
        {1, QStringLiteral(":/icons/SysTrayUsbFlashGreen.png")},
        {2, QStringLiteral(":/icons/SysTrayUsbFlashConnected.png")},
        {3, QStringLiteral(":/icons/SysTrayUsbFlashError.png")},
        {4, QStringLiteral(":/icons/SysTrayEmpty.png")},
        {5, QStringLiteral(":/icons/SysTrayEmpty.png")},
        {6, QStringLiteral(":/icons/SysTrayEmpty.png")},
        {7, QStringLiteral(":/icons/SysTrayEmpty.png")},
        {8, QStringLiteral(":/icons/SysTrayEmpty.png")},
        {9, QStringLiteral(":/icons/SysTrayVnc.png")},
        {10, QStringLiteral(":/icons/SysTrayVncMultiple.png")},
        {11, QStringLiteral(":/icons/SysTrayAudio.png")},
        {12, QStringLiteral(":/icons/SysTrayBluetooth.png")},
        {13, QStringLiteral(":/icons/SysTrayR7300mInvalid.png")},
        {14, QStringLiteral(":/icons/SysTrayR7300mInvalid.png")},
        {15, QStringLiteral(":/icons/SysTrayVellumActive.png")},
        {16, QStringLiteral(":/icons/SysTrayVellumRefresh.png")},
        {17, QStringLiteral(":/icons/SysTrayVellumSuccess.png")},
        {18, QStringLiteral(":/icons/SysTrayVellumError.png")},
        {19, QStringLiteral(":/icons/SysTrayJobManagerActive.png")},
        {20, QStringLiteral(":/icons/SysTrayNtp.png")},
        {21, QStringLiteral(":/icons/SysTrayWifiDisconnected.png")},
        {22, QStringLiteral(":/icons/SysTrayWifiConnected.png")},
        {23, QStringLiteral(":/icons/SysTrayGpsPresent.png")},
        {24, QStringLiteral(":/icons/SysTrayGpsInactive.png")},
        {25, QStringLiteral(":/icons/SysTrayGpsLocked.png")},
        {26, QStringLiteral(":/icons/SysTrayGpsLocked_dual.png")},
        {27, QStringLiteral(":/icons/SysTrayGpsSearch.png")},
        {28, QStringLiteral(":/icons/SysTrayClockSearching.png")},
        {29, QStringLiteral(":/icons/SysTrayClockInt.png")},
        {34, QStringLiteral(":/icons/SysTrayClock10MUnlocked.png")},
        {35, QStringLiteral(":/icons/SysTrayClock10MLocked.png")},
        {36, QStringLiteral(":/icons/SysTrayClock13MUnlocked.png")},
        {37, QStringLiteral(":/icons/SysTrayClock13MLocked.png")},
        {38, QStringLiteral(":/icons/SysTrayClock15MUnlocked.png")},
        {39, QStringLiteral(":/icons/SysTrayClock15MLocked.png")},
        {40, QStringLiteral(":/icons/SysTrayClockGPSUnlocked.png")},
        {41, QStringLiteral(":/icons/SysTrayClockGPSLocked.png")},
        {42, QStringLiteral(":/icons/SysTrayFanFaulty.png")},
        {43, QStringLiteral(":/icons/SysTrayLaserWarning.png")},
    };
    return table;
}

// How long before the end of an auto-hiding balloon its icon goes away.
constexpr int autoHideLeadMs = 500;

} // namespace

CSystemTrayIcon::CSystemTrayIcon(const QString &title, QObject *parent, const QFont &font)
    : QSystemTrayIcon(parent)
    , m_title(title)
    , m_hideTimer(new QTimer(this))
    , m_font(font)
    , m_showTimer(new QTimer(this))
    , m_contextMenu(new QMenu)
{
    connect(this, SIGNAL(activated(QSystemTrayIcon::ActivationReason)), this,
            SLOT(slotIconActivated(QSystemTrayIcon::ActivationReason)));
    connect(this, SIGNAL(messageClicked()), this, SLOT(slotMessageClicked()));

    // Both delays are promises to the user: a coarse timer may end them up to 5 % early or
    // late, which would show a balloon before the tray placed the icon, or take the icon away
    // only after its balloon is gone.
    m_showTimer->setObjectName(QStringLiteral("showTimer"));
    m_showTimer->setTimerType(Qt::PreciseTimer);
    m_showTimer->setSingleShot(true);
    m_showTimer->setInterval(ShowDelayMs);
    connect(m_showTimer, SIGNAL(timeout()), this, SLOT(slotShowTimeout()));

    m_hideTimer->setObjectName(QStringLiteral("hideTimer"));
    m_hideTimer->setTimerType(Qt::PreciseTimer);
    m_hideTimer->setSingleShot(true);
    connect(m_hideTimer, SIGNAL(timeout()), this, SLOT(slotHideTimeout()));

    setContextMenu(m_contextMenu.get());
    // Several items share the tray; the title tells their icons apart for the user.
    setToolTip(m_title);
}

CSystemTrayIcon::~CSystemTrayIcon() = default;

QString CSystemTrayIcon::iconFileForState(int state)
{
    return stateTable().value(state, unknownStateFile());
}

void CSystemTrayIcon::setState(int state)
{
    m_hideTimer->stop();
    m_state = state;
    if (state == HiddenState) {
        setVisible(false);
        return;
    }
    auto cached = m_pixmapCache.constFind(state);
    // Through QImage: QPixmap(file) would also put the picture in Qt's global pixmap cache,
    // whose ageing timer then wakes the idle daemon every 30 s; this cache is enough.
    if (cached == m_pixmapCache.constEnd())
        cached = m_pixmapCache.insert(state, QPixmap::fromImage(QImage(iconFileForState(state))));
    m_currentPixmap = *cached;
}

void CSystemTrayIcon::refresh()
{
    m_hideTimer->stop();
    if (m_state == HiddenState) {
        setVisible(false);
        return;
    }
    setIcon(m_currentPixmap.isNull() ? QIcon(unloadableIconFile()) : QIcon(m_currentPixmap));
    if (!isVisible()) {
        setVisible(true);
        m_showTimer->start();
    }
}

void CSystemTrayIcon::drawText(const QString &text, int x, int y, const QPen &pen)
{
    if (m_currentPixmap.isNull())
        return;
    QPainter painter(&m_currentPixmap);
    painter.setFont(m_font);
    painter.setPen(pen);
    painter.drawText(x, y, text);
}

void CSystemTrayIcon::drawTextInRect(const QString &text, int x, int y, int width, int height,
                                     const QPen &pen)
{
    if (m_currentPixmap.isNull())
        return;
    QFont smallFont = m_font;
    if (smallFont.pixelSize() != -1)
        smallFont.setPixelSize(smallFont.pixelSize() - 7);
    else
        smallFont.setPointSizeF(smallFont.pointSizeF() - 2);
    smallFont.setLetterSpacing(QFont::AbsoluteSpacing, 1.0);

    QPainter painter(&m_currentPixmap);
    painter.setFont(smallFont);
    painter.setPen(pen);
    painter.drawText(QRect(QPoint(x, y), QPoint(x + width - 1, y + height - 1)), Qt::AlignCenter,
                     text);
}

void CSystemTrayIcon::showBalloon(const QString &text, QSystemTrayIcon::MessageIcon iconKind,
                                  const QString &title, int milliseconds, bool autoHide)
{
    m_hideTimer->stop();
    if (milliseconds < 0)
        milliseconds = DefaultBalloonMs;

    // The tray may not have placed a freshly shown icon yet, and a balloon would then point
    // nowhere: keep only the latest one until the show timer runs out.
    if (m_showTimer->isActive()) {
        m_pendingBalloon = {title, text, iconKind, milliseconds, autoHide};
        return;
    }

    m_autoHidePending = autoHide;
    if (autoHide)
        m_hideTimer->start(qMax(0, milliseconds - autoHideLeadMs));

    if (text.isEmpty())
        hideBalloon();
    else
        presentMessage(title == QLatin1String("default") ? m_title : title, text, iconKind,
                       milliseconds);
    m_pendingBalloon = {};
}

void CSystemTrayIcon::hideBalloon()
{
    // The tray has no call to withdraw a balloon; a blank one that expires at once replaces it.
    presentMessage(QString(), QString(), QSystemTrayIcon::NoIcon, 1);
}

void CSystemTrayIcon::presentMessage(const QString &title, const QString &text,
                                     QSystemTrayIcon::MessageIcon iconKind, int milliseconds)
{
    emit balloonPresented(title, text, iconKind, milliseconds);
    showMessage(title, text, iconKind, milliseconds);
}

void CSystemTrayIcon::slotIconActivated(QSystemTrayIcon::ActivationReason)
{
    // On a touch screen every kind of activation is the user's tap.
    emit trayIconClicked();
}

void CSystemTrayIcon::slotMessageClicked()
{
    hideAfterBalloon();
}

void CSystemTrayIcon::slotShowTimeout()
{
    if (m_pendingBalloon.text.isEmpty())
        return;
    const PendingBalloon balloon = m_pendingBalloon;
    m_pendingBalloon = {};
    showBalloon(balloon.text, balloon.iconKind, balloon.title, balloon.milliseconds,
                balloon.autoHide);
}

void CSystemTrayIcon::slotHideTimeout()
{
    hideAfterBalloon();
}

void CSystemTrayIcon::hideAfterBalloon()
{
    if (!m_autoHidePending)
        return;
    m_hideTimer->stop();
    m_autoHidePending = false;
    setState(HiddenState);
}

} // namespace glyphd
