// One at a time of those who change clocks: a change of several steps is whole to all others.
#pragma once

namespace ovuser
{

class Lock
{
  public:
    Lock() = default;
    ~Lock() { release(); }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

    // Waits for the others, ten seconds at most. Anything but done is the exit status, with the reason told.
    int take();
    void release();

  private:
    int descriptor_ = -1;
};

} // namespace ovuser
