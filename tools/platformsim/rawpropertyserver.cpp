#include "rawpropertyserver.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>

RawPropertyServer::RawPropertyServer(const QString &interfaceName, Lookup lookup)
    : m_interfaceName(interfaceName)
    , m_lookup(std::move(lookup))
{}

QString RawPropertyServer::introspect(const QString &) const
{
    return QString();
}

bool RawPropertyServer::handleMessage(const QDBusMessage &message,
                                      const QDBusConnection &connection)
{
    if (message.interface() != QLatin1String("org.freedesktop.DBus.Properties"))
        return false;
    const QList<QVariant> args = message.arguments();
    if (args.isEmpty() || args.at(0).toString() != m_interfaceName)
        return false;
    if (message.member() == QLatin1String("Get") && args.size() == 2) {
        const QVariant value = m_lookup(args.at(1).toString());
        if (!value.isValid())
            return false;
        connection.send(message.createReply(QVariant::fromValue(QDBusVariant(value))));
        return true;
    }
    return false;
}
