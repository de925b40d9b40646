#pragma once

#include "contract/zynov.h"

namespace ov
{

// The one kernel record, through which every command goes. Shared by the request engine, the listing and
// the high-mark query; what the module left in it stays, from one command to the next, unless it is cleared.
extern zynov_iov theiov;

// The open control file of one request; closed when it goes out of scope, on every way out.
class ControlFile
{
  public:
    ControlFile();
    ~ControlFile();
    ControlFile(const ControlFile &) = delete;
    ControlFile &operator=(const ControlFile &) = delete;

    bool is_open() const { return descriptor_ >= 0; }
    int descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

// Empties the record and stamps it with the interface version.
void clear_record();

// Sends the record with a command and returns what the module returns; errno is the module's too.
int send_command(int descriptor, unsigned long command);

} // namespace ov
