// SPDX-License-Identifier: MIT
//
// The rule about how messages get into the queue.

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "tools/numa_score/conformance/cast.h"
#include "tools/numa_score/conformance/rules.h"

namespace conformance {
namespace {

constexpr std::chrono::milliseconds LONGEST_WAKE(500);
constexpr std::chrono::microseconds BETWEEN_LOOKS(50);

/// Watches the queue of an actor during each call: somebody waits on its condition, as a host does, and a
/// message of the host's is in it already.
class PushWatch {
public:
    explicit PushWatch(Actor& watched)
        : actor(watched),
          queue(watched.Instance().messageQueue),
          earlier(
              std::make_shared<kovari::InstanceRunMessage>(RunType::SUBSCRIBE, std::vector<std::string>())),
          host([this] { Wait(); })
    {
        actor.SetAround([this] { Before(); }, [this] { After(); });
    }
    PushWatch(const PushWatch&) = delete;
    PushWatch& operator=(const PushWatch&) = delete;
    ~PushWatch()
    {
        actor.SetAround(nullptr, nullptr);
        {
            const std::lock_guard<std::mutex> lock(queue->mutex);
            stopped = true;
            queue->condition.notify_all();
        }
        host.join();
    }

    std::size_t pushed = 0;
    std::string fault;

private:
    void Wait()
    {
        std::unique_lock<std::mutex> lock(queue->mutex);
        while (!stopped) {
            waiting = true;
            queue->condition.wait(lock);
            waiting = false;
            ++wakes;
        }
    }

    /// The host waits for sure when this returns.
    void Before()
    {
        for (;;) {
            {
                const std::lock_guard<std::mutex> lock(queue->mutex);
                if (waiting) {
                    wakesBefore = wakes;
                    queue->messages.push_front(earlier);
                    return;
                }
            }
            std::this_thread::sleep_for(BETWEEN_LOOKS);
        }
    }

    void After()
    {
        const auto limit = std::chrono::steady_clock::now() + LONGEST_WAKE;
        std::unique_lock<std::mutex> lock(queue->mutex);
        if (queue->messages.empty() || queue->messages.front() != earlier) {
            Note("put a message before one that was waiting, or took that out");
            queue->messages.clear();
            return;
        }
        queue->messages.pop_front();
        pushed += queue->messages.size();
        while (!queue->messages.empty() && fault.empty() && wakes == wakesBefore) {
            if (std::chrono::steady_clock::now() >= limit) {
                Note("pushed a message and did not wake the host that waits on the queue's condition");
            }
            lock.unlock();
            std::this_thread::sleep_for(BETWEEN_LOOKS);
            lock.lock();
        }
    }

    void Note(const char* what) { fault = fault.empty() ? what : fault; }

    Actor& actor;
    std::shared_ptr<RunMessageQueue> queue;
    std::shared_ptr<kovari::InstanceRunMessage> earlier;
    // Of both threads, under the queue's mutex.
    bool waiting = false;
    bool stopped = false;
    std::size_t wakes = 0;
    std::size_t wakesBefore = 0;
    std::thread host;
};

}  // namespace

Verdict ExaminePush(const std::string& path, const Notes& notes)
{
    Cast cast(path, notes);
    std::size_t pushed = 0;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        PushWatch watch(*actor);
        LiveOrdinarily(*actor);
        if (!watch.fault.empty()) {
            return Failed(About(*actor, watch.fault));
        }
        pushed += watch.pushed;
    }
    return pushed == 0 ? NotApplicable("nothing was sent") : Passed("at the back, with a wake");
}

}  // namespace conformance
