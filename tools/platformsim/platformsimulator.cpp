#include "platformsimulator.h"

#include "simulatedclocksourceservice.h"
#include "simulatedgpsservice.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

namespace {

// "word rest of the line": the first word and everything after the space that ends it.
QPair<QString, QString> splitFirstWord(const QString &text)
{
    const int space = text.indexOf(QLatin1Char(' '));
    if (space < 0)
        return {text, QString()};
    return {text.left(space), text.mid(space + 1)};
}

} // namespace

PlatformSimulator::PlatformSimulator(const QDBusConnection &connection)
    : m_gps(std::make_unique<SimulatedGpsService>(connection))
    , m_clockSource(std::make_unique<SimulatedClockSourceService>(connection))
{}

PlatformSimulator::~PlatformSimulator() = default;

void PlatformSimulator::printEvent(const QString &event, const QString &key, const QString &value)
{
    QJsonObject object{{QStringLiteral("event"), event}};
    if (!key.isEmpty())
        object.insert(key, value);
    std::fputs(QJsonDocument(object).toJson(QJsonDocument::Compact).constData(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

SimulatedService *PlatformSimulator::owner(const QString &property) const
{
    if (m_gps->hasProperty(property))
        return m_gps.get();
    if (m_clockSource->hasProperty(property))
        return m_clockSource.get();
    return nullptr;
}

QVector<SimulatedService *> PlatformSimulator::servicesNamed(const QString &which) const
{
    if (which == QLatin1String("gps"))
        return {m_gps.get()};
    if (which == QLatin1String("clocksource"))
        return {m_clockSource.get()};
    if (which == QLatin1String("all"))
        return {m_gps.get(), m_clockSource.get()};
    return {};
}

bool PlatformSimulator::presetValue(const QString &assignment)
{
    const int equals = assignment.indexOf(QLatin1Char('='));
    return equals > 0 && changeProperty(QStringLiteral("store"), assignment.left(equals),
                                        assignment.mid(equals + 1));
}

bool PlatformSimulator::joinAll()
{
    for (SimulatedService *service : servicesNamed(QStringLiteral("all"))) {
        if (!service->join()) {
            printEvent(QStringLiteral("error"), QStringLiteral("text"),
                       QStringLiteral("cannot own ") + service->serviceName());
            return false;
        }
    }
    return true;
}

bool PlatformSimulator::changeProperty(const QString &command, const QString &name,
                                       const QString &text)
{
    SimulatedService *service = owner(name);
    if (!service) {
        printEvent(QStringLiteral("error"), QStringLiteral("text"),
                   QStringLiteral("unknown property: ") + name);
        return false;
    }
    if (command == QLatin1String("wrongtype")) {
        service->answerWithString(name, text);
        return true;
    }
    QVariant value;
    if (!service->parseValue(name, text, &value)) {
        printEvent(QStringLiteral("error"), QStringLiteral("text"),
                   QStringLiteral("not a value of %1: %2").arg(name, text));
        return false;
    }
    if (command != QLatin1String("signal"))
        service->store(name, value);
    if (command != QLatin1String("store"))
        service->emitChanged({{name, value}});
    return true;
}

void PlatformSimulator::joinOrLeave(const QString &command, const QString &which)
{
    const QVector<SimulatedService *> services = servicesNamed(which);
    if (services.isEmpty()) {
        printEvent(QStringLiteral("error"), QStringLiteral("text"),
                   QStringLiteral("unknown service: ") + which);
        return;
    }
    for (SimulatedService *service : services) {
        if (command == QLatin1String("leave")) {
            service->leave();
            printEvent(QStringLiteral("left"), QStringLiteral("service"), service->serviceName());
        } else if (service->join()) {
            printEvent(QStringLiteral("joined"), QStringLiteral("service"), service->serviceName());
        } else {
            printEvent(QStringLiteral("error"), QStringLiteral("text"),
                       QStringLiteral("cannot own ") + service->serviceName());
        }
    }
}

void PlatformSimulator::execute(const QString &line)
{
    const auto [command, rest] = splitFirstWord(line);
    if (command == QLatin1String("set") || command == QLatin1String("store") ||
        command == QLatin1String("signal") || command == QLatin1String("wrongtype")) {
        const auto [name, value] = splitFirstWord(rest);
        changeProperty(command, name, value);
    } else if (command == QLatin1String("join") || command == QLatin1String("leave")) {
        joinOrLeave(command, rest.trimmed());
    } else if (command == QLatin1String("echo")) {
        printEvent(QStringLiteral("echo"), QStringLiteral("text"), rest);
    } else if (command == QLatin1String("quit")) {
        QCoreApplication::exit(0);
    } else {
        printEvent(QStringLiteral("error"), QStringLiteral("text"),
                   QStringLiteral("unknown command: ") + command);
    }
}
