#pragma once

#include <QMap>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

// The parts of a systemd service unit that a stand-in service manager needs: its settings,
// the command line of ExecStart= as the manager builds it, and the Restart= decision.
class ServiceUnit
{
public:
    // How a main process ended: by itself with an exit code, or killed by a signal.
    struct Ending
    {
        bool bySignal = false;
        int codeOrSignal = 0;
    };

    // False (with a warning) when the file cannot be read.
    bool load(const QString &path);

    // The last value of "key" in "[section]"; empty when it is not set.
    QString value(const QString &section, const QString &key) const;

    // ExecStart= split into words the way the manager does: quotes group words, "$NAME" as a
    // word of its own becomes the variable's words (none when unset), "${NAME}" its text.
    QStringList execStart(const QProcessEnvironment &environment) const;

    // Whether the manager starts the service again after this ending under Restart=.
    bool restartsAfter(const Ending &ending) const;

private:
    QMap<QString, QString> m_values; // "Section/Key" -> value
};
