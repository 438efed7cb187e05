#pragma once

#include <QDBusVirtualObject>
#include <QString>
#include <QVariant>

#include <functional>

// Answers org.freedesktop.DBus.Properties Get of one interface with whatever values
// the lookup gives, of whatever type: the way to hand a client a property of the wrong type.
class RawPropertyServer : public QDBusVirtualObject
{
    Q_OBJECT
public:
    using Lookup = std::function<QVariant(const QString &name)>;

    RawPropertyServer(const QString &interfaceName, Lookup lookup);

    QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    const QString m_interfaceName;
    const Lookup m_lookup;
};
