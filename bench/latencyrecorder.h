#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

// Times every iteration of a benchmark on its own, so that a run reports its latency
// distribution (median and 99th percentile, in microseconds) and not only the mean.
class LatencyRecorder
{
public:
    using Clock = std::chrono::steady_clock;

    void add(Clock::time_point start) { m_samples.push_back(Clock::now() - start); }

    void report(benchmark::State &state)
    {
        if (m_samples.empty())
            return;
        std::sort(m_samples.begin(), m_samples.end());
        state.counters["p50_us"] = microseconds(0.50);
        state.counters["p99_us"] = microseconds(0.99);
    }

private:
    double microseconds(double quantile) const
    {
        const auto index = static_cast<std::size_t>(quantile * double(m_samples.size() - 1));
        return std::chrono::duration<double, std::micro>(m_samples[index]).count();
    }

    std::vector<Clock::duration> m_samples;
};
