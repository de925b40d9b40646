#pragma once

#include "contract/zynov.h"
#include "ov_helper.h"

namespace ov
{

// The record of every command, shared by requests, the listing and the high-mark query. It keeps what the module wrote
// until it is cleared.
extern zynov_iov theiov;

// The control file of one request, closed at the end of the scope. errno stays as the last command left it.
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

// Empties the record and sets its version.
void clear_record();

// Refines a clock, and returns as ov_refine_clock does. The record has the answer.
int refine(const ControlFile &control, uint64_t container, int32_t kind, int32_t id, const ov_refined &wanted);

// Sends the record with a command. Returns the module's result; errno is the module's, too.
int send_command(int descriptor, unsigned long command);

} // namespace ov
