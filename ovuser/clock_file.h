// A file of clocks. Each line has the words that `ovuser add` takes. Quotes and backslashes work as in a shell, nothing
// is expanded, and a word that begins with # begins a comment.
#pragma once

#include <cstddef>

#include "ovuser/array.h"

namespace ovuser
{

// How the first line of a saved file begins, and what its last line is. Without the last line the file is incomplete.
inline constexpr char saved_first[] = "# Virtual clocks as of ", saved_last[] = "# end";

class ClockFile
{
  public:
    // "-" is standard input.
    explicit ClockFile(const char *path);
    ~ClockFile();
    ClockFile(const ClockFile &) = delete;
    ClockFile &operator=(const ClockFile &) = delete;

    // Reads the whole file.
    int read();
    // Reports each line with a character that is not allowed, and makes next_line() skip it.
    int check_characters();
    // Reports a saved file that is incomplete.
    int check_end() const;
    // Stores the words of the next line that has some, like argv, with the name of the file first. The words stay
    // valid, the array until the next call. The count is 0 after the last line. Returns an error for this line only.
    int next_line(char **&words, int &count);

    const char *name() const { return name_; }
    // The number of the line that next_line() has read.
    int line() const { return line_; }

  private:
    int check_owner(int descriptor) const;
    bool read_all(int descriptor);
    int read_word();

    const char *path_, *name_;
    char *text_ = nullptr;       // the file, and after it room for its words
    const char *next_ = nullptr; // the rest of the file
    char *words_end_ = nullptr;  // where to write the next word
    Array<char *> words_;        // of one line, with a final null
    size_t length_ = 0;
    int line_ = 1;
};

} // namespace ovuser
