#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>

#include <memory>

// A desktop for the daemon's tests: a private session bus, an X server (Xvfb) and a
// stand-in StatusNotifier host (trayhost.py). Everything it starts is killed when it goes.
class TrayHostFixture
{
public:
    TrayHostFixture();
    ~TrayHostFixture();

    TrayHostFixture(const TrayHostFixture &) = delete;
    TrayHostFixture &operator=(const TrayHostFixture &) = delete;

    // The session bus alone.
    bool startBus();
    // Xvfb, for Qt's xcb platform.
    bool startDisplay();
    // The StatusNotifier watcher on the bus, saying whether a host is registered.
    bool startHost(bool hostRegistered = true);
    // Starts the host delayMs from now, without waiting for it.
    bool startHostAfter(int delayMs);
    void stopHost();
    // Bus, display and a registered host.
    bool startAll();

    QString busAddress() const { return m_busAddress; }
    // What a glyphd started by the test needs to find this desktop.
    QProcessEnvironment environment() const;

private:
    QProcessEnvironment hostEnvironment() const;
    static bool startAndReadLine(QProcess &process, const QString &program, const QStringList &args,
                                 QString &line);

    QProcess m_bus;
    QProcess m_display;
    QProcess m_host;
    QString m_busAddress;
    QString m_displayName;
};
