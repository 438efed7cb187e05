#include "intervalandduration.h"

Q_LOGGING_CATEGORY(lcTiming, "glyphd.timing", QtWarningMsg)

namespace generic::timing {

IntervalAndDuration::IntervalAndDuration(const QString &name)
    : m_name(name)
{}

void IntervalAndDuration::start()
{
    m_timer.start();
}

void IntervalAndDuration::stop()
{
    m_durationUs = m_timer.isValid() ? m_timer.nsecsElapsed() / 1000 : -1;
    m_timer.invalidate();
}

void IntervalAndDuration::output() const
{
    qCDebug(lcTiming, "%s: %lld us", qPrintable(m_name), static_cast<long long>(m_durationUs));
}

} // namespace generic::timing
