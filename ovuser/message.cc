#include "ovuser/message.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ovuser/text.h"

namespace ovuser
{

static int output_error = 0;

void reserve_closed_streams()
{
    int descriptor;
    do
        descriptor = open("/", O_PATH | O_CLOEXEC);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    close(descriptor);
}

bool output_works()
{
    if (ferror(stdout) == 0)
        return true;
    if (output_error == 0)
        output_error = errno;
    return false;
}

void flush_output()
{
    errno = 0; // fflush may fail without setting it
    if (fflush(stdout) != 0)
        output_error = errno;
}

int finish_output(int status)
{
    flush_output();
    bool lost = !output_works();
    if (fclose(stdout) != 0 && errno != EBADF) { // some file systems report a full disk only now
        lost = true;
        output_error = errno;
    }
    if (lost)
        fprintf(stderr, "ovuser: error: standard output: %s\n",
                output_error != 0 ? strerror(output_error) : "some lines could not be written");
    if (ferror(stderr) != 0 && (fcntl(STDERR_FILENO, F_GETFL) & O_PATH) == 0) // a closed standard error is meant
        lost = true;
    return lost ? std::max(status, int{failure}) : status;
}

static void print_line(FILE *stream, const char *beginning, const char *format, va_list arguments)
{
    char *text = nullptr;
    if (vasprintf(&text, format, arguments) < 0)
        text = nullptr;
    fputs(beginning, stream);
    print_visible(stream, text != nullptr ? text : format);
    fputc('\n', stream);
    free(text);
}

void report(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    print_line(stdout, "ovuser: report: ", format, arguments);
    output_works();
    va_end(arguments);
}

static const SourcePosition *position = nullptr;

SourcePosition::SourcePosition(const char *file, int line) : file_(file), line_(line)
{
    position = this;
}

SourcePosition::~SourcePosition()
{
    position = nullptr;
}

void SourcePosition::print() const
{
    print_visible(stderr, file_);
    fprintf(stderr, ":%d: ", line_);
}

static void complain(const char *severity, const char *format, va_list arguments)
{
    flush_output();
    fputs(severity, stderr);
    if (position != nullptr)
        position->print();
    print_line(stderr, "", format, arguments);
}

void warn(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    complain("ovuser: warning: ", format, arguments);
    va_end(arguments);
}

int usage_error(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    complain("ovuser: error: ", format, arguments);
    va_end(arguments);
    return bad_usage;
}

int failed(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    complain("ovuser: error: ", format, arguments);
    va_end(arguments);
    return failure;
}

void hint(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    print_line(stderr, "ovuser: hint: ", format, arguments);
    va_end(arguments);
}

void hint_on_errno(int error)
{
    static constexpr struct {
        int error;
        const char *text;
    } remedies[] = {
        {ENOENT, "no kernel module: 'modprobe zynov' loads it (package orvane-dkms), zynov-sim stands in for it"},
        {EPERM, "the kernel module lets only the superuser of the host do this, or the owner of the process"},
        {EACCES, "the module is not open to this user: ask the superuser (a simulator's table: zynov-sim --shared)"},
        {ENOSPC, "there is no room for another clock: 'ovuser list' shows them, 'ovuser delete' makes room"},
    };
    static int told = 0; // once for all identities
    for (const auto &remedy : remedies)
        if (remedy.error == error && error != told)
            hint("%s", remedy.text);
    told = error;
}

// Prints the engine's message. Only its last line end is real when it quotes an identity.
static void print_message(FILE *stream, int32_t result, char *message)
{
    for (char *line = message; *line != '\0';) {
        char *end = result == OV_UNKNOWN_IDENTITY ? strrchr(line, '\n') : line + strcspn(line, "\n");
        const bool whole = *end != '\0';
        *end = '\0';
        print_visible(stream, line);
        if (whole)
            fputc('\n', stream);
        line = end + (whole ? 1 : 0);
    }
}

// Prints the severity, the position and the label. Returns the rest of the message.
static char *print_beginning(char *message, const char *label)
{
    static constexpr const char *severities[] = {"ovuser: error: ", "ovuser: warning: "};
    for (const char *severity : severities) {
        const size_t length = strlen(severity);
        if (strncmp(message, severity, length) != 0)
            continue;
        fputs(severity, stderr);
        if (position != nullptr)
            position->print();
        if (label != nullptr) {
            print_visible(stderr, label);
            fputs(": ", stderr);
        }
        return message + length;
    }
    return message;
}

int print_result(int32_t result, char *message, const char *label, int error)
{
    if (result == OV_OK) {
        if (message != nullptr)
            print_message(stdout, result, message);
        output_works();
        free(message);
        return done;
    }
    flush_output();
    char own[80];
    snprintf(own, sizeof own, "ovuser: error: the request was not carried out, result = %d\n", result);
    const bool quotes = result == OV_UNKNOWN_IDENTITY; // the message quotes the identity
    print_message(stderr, result, print_beginning(message != nullptr ? message : own, quotes ? nullptr : label));
    free(message);
    if (result == OV_NO_CONTROL_FILE || result < OV_BAD_OPERATION || result > OV_ROOT_IDENTITY)
        hint_on_errno(error);
    return check_rc(result);
}

void raise_default(int signal)
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigaction(signal, &action, nullptr);
    sigset_t alone, kept;
    sigemptyset(&alone);
    sigaddset(&alone, signal);
    raise(signal);
    sigprocmask(SIG_UNBLOCK, &alone, &kept);
    sigprocmask(SIG_SETMASK, &kept, nullptr);
}

} // namespace ovuser
