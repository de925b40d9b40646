// A growable array of plain records.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <type_traits>

namespace ovuser
{

template <typename T> class Array
{
  public:
    static_assert(std::is_trivially_copyable_v<T>);

    Array() = default;
    ~Array() { free(items_); }
    Array(const Array &) = delete;
    Array &operator=(const Array &) = delete;

    // May move the items. Returns null when there is no memory.
    T *add(const T &item)
    {
        if (count_ == room_) {
            const size_t room = 2 * room_ + 16;
            void *more = realloc(items_, room * sizeof(T)); // NOLINT(bugprone-sizeof-expression): T may be a pointer
            if (more == nullptr)
                return nullptr;
            items_ = static_cast<T *>(more);
            room_ = room;
        }
        items_[count_] = item;
        return &items_[count_++];
    }
    // Drops all items after the first ones.
    void shorten(size_t count) { count_ = count; }

    size_t count() const { return count_; }
    T &operator[](size_t index) { return items_[index]; }
    T *begin() { return items_; }
    T *end() { return items_ + count_; }
    const T *begin() const { return items_; }
    const T *end() const { return items_ + count_; }

  private:
    T *items_ = nullptr;
    size_t count_ = 0, room_ = 0;
};

} // namespace ovuser
