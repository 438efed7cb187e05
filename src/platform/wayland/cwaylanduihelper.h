#pragma once

#include <QObject>

class QWidget;

// Gives the program's windows the places they need on the instrument's desktop. On a wlroots
// compositor the windows of this process are layer-shell surfaces (the choice is made when the
// first helper is created, before any window exists), so a warning can sit in the overlay
// layer, above a full-screen application. On X11, or where the compositor has no layer shell,
// the same roles become stay-on-top windows.
class CWaylandUiHelper : public QObject
{
    Q_OBJECT
public:
    enum SurfaceRole : int {
        NormalSurface = 0,
        // Above everything, full-screen applications included; takes the keyboard.
        CriticalNotificationSurface = 3,
    };

    explicit CWaylandUiHelper(QObject *parent = nullptr);
    ~CWaylandUiHelper() override;

    // Call after the window has been shown. Unknown roles are ignored.
    void setSpecialSurface(QWidget *window, int role);

    // True when this process's windows are layer-shell surfaces.
    static bool usesLayerShell();
};
