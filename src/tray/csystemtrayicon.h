#pragma once

#include <QFont>
#include <QHash>
#include <QPixmap>
#include <QString>
#include <QSystemTrayIcon>

#include <memory>

class QMenu;
class QPen;
class QTimer;

namespace glyphd {

// The status-bar icon of one item. A small integer state picks the picture from a table shared
// by every icon of the process; state 0 hides the icon. Balloons asked for while the icon has
// only just appeared are held back until the tray had time to place it, and a balloon may take
// its icon away again shortly before the balloon itself expires.
class CSystemTrayIcon : public QSystemTrayIcon
{
    Q_OBJECT
public:
    enum : int {
        HiddenState = 0,
        ShowDelayMs = 3000,      // balloons wait this long after the icon appears
        DefaultBalloonMs = 10000 // duration of a balloon asked for with a negative time
    };

    CSystemTrayIcon(const QString &title, QObject *parent, const QFont &font);
    ~CSystemTrayIcon() override;

    // The picture file for a state; states without a picture of their own get the unknown one.
    static QString iconFileForState(int state);

    // Selects the state's picture (or hides the icon for state 0); what is on screen changes
    // with the next refresh().
    void setState(int state);
    int state() const { return m_state; }
    // Puts the current picture on screen and shows or hides the icon.
    void refresh();

    // Draw on the current picture only; the cached picture of the state stays clean, so the
    // next setState() of the same state starts from the bare picture again.
    void drawText(const QString &text, int x, int y, const QPen &pen);
    // Centred in the rectangle, with a smaller, slightly spaced-out font.
    void drawTextInRect(const QString &text, int x, int y, int width, int height, const QPen &pen);

    // A title of "default" stands for the icon's own title; a negative time for 10 s; an empty
    // text clears the balloon area. With autoHide the icon hides 500 ms before the balloon ends.
    void showBalloon(const QString &text, QSystemTrayIcon::MessageIcon iconKind,
                     const QString &title, int milliseconds, bool autoHide);
    void hideBalloon();

    const QString &title() const { return m_title; }
    const QFont &font() const { return m_font; }
    const QPixmap &currentPixmap() const { return m_currentPixmap; }

signals:
    // Every kind of activation: a tap, a double tap, a context request or a middle click.
    void trayIconClicked();
    // Every balloon handed to the tray, the blank one of hideBalloon() included; lets a test
    // see what an item told the user without a tray to show it.
    void balloonPresented(const QString &title, const QString &text,
                          QSystemTrayIcon::MessageIcon iconKind, int milliseconds);

public slots:
    void slotIconActivated(QSystemTrayIcon::ActivationReason reason);
    void slotMessageClicked();
    void slotShowTimeout();
    void slotHideTimeout();

protected:
    // Subclasses that paint their own picture (the battery gauge) draw on the current one.
    QPixmap &canvas() { return m_currentPixmap; }

private:
    // Hands one balloon to the tray; the one place where a balloon leaves this class.
    void presentMessage(const QString &title, const QString &text,
                        QSystemTrayIcon::MessageIcon iconKind, int milliseconds);

    struct PendingBalloon
    {
        QString title;
        QString text;
        QSystemTrayIcon::MessageIcon iconKind = QSystemTrayIcon::NoIcon;
        int milliseconds = 0;
        bool autoHide = false;
    };

    void hideAfterBalloon();

    QPixmap m_currentPixmap;
    int m_state = HiddenState;
    QHash<int, QPixmap> m_pixmapCache;
    const QString m_title;
    QTimer *const m_hideTimer;
    const QFont m_font;
    bool m_autoHidePending = false;
    PendingBalloon m_pendingBalloon;
    QTimer *const m_showTimer;
    // Parentless, as a tray menu must be; the icon is its only user.
    const std::unique_ptr<QMenu> m_contextMenu;
};

} // namespace glyphd
