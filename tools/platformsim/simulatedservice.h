#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <memory>

class QDBusAbstractAdaptor;
class RawPropertyServer;

// One simulated platform service on the bus: its properties (kept as dynamic properties of
// this object, where the generated adaptor reads them), its bus name and object, and the
// PropertiesChanged signal. Subclasses add the interface's methods for the adaptor to call.
class SimulatedService : public QObject
{
    Q_OBJECT
public:
    ~SimulatedService() override;

    const QString &serviceName() const { return m_serviceName; }
    // The interface's properties with their types, read from the adaptor.
    bool hasProperty(const QString &name) const;

    // Text to the property's type; false for an unknown property or a value of another type.
    bool parseValue(const QString &name, const QString &text, QVariant *value) const;

    // Stores a value without a signal; a wrong-type answer of the property ends with it.
    void store(const QString &name, const QVariant &value);
    // PropertiesChanged carrying these values, which are not stored.
    void emitChanged(const QVariantMap &changed);
    // Reads of the property answer this string until the property is stored again.
    void answerWithString(const QString &name, const QString &text);

    bool join();
    void leave();
    bool isJoined() const { return m_joined; }

protected:
    SimulatedService(const QDBusConnection &connection, const QString &serviceName,
                     const QString &path, const QString &interfaceName);
    // Called by subclass constructors once their adaptor exists.
    void setAdaptor(QDBusAbstractAdaptor *adaptor);

    // For the interface's commands: stores and signals in one go.
    void change(const QString &name, const QVariant &value);

private:
    bool registerObject();
    void unregisterObject();

    QDBusConnection m_connection;
    const QString m_serviceName;
    const QString m_path;
    const QString m_interfaceName;
    QDBusAbstractAdaptor *m_adaptor = nullptr;
    std::unique_ptr<RawPropertyServer> m_rawServer;
    QVariantMap m_wrongTypeAnswers;
    bool m_joined = false;
};
