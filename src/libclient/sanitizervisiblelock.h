#pragma once

// Qt's own mutexes lock inside the Qt library, which the thread sanitizer does not see: to
// it, everything a QMutex guards looks unguarded. This wrapper tells the sanitizer about each
// lock and unlock; in any other build it is the plain mutex.
#if defined(__SANITIZE_THREAD__)
#define GLYPHD_TSAN_ANNOTATE 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define GLYPHD_TSAN_ANNOTATE 1
#endif
#endif

#ifdef GLYPHD_TSAN_ANNOTATE
extern "C" void __tsan_acquire(void *address);
extern "C" void __tsan_release(void *address);
#endif

// The same for a thread's end and the join that waits for it (QThread::wait()).
inline void sanitizerHappensBefore([[maybe_unused]] void *address)
{
#ifdef GLYPHD_TSAN_ANNOTATE
    __tsan_release(address);
#endif
}

inline void sanitizerHappensAfter([[maybe_unused]] void *address)
{
#ifdef GLYPHD_TSAN_ANNOTATE
    __tsan_acquire(address);
#endif
}

template<class Mutex>
class SanitizerVisibleLock
{
public:
    void lock()
    {
        m_mutex.lock();
        sanitizerHappensAfter(this);
    }

    void unlock()
    {
        sanitizerHappensBefore(this);
        m_mutex.unlock();
    }

private:
    Mutex m_mutex;
};
