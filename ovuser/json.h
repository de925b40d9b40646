// Writes JSON, without a library: the utility loads nothing but the C library.
#pragma once

#include <cinttypes>
#include <cstdio>

#include "ovuser/text.h"

namespace ovuser
{

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

} // namespace ovuser
