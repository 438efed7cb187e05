#include "benchprocess.h"

#include <QtDebug>

bool BenchProcess::start(const QStringList &args, const QString &readyText)
{
    if (!launch(args))
        return false;
    const auto readyLine = [&] {
        for (const QString &line : standardError().split('\n')) {
            if (line.startsWith(readyText) && standardError().contains(line + '\n')) {
                m_detail = line.mid(readyText.size()).trimmed();
                return true;
            }
        }
        return false;
    };
    if (!waitUntil([&] { return readyLine() || !isRunning(); }, 10000) || !isRunning()) {
        qWarning("%s did not get ready: %s", qPrintable(programName()),
                 qPrintable(standardError()));
        return false;
    }
    return true;
}
