#pragma once

namespace ov
{

// A caller's message slot, which may be null: then nothing is formatted and nothing allocated. What the caller left
// there is his, and may be no text from malloc: it is replaced, but only what this object put there is freed. Making a
// message leaves errno as it is.
class Message
{
  public:
    explicit Message(char **slot) : slot_(slot) {}

    bool pending() const { return slot_ != nullptr && *slot_ != nullptr; }

    // The pending text.
    const char *text() const { return *slot_; }

    // Replaces what is there. Without memory the slot is left empty.
    void set(const char *format, ...) __attribute__((format(printf, 2, 3)));

    // Takes over a text from malloc, null included.
    void take(char *text);

  private:
    char **slot_;
    char *own_ = nullptr;
};

} // namespace ov
