#pragma once

#include "tray/csinglevaluetraydataitem.h"

namespace glyphd {

// The USB inspection microscope: a warning icon and a critical balloon while the microscope is
// plugged into a port where it cannot work, or is a model the instrument does not support.
// Anyone may report it, the first state comes from the device nodes the platform creates, and
// a tap shows the warning again instead of raising a settings page.
class CR7300mSystemTrayDataItem : public CSingleValueTrayDataItem
{
    Q_OBJECT
public:
    // deviceDirectory holds the platform's microscope device nodes; tests give their own.
    CR7300mSystemTrayDataItem(SyncSenderClient *client, QObject *parent,
                              const QString &deviceDirectory = QStringLiteral("/dev"));
    ~CR7300mSystemTrayDataItem() override;

    // The first state is that of the device nodes; the control panel is not asked.
    void initialize() override;
    void onIconClicked() override;

protected:
    // A repeated report neither refreshes the icon nor repeats the warning.
    void applyValue(const QByteArray &value) override;

private:
    void applyState(int state);
    void showWarning(int state);
    // Whether a node named prefix followed by 0 to 31 exists.
    bool anyDeviceNode(const char *prefix) const;

    const QString m_deviceDirectory;
};

} // namespace glyphd
