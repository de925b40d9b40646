// Text for people and for programs, and times and spans as people type them.
#pragma once

#include <cinttypes>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>

namespace ovuser
{

// The length of the UTF-8 character at text in bytes; 0 at the end and for a malformed one.
size_t character_length(const char *text);

// The code point of the character at text if it is invisible: a control character, one that changes the direction of
// text, or a zero-width one that does not belong to the character before; otherwise -1.
int unseen_character(const char *text);

// Prints untrusted text. Control characters and bytes that are not UTF-8 become \033, other invisible characters
// \u202e. Pads to a number of columns.
void print_visible(FILE *stream, const char *text, int columns = 0);

// A text as one word for a shell or a file of clocks, quoted if necessary.
struct Quoted {
    explicit Quoted(const char *plain);
    ~Quoted();
    Quoted(const Quoted &) = delete;
    Quoted &operator=(const Quoted &) = delete;

    const char *text; // the plain text when nothing needs quotes or memory is out

  private:
    char *own_ = nullptr;
};

// An instant as in RFC 3339, in local time: 2030-12-25T09:00:00+01:00. In UTC when the offset of the zone is not in
// whole minutes. Outside the years 1000 to 9999, @ and the seconds since the epoch.
struct TimeText {
    explicit TimeText(time_t instant);
    char text[32];
    bool has_date = false;
};

// A distance without its sign: 3d 2h 5m, 59m 10s. From an hour on it is rounded to minutes, since both ends are known
// to the second only.
struct DistanceText {
    explicit DistanceText(int64_t seconds);
    char text[64];
};

// Writes JSON.
class Json
{
  public:
    // Items of the outermost brackets get lines of their own, unless depth says that the brackets are nested.
    explicit Json(FILE *stream, int depth = 0) : stream_(stream), depth_(depth) {}
    static constexpr int on_one_line = 1;

    // Each writes a comma first where one is needed. Keys are not escaped.
    void open(char bracket, const char *key = nullptr)
    {
        fputc(bracket, begin(key));
        first_ = true;
        ++depth_;
    }
    void close(char bracket)
    {
        fputc(bracket, stream_);
        first_ = false;
        --depth_;
    }
    void number(const char *key, int64_t value) { fprintf(begin(key), "%" PRId64, value); }
    void boolean(const char *key, bool value) { fputs(value ? "true" : "false", begin(key)); }
    void null(const char *key) { fputs("null", begin(key)); }
    // Bytes that are not UTF-8 become U+FFFD. A null pointer becomes null.
    void text(const char *key, const char *value)
    {
        if (value == nullptr)
            return null(key);
        fputc('"', begin(key));
        for (size_t length; *value != '\0'; value += length > 0 ? length : 1) {
            length = character_length(value);
            if (length == 0)
                fputs("\\ufffd", stream_);
            else if (*value == '"' || *value == '\\')
                fprintf(stream_, "\\%c", *value);
            else if (const int unseen = unseen_character(value); unseen >= 0)
                fprintf(stream_, "\\u%04x", static_cast<unsigned>(unseen));
            else
                fwrite(value, 1, length, stream_);
        }
        fputc('"', stream_);
    }

  private:
    FILE *begin(const char *key)
    {
        fputs(first_ ? "" : depth_ == 1 ? ",\n " : ", ", stream_);
        first_ = false;
        if (key != nullptr)
            fprintf(stream_, "\"%s\": ", key);
        return stream_;
    }

    FILE *stream_;
    int depth_;
    bool first_ = true;
};

// Years, days (with weeks), hours and minutes as texts for the engine, null where not given, and seconds, which the
// engine does not know.
struct Span {
    const char *parts[4] = {};
    int64_t seconds = 0;
    char texts[4][12] = {};
};

// Reads a span such as "2d 3h", "-90m" or "1w": whole numbers, each with its own sign and a unit, each unit at most
// once.
bool read_span(const char *typed, Span &span);

// Reads a whole number within bounds.
bool read_whole_number(const char *typed, int64_t least, int64_t most, int64_t &number);

// The allowed clock values: those of contract/clock.h, which the utility does not include.
inline constexpr int64_t earliest_value = 32400, latest_value = 253402329599;
constexpr bool is_in_range(int64_t value)
{
    return value >= earliest_value && value <= latest_value;
}

// For a time that was refused, and the words after it.
void hint_on_time(const char *typed, int count, char *const *behind);

// Prints a hint if some of the words are a time or a span without its option. Returns whether it has.
bool hint_on_stray_time(int count, char *const *words);

// The real time, also when the caller has a virtual clock.
time_t real_time();

// CLOCK_MONOTONIC in nanoseconds.
int64_t monotonic_time();

} // namespace ovuser
