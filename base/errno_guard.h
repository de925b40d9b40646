#pragma once

#include <cerrno>

namespace ov
{

// Gives errno back as it was when the scope ends: what a kernel command left there is read long after.
class ErrnoGuard
{
  public:
    ErrnoGuard() : kept_(errno) {}
    ~ErrnoGuard() { errno = kept_; }
    ErrnoGuard(const ErrnoGuard &) = delete;
    ErrnoGuard &operator=(const ErrnoGuard &) = delete;

  private:
    int kept_;
};

} // namespace ov
