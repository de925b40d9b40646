// Reads the time and waits in all ways of the C++ standard library.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <future>
#include <mutex>
#include <semaphore>
#include <shared_mutex>
#include <thread>

using namespace std::chrono;

static double uptime()
{
    double seconds = 0;
    std::ifstream("/proc/uptime") >> seconds;
    return seconds;
}

template <typename Wait> static void waits(const char *way, const Wait &wait, const char *kind = "waits")
{
    const double begin = uptime();
    wait();
    printf("%s %s %.0f\n", kind, way, 1000 * (uptime() - begin));
    fflush(stdout);
}

// This wait reads the clock again by itself, so that a frozen clock never ends it.
template <typename Wait> static void waits_by_clock(const char *way, const Wait &wait)
{
    static std::atomic<bool> done;
    done = false;
    waits(
        way,
        [&] {
            std::thread([wait] { wait(), done = true; }).detach();
            for (int tenths = 0; !done && tenths < 60; ++tenths)
                std::this_thread::sleep_for(100ms);
        },
        "waits-by-clock");
}

int main()
{
    printf("reads system_clock %ld\n", static_cast<long>(system_clock::to_time_t(system_clock::now())));
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable condition;
    std::promise<void> promise;
    const auto future = promise.get_future();
    std::timed_mutex timed;
    std::shared_timed_mutex shared;
    std::counting_semaphore<1> semaphore(0);
    timed.lock();
    shared.lock();
    const auto in_thread = [](const auto &wait) { return [&] { std::thread(wait).join(); }; };
    const auto soon = [] { return system_clock::now() + 1s; };
    waits("sleep_for", [] { std::this_thread::sleep_for(1s); });
    waits("condition.wait_for", [&] { condition.wait_for(lock, 1s); });
    waits("condition.wait_until", [&] { condition.wait_until(lock, soon()); });
    waits("future.wait_for", [&] { future.wait_for(1s); });
    waits("future.wait_until", [&] { future.wait_until(soon()); });
    waits("mutex.try_lock_until", in_thread([&] { timed.try_lock_until(soon()); }));
    waits("shared.try_lock_until", in_thread([&] { shared.try_lock_until(soon()); }));
    waits("shared.try_lock_shared_until", in_thread([&] { shared.try_lock_shared_until(soon()); }));
    waits("semaphore.try_acquire_for", [&] { semaphore.try_acquire_for(1s); });
    waits_by_clock("semaphore.try_acquire_until", [&] { semaphore.try_acquire_until(soon()); });
    waits_by_clock("sleep_until", [&] { std::this_thread::sleep_until(soon()); });
    quick_exit(0);
}
