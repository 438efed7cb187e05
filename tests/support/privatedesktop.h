#pragma once

#include "managedprocess.h"

#include <QProcessEnvironment>

// A private desktop for tests that run the daemon as a program, set up the way the end-to-end
// tests do it (scripts/desktop/session.sh): a session bus, Xvfb and the stand-in tray host
// sni_host.py. Everything ends with the object.
class PrivateDesktop : public ManagedProcess
{
public:
    PrivateDesktop();
    ~PrivateDesktop() override;

    // Brings up the bus, the display and the tray host, and waits for the host.
    bool start();

    // What a program needs to use this desktop: its bus and display, and no service manager.
    QProcessEnvironment environment() const { return m_environment; }

private:
    QProcessEnvironment m_environment;
};
