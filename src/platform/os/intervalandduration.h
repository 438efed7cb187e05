#pragma once

#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QString>

Q_DECLARE_LOGGING_CATEGORY(lcTiming)

namespace generic::timing {

// Measures one interval and writes its duration to the debug log of the "glyphd.timing"
// category (off unless enabled with QT_LOGGING_RULES="glyphd.timing.debug=true").
class IntervalAndDuration
{
public:
    explicit IntervalAndDuration(const QString &name);

    void start();
    void stop();
    // Logs the last measured interval.
    void output() const;

    // The last measured interval in microseconds; -1 before the first stop().
    qint64 durationUs() const { return m_durationUs; }

private:
    QString m_name;
    QElapsedTimer m_timer;
    qint64 m_durationUs = -1;
};

} // namespace generic::timing
