#include "ostask.h"

#include <atomic>

namespace {

std::atomic<int> attachedCount{0};
thread_local bool attachedHere = false;

} // namespace

void osTaskAttach()
{
    if (!attachedHere) {
        attachedHere = true;
        ++attachedCount;
    }
}

void osTaskDetach()
{
    if (attachedHere) {
        attachedHere = false;
        --attachedCount;
    }
}

int osTaskAttachedCount()
{
    return attachedCount.load();
}
