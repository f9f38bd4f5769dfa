#include "common/thread_priority.h"

#include <pthread.h>

namespace engine {

namespace {

void raise(pthread_t thread) {
    sched_param param{};
    param.sched_priority = 10;
    pthread_setschedparam(thread, SCHED_FIFO, &param);
}

} // namespace

void raiseToAudioPriority(std::thread& thread) {
    raise(thread.native_handle());
}

void raiseThisThreadToAudioPriority() {
    raise(pthread_self());
}

} // namespace engine
