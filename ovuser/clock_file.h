// A file of clocks: a line each, in the words that `ovuser add` takes. Quotes and backslashes are a shell's, but
// nothing is expanded; a word that begins with # begins a comment.
#pragma once

#include <cstddef>

#include "ovuser/array.h"

namespace ovuser
{

// How the first line of a saved file begins, and its last one, without which not all of it was written.
inline constexpr char saved_first[] = "# Virtual clocks as of ", saved_last[] = "# end";

class ClockFile
{
  public:
    // "-" is standard input.
    explicit ClockFile(const char *path);
    ~ClockFile();
    ClockFile(const ClockFile &) = delete;
    ClockFile &operator=(const ClockFile &) = delete;

    // Anything but done is the exit status, with the reason told.
    int read();
    // Tells of every line that has characters in it which no line may have, and skips it from then on. Returns the exit
    // status.
    int check_characters();
    // Whether a saved file has been saved to its end.
    int check_end() const;
    // The words of the next line that has some, as a main function gets them, with the name of the file as the first.
    // They stay, but the array is used again. The count is 0 behind the last line. Anything but done is the exit status
    // for a wrong line, with the reason told.
    int next_line(char **&words, int &count);

    const char *name() const { return name_; }
    // The line that next_line() was at.
    int line() const { return line_; }

  private:
    int check_owner(int descriptor) const;
    bool read_all(int descriptor);
    int read_word();

    const char *path_, *name_;
    char *text_ = nullptr;       // all of it, and behind it room for all of its words
    const char *next_ = nullptr; // what is to be read next
    char *words_end_ = nullptr;  // where the next word goes
    Array<char *> words_;        // those of one line, and a null
    size_t length_ = 0;
    int line_ = 1;
};

} // namespace ovuser
