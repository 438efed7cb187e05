#include "csystemtraydaemon.h"

#include "app/csystemtraywaiter.h"
#include "app/instrumentconfiguration.h"
#include "app/trayitemtable.h"
#include "platform/messaging/exitmessagehandler.h"
#include "tray/csystemtraydataitem.h"
#include "tray/servicenames.h"

#include <memory>

namespace glyphd {

namespace {

// A silent control panel is taken as agreement after this long.
const int kControlPanelRegistrationTimeoutMs = 300000;

} // namespace

CSystemTrayDaemon::CSystemTrayDaemon(const std::string &clientName, QObject *application)
    : MessageHandlerClientTemplate<CThreadWrapper, QMutex>(clientName)
{
    CSystemTrayWaiter().waitForTray();

    const InstrumentConfiguration configuration = InstrumentConfiguration::fromEnvironment();
    for (const TrayItemRow &row : trayItemTable()) {
        if (row.wanted(configuration)) {
            addItem(row.create(this, application));
        }
    }

    m_exitHandler = new platform::message::ExitMessageHandler(this);
    registerHandler(m_exitHandler, false);

    m_defaultHandler = new DefaultMessageHandlerTemplate<CThreadWrapper, QMutex>(this);
    setDefaultHandler(m_defaultHandler);
}

CSystemTrayDaemon::~CSystemTrayDaemon()
{
    // No handler may run once teardown starts.
    if (isConnected()) {
        disconnect();
    }
    setDefaultHandler(nullptr);
    delete m_defaultHandler;
    unregisterHandler(m_exitHandler);
    delete m_exitHandler;
    for (CSystemTrayDataItem *item : qAsConst(m_items)) {
        unregisterHandler(item);
    }
    qDeleteAll(m_items);
    m_items.clear();
}

bool CSystemTrayDaemon::connect(const std::string &host, int port, const std::string &text,
                                int scope, bool force, const std::string &proxyHost, int proxyPort)
{
    if (!MessageHandlerClientTemplate::connect(host, port, text, scope, force, proxyHost,
                                               proxyPort)) {
        return false;
    }
    while (!registerWithControlPanel()) {
        qWarning("The system tray daemon could not register with the control panel.");
    }
    return true;
}

void CSystemTrayDaemon::initializeItems()
{
    for (CSystemTrayDataItem *item : qAsConst(m_items)) {
        item->initialize();
    }
}

void CSystemTrayDaemon::addItem(CSystemTrayDataItem *item)
{
    registerHandler(item, false);
    m_items.append(item);
}

// Only an explicit NACK is a refusal: a control panel that stays silent for the whole
// time-out, or answers in any other way, lets the daemon go on.
bool CSystemTrayDaemon::registerWithControlPanel()
{
    const std::unique_ptr<Message> request(Message::createMessage("register", "YES"));
    request->setDestination(kControlPanelService);
    const std::unique_ptr<Message> reply(
        sendAndWait(kControlPanelService, request.get(), kControlPanelRegistrationTimeoutMs));
    return reply != nullptr && reply->type() != MessageType::NAck;
}

} // namespace glyphd
