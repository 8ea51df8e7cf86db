#pragma once
// The one way a long job waits for its worker threads while its window stays
// alive: each round waits until `ready()` holds (checked under `mutex`) or
// `interval` has passed, runs `underLock` with the mutex still held (to take what
// the workers left), then `round` without it (to show it); the round's false ends
// the wait, else `pump` (the host's DoEvents) runs and the next round begins.
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace velloran {

inline void WaitPumping(std::mutex& mutex, std::condition_variable& cv,
                        std::chrono::milliseconds interval, const std::function<bool()>& ready,
                        const std::function<void()>& underLock, const std::function<bool()>& round,
                        const std::function<void()>& pump) {
    for (;;) {
        {
            std::unique_lock lock(mutex);
            cv.wait_for(lock, interval, ready);
            underLock();
        }
        if (!round()) return;
        if (pump) pump();
    }
}

}  // namespace velloran
