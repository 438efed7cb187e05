#include "simulatedservice.h"

#include "rawpropertyserver.h"

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QMetaProperty>

SimulatedService::SimulatedService(const QDBusConnection &connection, const QString &serviceName,
                                   const QString &path, const QString &interfaceName)
    : m_connection(connection)
    , m_serviceName(serviceName)
    , m_path(path)
    , m_interfaceName(interfaceName)
{}

SimulatedService::~SimulatedService()
{
    leave();
}

void SimulatedService::setAdaptor(QDBusAbstractAdaptor *adaptor)
{
    m_adaptor = adaptor;
    // Every property starts at its type's default, as a freshly started service reports.
    const QMetaObject *meta = m_adaptor->metaObject();
    for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        setProperty(property.name(), QVariant(property.userType(), nullptr));
    }
    m_rawServer = std::make_unique<RawPropertyServer>(
        m_interfaceName, [this](const QString &name) -> QVariant {
            return m_wrongTypeAnswers.contains(name) ? m_wrongTypeAnswers.value(name)
                                                     : property(name.toLatin1().constData());
        });
}

bool SimulatedService::hasProperty(const QString &name) const
{
    return m_adaptor->metaObject()->indexOfProperty(name.toLatin1().constData()) >= 0;
}

bool SimulatedService::parseValue(const QString &name, const QString &text, QVariant *value) const
{
    const QMetaObject *meta = m_adaptor->metaObject();
    const int index = meta->indexOfProperty(name.toLatin1().constData());
    if (index < 0)
        return false;
    bool ok = true;
    switch (meta->property(index).userType()) {
    case QMetaType::Bool:
        ok = text == QLatin1String("true") || text == QLatin1String("false") ||
             text == QLatin1String("1") || text == QLatin1String("0");
        *value = text == QLatin1String("true") || text == QLatin1String("1");
        break;
    case QMetaType::UInt:
        *value = text.toUInt(&ok);
        break;
    case QMetaType::Int:
        *value = text.toInt(&ok);
        break;
    case QMetaType::Double:
        *value = text.toDouble(&ok);
        break;
    default:
        *value = text;
        break;
    }
    return ok;
}

void SimulatedService::store(const QString &name, const QVariant &value)
{
    setProperty(name.toLatin1().constData(), value);
    if (m_wrongTypeAnswers.remove(name) && m_wrongTypeAnswers.isEmpty() && m_joined) {
        unregisterObject();
        registerObject();
    }
}

void SimulatedService::change(const QString &name, const QVariant &value)
{
    store(name, value);
    emitChanged({{name, value}});
}

void SimulatedService::emitChanged(const QVariantMap &changed)
{
    QDBusMessage signal =
        QDBusMessage::createSignal(m_path, QStringLiteral("org.freedesktop.DBus.Properties"),
                                   QStringLiteral("PropertiesChanged"));
    signal << m_interfaceName << changed << QStringList();
    m_connection.send(signal);
}

void SimulatedService::answerWithString(const QString &name, const QString &text)
{
    m_wrongTypeAnswers.insert(name, text);
    if (m_joined) {
        unregisterObject();
        registerObject();
    }
}

// The generated adaptor answers property reads itself, always in the interface's type. While
// some property is to be answered with another type, the object is served by the raw property
// server instead, which answers property reads only.
bool SimulatedService::registerObject()
{
    if (m_wrongTypeAnswers.isEmpty())
        return m_connection.registerObject(m_path, this, QDBusConnection::ExportAdaptors);
    return m_connection.registerVirtualObject(m_path, m_rawServer.get());
}

void SimulatedService::unregisterObject()
{
    m_connection.unregisterObject(m_path);
}

bool SimulatedService::join()
{
    if (m_joined)
        return true;
    if (!registerObject())
        return false;
    if (!m_connection.registerService(m_serviceName)) {
        unregisterObject();
        return false;
    }
    m_joined = true;
    return true;
}

void SimulatedService::leave()
{
    if (!m_joined)
        return;
    m_connection.unregisterService(m_serviceName);
    unregisterObject();
    m_joined = false;
}
