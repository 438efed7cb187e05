#include "serviceunit.h"

#include <QFile>
#include <QRegularExpression>
#include <QTextStream>

#include <csignal>

bool ServiceUnit::load(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        qWarning("cannot read %s: %s", qPrintable(path), qPrintable(file.errorString()));
        return false;
    }
    QString section;
    QTextStream stream(&file);
    while (!stream.atEnd()) {
        const QString line = stream.readLine().trimmed();
        if (line.isEmpty() || line.startsWith('#') || line.startsWith(';')) {
            continue;
        }
        if (line.startsWith('[') && line.endsWith(']')) {
            section = line.mid(1, line.size() - 2);
            continue;
        }
        const int equals = line.indexOf('=');
        if (equals > 0) {
            m_values.insert(section + '/' + line.left(equals).trimmed(),
                            line.mid(equals + 1).trimmed());
        }
    }
    return true;
}

QString ServiceUnit::value(const QString &section, const QString &key) const
{
    return m_values.value(section + '/' + key);
}

QStringList ServiceUnit::execStart(const QProcessEnvironment &environment) const
{
    static const QRegularExpression wordPattern("\"([^\"]*)\"|'([^']*)'|(\\S+)");
    static const QRegularExpression wholeVariable("^\\$([A-Za-z_]\\w*)$");
    static const QRegularExpression bracedVariable("\\$\\{([A-Za-z_]\\w*)\\}");
    static const QRegularExpression space("\\s+");

    QStringList words;
    auto matches = wordPattern.globalMatch(value(QStringLiteral("Service"), "ExecStart"));
    while (matches.hasNext()) {
        const QRegularExpressionMatch word = matches.next();
        if (!word.captured(3).isEmpty()) {
            const QRegularExpressionMatch whole = wholeVariable.match(word.captured(3));
            if (whole.hasMatch()) {
                words += environment.value(whole.captured(1)).split(space, Qt::SkipEmptyParts);
                continue;
            }
        }
        const QString text = word.captured(1) + word.captured(2) + word.captured(3);
        QString expanded;
        int done = 0;
        for (auto braced = bracedVariable.globalMatch(text); braced.hasNext();) {
            const QRegularExpressionMatch variable = braced.next();
            expanded += text.mid(done, variable.capturedStart() - done) +
                        environment.value(variable.captured(1));
            done = variable.capturedEnd();
        }
        words += expanded + text.mid(done);
    }
    return words;
}

bool ServiceUnit::restartsAfter(const Ending &ending) const
{
    // The manager counts exit code 0 and the four stop signals as a clean ending.
    const bool clean =
        ending.bySignal ? QList<int>{SIGHUP, SIGINT, SIGTERM, SIGPIPE}.contains(ending.codeOrSignal)
                        : ending.codeOrSignal == 0;
    const QString policy = value(QStringLiteral("Service"), QStringLiteral("Restart"));
    if (policy == QLatin1String("always")) {
        return true;
    }
    if (policy == QLatin1String("on-success")) {
        return clean;
    }
    if (policy == QLatin1String("on-failure")) {
        return !clean;
    }
    if (policy == QLatin1String("on-abnormal") || policy == QLatin1String("on-abort")) {
        return ending.bySignal && !clean;
    }
    return false; // "no", "on-watchdog" and unset
}
