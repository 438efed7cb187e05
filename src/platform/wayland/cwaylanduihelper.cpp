#include "cwaylanduihelper.h"

#include <LayerShellQt/Shell>
#include <LayerShellQt/Window>
#include <QGuiApplication>
#include <QWidget>
#include <QWindow>
#include <QtDebug>

#include <wayland-client.h>

#include <cstring>

namespace {

const char *const layerShellInterface = "zwlr_layer_shell_v1";

void noteGlobal(void *data, wl_registry *, uint32_t, const char *interface, uint32_t)
{
    if (std::strcmp(interface, layerShellInterface) == 0)
        *static_cast<bool *>(data) = true;
}

void ignoreGlobalRemoval(void *, wl_registry *, uint32_t) {}

// Asks the compositor on a connection of its own, so that Qt's connection is not touched.
bool compositorHasLayerShell()
{
    wl_display *display = wl_display_connect(nullptr);
    if (!display)
        return false;
    bool found = false;
    static const wl_registry_listener listener = {noteGlobal, ignoreGlobalRemoval};
    wl_registry *registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &listener, &found);
    wl_display_roundtrip(display);
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
    return found;
}

bool s_layerShellChosen = false;

// Qt picks its Wayland shell when the first window is created, from the environment; after
// that the choice stands for the process.
void chooseShellOnce()
{
    static bool chosen = false;
    if (chosen)
        return;
    chosen = true;
    if (QGuiApplication::platformName() != QLatin1String("wayland"))
        return;
    const QByteArray wanted = qgetenv("QT_WAYLAND_SHELL_INTEGRATION");
    if (!wanted.isEmpty()) {
        s_layerShellChosen = wanted == "layer-shell";
        return;
    }
    if (!compositorHasLayerShell()) {
        qDebug("The compositor has no layer shell: warnings are stay-on-top windows");
        return;
    }
    LayerShellQt::Shell::useLayerShell();
    s_layerShellChosen = true;
}

} // namespace

CWaylandUiHelper::CWaylandUiHelper(QObject *parent)
    : QObject(parent)
{
    chooseShellOnce();
}

CWaylandUiHelper::~CWaylandUiHelper() = default;

bool CWaylandUiHelper::usesLayerShell()
{
    return s_layerShellChosen;
}

void CWaylandUiHelper::setSpecialSurface(QWidget *window, int role)
{
    if (!window || role != CriticalNotificationSurface)
        return;
    if (!s_layerShellChosen) {
        window->setWindowFlag(Qt::WindowStaysOnTopHint, true);
        // Changing the flags takes a widget off the screen.
        window->show();
        window->raise();
        return;
    }
    window->winId();
    LayerShellQt::Window *surface = LayerShellQt::Window::get(window->windowHandle());
    if (surface->layer() == LayerShellQt::Window::LayerOverlay)
        return;
    surface->setLayer(LayerShellQt::Window::LayerOverlay);
    // Anchored to no edge, the compositor centres the surface on the output.
    surface->setAnchors(LayerShellQt::Window::Anchors());
    surface->setKeyboardInteractivity(LayerShellQt::Window::KeyboardInteractivityExclusive);
    surface->setScope(QStringLiteral("glyphd-warning"));
    // The layer is part of the surface the compositor made when the window was shown: show the
    // window afresh so that the compositor makes it in the overlay layer.
    if (window->isVisible()) {
        window->hide();
        window->show();
    }
}
