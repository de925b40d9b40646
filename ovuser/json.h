// Writes JSON. By hand, since a library would be the first thing besides the C library that a tool of the superuser's
// loads.
#pragma once

#include <cinttypes>
#include <cstdio>

#include "ovuser/text.h"

namespace ovuser
{

class Json
{
  public:
    // What is within the outermost brackets stands on lines of its own, unless depth says that they are within others.
    explicit Json(FILE *stream, int depth = 0) : stream_(stream), depth_(depth) {}
    static constexpr int on_one_line = 1;

    // Each puts itself behind what was there. A key is written as it is, and so is a word: true, false or null.
    void open(char bracket, const char *key = nullptr) { fputc(bracket, begin(key)), first_ = true, ++depth_; }
    void close(char bracket) { fputc(bracket, stream_), first_ = false, --depth_; }
    void number(const char *key, int64_t value) { fprintf(begin(key), "%" PRId64, value); }
    void word(const char *key, const char *value) { fputs(value, begin(key)); }
    // A byte that is no part of UTF-8 becomes U+FFFD.
    void text(const char *key, const char *value)
    {
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

} // namespace ovuser
