#include "ovuser/message.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ov_helper.h"
#include "ovuser/text.h"

namespace ovuser
{

// syslog(3) blocks while nobody reads the log, so this waits for room first, and only once.
static bool is_log_read()
{
    static const int line = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    static bool given_up = false;
    constexpr sockaddr_un log = {AF_UNIX, "/dev/log"};
    constexpr int second = 1000;
    pollfd room = {line, POLLOUT, 0};
    given_up = given_up || connect(line, reinterpret_cast<const sockaddr *>(&log), sizeof log) != 0 ||
               poll(&room, 1, second) != 1;
    return !given_up;
}

static void print_named(FILE *line, int32_t kind, uint32_t number)
{
    fprintf(line, "%" PRIu32 "(", number);
    print_visible(line, get_username(kind, number));
    fputc(')', line);
}

// Prints the number too, since names change.
static void print_identity(FILE *line, const ov_request &request, const uint32_t *known)
{
    const int32_t kind = request.id_count > 0 ? request.id_kind[0] : OV_USER;
    uint32_t number = known != nullptr ? *known : getuid();
    if (request.operation == OV_RESET) {
        fputs("all", line);
        return;
    }
    fprintf(line, "%c:", " ugp"[kind]);
    if (known == nullptr && request.id_count > 0 && parse_uid(request.id_text[0], kind, &number) != 0) {
        print_visible(line, request.id_text[0]); // the process has ended
        return;
    }
    if (kind != OV_PROCESS) {
        print_named(line, kind, number);
        return;
    }
    fprintf(line, "%" PRIu32, number);
    char path[32];
    struct stat process;
    snprintf(path, sizeof path, "/proc/%" PRIu32, number);
    if (stat(path, &process) == 0) {
        fputs(" of=", line);
        print_named(line, OV_USER, process.st_uid);
    }
}

// Prints the user who has logged in, whatever su or sudo have done since, or "-".
static void print_login(FILE *line)
{
    FILE *const file = fopen("/proc/self/loginuid", "re");
    uint32_t uid;
    if (file != nullptr && fscanf(file, "%" SCNu32, &uid) == 1 && uid != UINT32_MAX)
        print_visible(line, get_username(OV_USER, uid));
    else
        fputc('-', line);
    if (file != nullptr)
        fclose(file);
}

static void print_clock_fields(FILE *line, const ov_request &request)
{
    fprintf(line, " time=%s epoch=%" PRId64 " speed=%" PRId32 " rewind=%s", TimeText(request.virtime).text,
            request.virtime, request.speed, request.rewind != 0 ? "yes" : "no");
}

// Prints the engine's message in one line, without its prefix.
static void print_outcome(FILE *line, int32_t result, const char *message)
{
    if (result == OV_OK) {
        fputs("done", line);
        return;
    }
    if (message == nullptr) {
        fprintf(line, "%" PRId32, result);
        return;
    }
    constexpr char beginning[] = "ovuser: ";
    if (strncmp(message, beginning, strlen(beginning)) == 0)
        message += strlen(beginning);
    char text[256];
    snprintf(text, sizeof text, "%.*s", static_cast<int>(strcspn(message, "\n")), message);
    print_visible(line, text);
}

static void print_request(FILE *line, const ov_request &request, int32_t result, const char *message,
                          const uint32_t *number, bool passed_on)
{
    static constexpr const char *words[] = {"set", "add", "delete", "", "reset"};
    fprintf(line, "%s for=", words[request.operation]);
    print_identity(line, request, number);
    if (request.operation == OV_ADD && request.virtime != 0) // a refused distance has not been counted
        print_clock_fields(line, request);
    fputs(passed_on ? " descendants=yes by=" : " by=", line);
    print_named(line, OV_USER, getuid());
    fputs(" login=", line);
    print_login(line);
    fputs(" result=", line);
    print_outcome(line, result, message);
}

void audit(const ov_request &request, int32_t result, const char *message, const uint32_t *number, bool passed_on)
{
    const int error = errno;
    char *text = nullptr;
    size_t length;
    FILE *const line = is_log_read() ? open_memstream(&text, &length) : nullptr;
    if (line != nullptr) {
        print_request(line, request, result, message, number, passed_on);
        if (fclose(line) == 0) {
            openlog("ovuser", LOG_PID, LOG_AUTHPRIV);
            syslog(LOG_NOTICE, "%s", text);
        }
        free(text);
    }
    errno = error;
}

} // namespace ovuser
