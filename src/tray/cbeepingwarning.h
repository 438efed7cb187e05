#pragma once

#include <QObject>
#include <QPixmap>
#include <QString>

#include <memory>

class CWaylandUiHelper;
class QMessageBox;
class QTimer;

namespace glyphd {

// A modal critical box that beeps when it opens and every ten seconds until the user dismisses
// it. Once dismissed it stays closed and silent, whatever is shown, until hideWarning() says
// that the cause has gone.
class CBeepingWarning : public QObject
{
    Q_OBJECT
public:
    enum : int { BeepIntervalMs = 10000, BeepMs = 1000 };

    explicit CBeepingWarning(const QPixmap &iconPixmap);
    ~CBeepingWarning() override;

    // The text is always taken, even when the box stays closed, so a later opening shows it.
    void showWarning(const QString &text);
    void hideWarning();
    // The picture shown in place of the critical icon, from the next showing on.
    void setIconPixmap(const QPixmap &iconPixmap);

    // Null until the first showWarning().
    QMessageBox *box() const { return m_box.get(); }
    QTimer *beepTimer() const { return m_beepTimer.get(); }

public slots:
    void userIgnoredLowBatteryWarning();
    void beep();

private:
    void createBox();

    QPixmap m_iconPixmap;
    bool m_ignored = false;
    std::unique_ptr<QMessageBox> m_box;
    CWaylandUiHelper *const m_surfaceHelper;
    const std::unique_ptr<QTimer> m_beepTimer;
};

} // namespace glyphd
