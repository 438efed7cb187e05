#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

// One numeric field of /proc/PID/status ("VmRSS" in KiB, "voluntary_ctxt_switches", ...), or
// -1 when the process or the field is gone. The memory and idle checks of the tests and
// benchmarks all read the kernel's own figures this way.
inline long procStatusField(qint64 pid, const QByteArray &field)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (QByteArray line; !(line = status.readLine()).isEmpty();) {
        if (line.startsWith(field + ':'))
            return line.mid(field.size() + 1).trimmed().split(' ').value(0).toLong();
    }
    return -1;
}
