#pragma once

#include <cerrno>

namespace ov
{

// Restores errno at the end of the scope: the errno of a kernel command is read much later.
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
