// How intervals pass for this process: by a timeline, which the process may be ahead of.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "simulator/process/cache.h"
#include "simulator/process/wait.h"
#include "simulator/table/timeline.h"

namespace sim
{

// A process that changes to a timeline that is behind continues from the time that it saw.
struct Course {
    Generation generation; // table: that of the lookup, plus 1; 0 before the first lookup
    uint64_t is_virtual;
    ClockRate monotonic;
    Timeline timeline; // with the distance that the process is ahead
    Instants ahead;
};

// The course of a process, shared by its threads and signal handlers, so that none ever sees time go back.
//
// A reader loads the word before and after it reads the time. A writer marks the word busy, reads the time, and clears
// the mark when the new course is stored; readers wait meanwhile. A signal handler that interrupted the writer would
// wait for ever. So a reader that cannot wait any longer, or reads while the table changes, counts itself in the word
// after it has read the time. The new course then begins with what that reader may have seen.
class CourseKeeper
{
  public:
    struct Look {
        uint64_t word;
        bool is_virtual, is_unsure;
        ClockRate monotonic;
    };

    // Call before reading the time; returns false if the course must be looked up. `may_call`: whether system calls are
    // allowed while waiting for another thread.
    template <typename MayCall> bool look(const Generation &wanted, Look &found, const MayCall &may_call);
    // Call after reading the time; returns false if the reading is void.
    bool holds(const Look &look);

    // The whole course, as of the last begin.
    Course load() const { return load_copy(word_.load(std::memory_order_acquire)); }

    // Looks the course up. `find` returns a timeline, its generation, and the instants of the table's last change;
    // `now` returns the present instants.
    template <typename Find, typename Now> void move_on(const Find &find, const Now &now);

    // Lets the course be looked up again.
    void forget() { copies_[word_.load(std::memory_order_acquire) / one_version % 2][1].store(UINT64_MAX); }

    // Call in a forked child: a thread of the parent may have been changing the course, and does not exist in the
    // child.
    void end_move() { word_.fetch_and(~busy, std::memory_order_release); }

  private:
    static constexpr uint64_t busy = 1, one_count = 2, counts = 0xfffffffe, one_version = uint64_t{1} << 32;
    static constexpr size_t words = sizeof(Course) / sizeof(uint64_t);
    static constexpr size_t place_of_virtual = offsetof(Course, is_virtual) / sizeof(uint64_t);
    using Words = std::array<uint64_t, words>;
    using Copy = std::array<std::atomic<uint64_t>, words>;

    const Copy &copy_of(uint64_t word) const { return copies_[word / one_version % 2]; }
    Course load_copy(uint64_t word) const;
    uint64_t wait_until_free(bool may_call);

    std::atomic<uint64_t> word_;
    std::atomic<uint64_t> given_up_; // the version whose successor nobody waits for any longer, plus 1
    std::array<Copy, 2> copies_;
};

// The next course of a process that had another one until some instants. On the same timeline it continues unchanged,
// unless it read the time during a change.
inline Course next_course(Course last, const Timeline &timeline, const Generation &generation, const Instants &until,
                          bool read_meanwhile)
{
    Course next = {{generation.table + 1, generation.identity}, timeline.speed != 1, {}, timeline, {}};
    const bool is_first = last.generation.table == 0, goes_on = timeline.number == last.timeline.number;
    if (is_first)
        last.timeline = real_timeline;
    for (size_t i = 0; i < until.size(); ++i) {
        int64_t &ahead = next.ahead[i];
        ahead = goes_on ? last.ahead[i] : 0;
        if (read_meanwhile || !(is_first || goes_on))
            ahead = std::max(ahead, zynov_difference(last.timeline.at(i, until[i]), timeline.at(i, until[i])));
        next.timeline.shown[i] = zynov_sum(timeline.shown[i], ahead);
        if (next.timeline.shown[i] != next.timeline.real[i])
            next.is_virtual = 1;
    }
    next.monotonic = next.timeline.rate(0);
    return next;
}

inline Course CourseKeeper::load_copy(uint64_t word) const
{
    Words found;
    for (size_t i = 0; i < words; ++i)
        found[i] = copy_of(word)[i].load(std::memory_order_acquire);
    return std::bit_cast<Course>(found);
}

// A thread that changes the course may be stopped, and a child that shares this memory may be killed.
[[gnu::noinline]] inline uint64_t CourseKeeper::wait_until_free(bool may_call)
{
    uint64_t word = word_.load(std::memory_order_acquire);
    if (given_up_.load(std::memory_order_relaxed) == word / one_version + 1)
        return word;
    for (Wait wait(may_call); (word & busy) != 0 && wait.rest();)
        word = word_.load(std::memory_order_acquire);
    if ((word & busy) != 0)
        given_up_.store(word / one_version + 1, std::memory_order_relaxed);
    return word;
}

template <typename MayCall>
[[gnu::always_inline]] inline bool CourseKeeper::look(const Generation &wanted, Look &found, const MayCall &may_call)
{
    found.word = word_.load(std::memory_order_acquire);
    if ((found.word & busy) != 0) [[unlikely]]
        found.word = wait_until_free(may_call());
    const Copy &copy = copy_of(found.word);
    const bool is_busy = (found.word & busy) != 0;
    found.is_unsure = is_busy || wanted.table % 2 != 0;
    found.is_virtual = copy[place_of_virtual].load(std::memory_order_acquire) != 0;
    if (found.is_virtual)
        [&]<size_t... i>(std::index_sequence<i...>) // unrolled, so that no word goes through memory
        {
            found.monotonic = std::bit_cast<ClockRate>(
                std::array<uint64_t, sizeof...(i)>{copy[place_of_virtual + 1 + i].load(std::memory_order_acquire)...});
        }
    (std::make_index_sequence<sizeof(ClockRate) / sizeof(uint64_t)>());
    return is_busy || (copy[0].load(std::memory_order_acquire) == wanted.table + 1 &&
                       copy[1].load(std::memory_order_acquire) == wanted.identity);
}

inline bool CourseKeeper::holds(const Look &look)
{
    uint64_t word = look.word;
    if (look.is_unsure && ((word & busy) != 0 || (word & counts) == 0)) [[unlikely]]
        return word_.compare_exchange_strong(word, word + one_count, std::memory_order_acq_rel);
    return word_.load(std::memory_order_relaxed) == word;
}

template <typename Find, typename Now> void CourseKeeper::move_on(const Find &find, const Now &now)
{
    uint64_t word = word_.load(std::memory_order_acquire), next_word;
    if ((word & busy) != 0 || !word_.compare_exchange_strong(word, word | busy, std::memory_order_acq_rel))
        return;
    const Course last = load_copy(word);
    Timeline timeline;
    Instants changed;
    const Generation generation = find(timeline, changed);
    word |= busy;
    do {
        const bool read_meanwhile = (word & counts) != 0, by_table = last.generation.table != generation.table + 1;
        const auto next = std::bit_cast<Words>(
            next_course(last, timeline, generation, by_table && !read_meanwhile ? changed : now(), read_meanwhile));
        next_word = (word / one_version + 1) * one_version;
        for (size_t i = 0; i < words; ++i)
            copies_[next_word / one_version % 2][i].store(next[i], std::memory_order_release);
    } while (!word_.compare_exchange_strong(word, next_word, std::memory_order_acq_rel));
}

} // namespace sim
