#pragma once

namespace ov
{

// A caller's message slot. If it is null, nothing is formatted or allocated. A text that the caller left there need not
// be from malloc: it is replaced and never freed. Keeps errno.
class Message
{
  public:
    explicit Message(char **slot) : slot_(slot) {}

    bool pending() const { return slot_ != nullptr && *slot_ != nullptr; }

    // The pending text.
    const char *text() const { return *slot_; }

    // Replaces the text. The slot is empty afterwards if memory runs out.
    void set(const char *format, ...) __attribute__((format(printf, 2, 3)));

    // Takes over a text from malloc, or null.
    void take(char *text);

  private:
    char **slot_;
    char *own_ = nullptr;
};

} // namespace ov
