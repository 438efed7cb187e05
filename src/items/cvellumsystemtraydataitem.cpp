#include "cvellumsystemtraydataitem.h"

#include "platform/message/message.h"
#include "tray/csystemtrayicon.h"

namespace glyphd {

namespace {

enum VellumState : int {
    NotSetUpState = 0,
    IdleState = 15,
    TransferState = 16,
    SuccessState = 17,
    ErrorState = 18
};

struct KeywordRule
{
    const char *keyword;
    VellumState state;
};
// Tried in order, the first keyword found anywhere in the status wins: a text with both
// "SUCCESS" and "ERR" is a success. An empty status counts as not set up.
const KeywordRule kKeywordRules[] = {
    {"INITIALIZED", NotSetUpState}, {"NO_ACCOUNT_ID", NotSetUpState},
    {"SUCCESS", SuccessState},      {"ERR", ErrorState},
    {"FAILURE", ErrorState},        {"SEND", TransferState},
    {"RECEIVING", TransferState},   {"UPGRADING", TransferState},
    {"DOWNLOADING", TransferState},
};

} // namespace

// The icon belongs to the item, not to the daemon's application object.
CVellumSystemTrayDataItem::CVellumSystemTrayDataItem(SyncSenderClient *client, QObject *)
    : CSingleValueTrayDataItem(client, nullptr, CVellumSystemTrayDataItem::tr("Vellum"),
                               {"VELLUM_STATUS",
                                "VELLUM_",
                                "VELLUM",
                                "CVellumSystemTrayDataItem failed to initialized",
                                {},
                                /* otherState */ IdleState,
                                kControlPanelService,
                                /* keyMustMatch */ true,
                                "vellum_"})
{}

CVellumSystemTrayDataItem::~CVellumSystemTrayDataItem() = default;

// The page commands carry no status; any other message is read as a status notification.
void CVellumSystemTrayDataItem::processMessage(Message *message)
{
    const std::string &command = message->command();
    if (command.find("page_shown") == std::string::npos &&
        command.find("page_hidden") == std::string::npos) {
        CSingleValueTrayDataItem::processMessage(message);
        return;
    }
    const int state = trayIcon()->state();
    if (state == SuccessState || state == ErrorState)
        showState(NotSetUpState);
}

int CVellumSystemTrayDataItem::stateForValue(const QByteArray &value) const
{
    if (value.isEmpty())
        return NotSetUpState;
    for (const KeywordRule &rule : kKeywordRules) {
        if (value.contains(rule.keyword))
            return rule.state;
    }
    return description().otherState;
}

} // namespace glyphd
