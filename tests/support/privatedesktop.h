#pragma once

#include "managedprocess.h"

#include <QDBusConnection>
#include <QProcessEnvironment>

// A private desktop for tests that run the daemon as a program, set up the way the end-to-end
// tests do it (scripts/desktop/session.sh): a session bus and Xvfb at once, and the stand-in
// tray host sni_host.py when startHost() asks for it. Everything ends with the object.
class PrivateDesktop : public ManagedProcess
{
public:
    PrivateDesktop();
    ~PrivateDesktop() override;

    // Brings up the bus and the display and connects this process to the bus.
    bool start();
    // Starts the tray host without waiting for it to come up.
    void startHost();
    bool hostIsUp() const;
    // Starts the host unless it is up, and waits for it.
    bool ensureHost(int timeoutMs = 30000);

    QDBusConnection bus() const;
    // What a program needs to use this desktop: its bus and display, and no service manager.
    QProcessEnvironment environment() const { return m_environment; }

private:
    QProcessEnvironment m_environment;
};
