#pragma once

#include <cstdio>

namespace ov
{

// A caller's message slot, which may be null: then nothing is formatted and nothing allocated. The text in
// it always comes from malloc. No function here changes errno.
class Message
{
  public:
    explicit Message(char **slot) : slot_(slot) {}

    bool pending() const { return slot_ != nullptr && *slot_ != nullptr; }

    // Replaces what is there, freeing it. Without memory the slot is left empty.
    void set(const char *format, ...) __attribute__((format(printf, 2, 3)));

    // Takes over a text from malloc, null included. There must be a slot.
    void take(char *text);

    // Prints the text, if there is one, and empties the slot.
    void flush(FILE *stream);

  private:
    char **slot_;
};

} // namespace ov
