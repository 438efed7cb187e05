#include "servicepropertyreader.h"

#include "platformservices.h"

#include <QDBusAbstractInterface>
#include <QDBusMessage>
#include <QDBusVariant>

namespace glyphd {

QVariant readServiceProperty(const QDBusAbstractInterface &proxy, const char *name)
{
    QDBusMessage get = QDBusMessage::createMethodCall(
        proxy.service(), proxy.path(), QLatin1String(platformservices::PropertiesInterface),
        QStringLiteral("Get"));
    get << proxy.interface() << QString::fromLatin1(name);
    const QDBusMessage reply = proxy.connection().call(get, QDBus::Block, proxy.timeout());
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 1)
        return QVariant();
    return qvariant_cast<QDBusVariant>(reply.arguments().constFirst()).variant();
}

} // namespace glyphd
