#include "cbeepingwarning.h"

#include "platform/beeper/beeper.h"
#include "platform/wayland/cwaylanduihelper.h"

#include <QMessageBox>
#include <QTimer>

namespace glyphd {

CBeepingWarning::CBeepingWarning(const QPixmap &iconPixmap)
    : QObject(nullptr)
    , m_iconPixmap(iconPixmap)
    , m_surfaceHelper(new CWaylandUiHelper(this))
    , m_beepTimer(new QTimer)
{
    m_beepTimer->setInterval(BeepIntervalMs);
    m_beepTimer->setSingleShot(false);
    connect(m_beepTimer.get(), SIGNAL(timeout()), this, SLOT(beep()));
}

CBeepingWarning::~CBeepingWarning()
{
    m_box.reset();
}

void CBeepingWarning::createBox()
{
    m_box.reset(new QMessageBox(QMessageBox::Critical, tr("System Warning"), tr("Default Warning"),
                                QMessageBox::Ignore, nullptr,
                                Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint));
    m_box->setIconPixmap(m_iconPixmap);
    m_box->setModal(true);
    // Ignore, Escape or closing the window: each counts as the user having seen the warning.
    connect(m_box.get(), SIGNAL(finished(int)), this, SLOT(userIgnoredLowBatteryWarning()));
}

void CBeepingWarning::setIconPixmap(const QPixmap &iconPixmap)
{
    m_iconPixmap = iconPixmap;
    if (m_box)
        m_box->setIconPixmap(m_iconPixmap);
}

void CBeepingWarning::showWarning(const QString &text)
{
    if (!m_box)
        createBox();
    m_box->setText(text);
    if (m_box->isVisible() || m_ignored)
        return;
    m_box->show();
    m_surfaceHelper->setSpecialSurface(m_box.get(), CWaylandUiHelper::CriticalNotificationSurface);
    m_beepTimer->start();
    beep();
}

void CBeepingWarning::hideWarning()
{
    if (m_box && m_box->isVisible()) {
        m_box->hide();
        m_beepTimer->stop();
    }
    m_ignored = false;
}

void CBeepingWarning::userIgnoredLowBatteryWarning()
{
    m_ignored = true;
    m_beepTimer->stop();
}

void CBeepingWarning::beep()
{
    Beeper::beepInMs(BeepMs);
}

} // namespace glyphd
