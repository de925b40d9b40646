#include "ovuser/clock_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "ovuser/message.h"
#include "ovuser/text.h"

namespace ovuser
{

ClockFile::ClockFile(const char *path)
    : path_(strcmp(path, "-") != 0 ? path : nullptr), name_(path_ != nullptr ? path : "standard input")
{
}

ClockFile::~ClockFile()
{
    free(text_);
}

// Whoever can write the file decides what root does. This checks the open file, so the path does not matter; whoever
// sets up a pipe answers for it.
int ClockFile::check_owner(int descriptor) const
{
    struct stat file;
    if (fstat(descriptor, &file) != 0)
        return failed("%s: %s", name_, strerror(errno));
    if (!S_ISREG(file.st_mode))
        return failed("%s: not a regular file; - is standard input", name_);
    const bool anothers = file.st_uid != 0, writable = (file.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    if (getuid() != 0 || (!anothers && !writable))
        return done;
    const Quoted name(name_);
    return failed("%s: others than root may write it: %s%s%s%s%s", name_, anothers ? "chown root " : "",
                  anothers ? name.text : "", anothers && writable ? " && " : "", writable ? "chmod go-w " : "",
                  writable ? name.text : "");
}

bool ClockFile::read_all(int descriptor)
{
    for (size_t room = 0;;) {
        if (length_ == room) {
            room = 2 * room + 16384;
            void *more = realloc(text_, 2 * room + 2); // a word needs its characters and a null byte
            if (more == nullptr)
                return false;
            text_ = static_cast<char *>(more);
        }
        const ssize_t count = ::read(descriptor, text_ + length_, room - length_);
        if (count == 0)
            break;
        if (count > 0)
            length_ += static_cast<size_t>(count);
        else if (errno != EINTR)
            return false;
    }
    text_[length_] = '\0';
    next_ = text_;
    words_end_ = text_ + length_ + 1;
    return true;
}

// No name or time has control characters, and a null byte would hide the rest. Makes such a line a comment, so that the
// other lines are still checked.
int ClockFile::check_characters()
{
    static constexpr char mark[] = "\xef\xbb\xbf";
    int status = done, number = 1;
    bool dos = false;
    if (strncmp(text_, mark, strlen(mark)) == 0) {
        memset(text_, ' ', strlen(mark));
        status = usage_error("%s: a byte order mark at its beginning: save it as UTF-8 without one", name_);
    }
    for (char *line = text_, *const end = text_ + length_; line < end; ++number) {
        auto *line_end = static_cast<char *>(memchr(line, '\n', static_cast<size_t>(end - line)));
        line_end = line_end != nullptr ? line_end : end;
        const SourcePosition here(name_, number);
        if (line_end > line && line_end[-1] == '\r') {
            line_end[-1] = ' ';
            if (!dos) // reported once
                status = usage_error("DOS line ends: sed -i 's/\\r$//' takes them out");
            dos = true;
        }
        bool told = false;
        for (char *next = line; next < line_end; ++next) {
            const auto character = static_cast<unsigned char>(*next);
            if ((character >= ' ' && character != 0x7f) || character == '\t')
                continue;
            if (!told)
                status = usage_error("a control character, \\%03o", unsigned{character});
            told = true;
            *next = '?';
        }
        if (told)
            *line = '#';
        line = line_end + 1;
    }
    return status;
}

// Only saved files need their last line.
int ClockFile::check_end() const
{
    if (strncmp(text_, saved_first, strlen(saved_first)) != 0)
        return done;
    for (const char *line = text_; (line = strchr(line, '\n')) != nullptr;) {
        const size_t length = strcspn(++line, "\n");
        if (length == strlen(saved_last) && strncmp(line, saved_last, length) == 0)
            return done;
    }
    return usage_error("%s: not all of it was saved: the line '%s' is missing", name_, saved_last);
}

int ClockFile::read()
{
    int descriptor = STDIN_FILENO;
    if (path_ != nullptr) {
        descriptor = open(path_, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); // does not wait for a pipe
        const int error = errno;
        if (descriptor < 0)
            return failed("%s: %s", Quoted(name_).text, strerror(error));
        if (const int status = check_owner(descriptor)) {
            close(descriptor);
            return status;
        }
    }
    const bool whole = read_all(descriptor);
    const int read_error = errno;
    if (path_ != nullptr)
        close(descriptor);
    return whole ? int{done} : failed("%s: %s", name_, strerror(read_error));
}

int ClockFile::read_word()
{
    if (words_.add(words_end_) == nullptr)
        return usage_error("no memory");
    char quote = '\0';
    for (; *next_ != '\0' && *next_ != '\n'; ++next_) {
        if (quote == '\0' && (*next_ == ' ' || *next_ == '\t'))
            break;
        if (*next_ == quote) {
            quote = '\0';
        } else if (quote == '\0' && (*next_ == '\'' || *next_ == '"')) {
            quote = *next_;
        } else {
            // Between double quotes a backslash is literal unless it precedes a special character.
            if (*next_ == '\\' && (quote == '\0' || (quote == '"' && strchr("\"\\$`", next_[1]) != nullptr)))
                ++next_;
            if (*next_ == '\0' || *next_ == '\n')
                return usage_error("nothing follows the backslash");
            *words_end_++ = *next_;
        }
    }
    *words_end_++ = '\0';
    return quote == '\0' ? int{done} : usage_error("a quote is not closed");
}

int ClockFile::next_line(char **&words, int &count)
{
    words_.shorten(0);
    count = 1;
    if (words_.add(const_cast<char *>(name_)) == nullptr) // nobody writes to it
        return failed("no memory");
    for (;;) {
        next_ += strspn(next_, " \t");
        if (*next_ == '#')
            next_ += strcspn(next_, "\n");
        count = static_cast<int>(words_.count());
        if (*next_ == '\0' && count == 1) {
            count = 0;
            return done;
        }
        const SourcePosition here(name_, line_);
        if (*next_ == '\0' || (*next_ == '\n' && count > 1)) {
            words = words_.add(nullptr) != nullptr ? words_.begin() : nullptr;
            return words != nullptr ? int{done} : failed("no memory");
        }
        if (*next_ == '\n') {
            ++next_;
            ++line_;
        } else if (const int status = read_word()) {
            next_ += strcspn(next_, "\n");
            return status;
        }
    }
}

} // namespace ovuser
