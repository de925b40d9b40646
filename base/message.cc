#include "base/message.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/errno_guard.h"

namespace ov
{

void Message::set(const char *format, ...)
{
    if (slot_ == nullptr)
        return;
    ErrnoGuard keep;
    char local[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(local, sizeof local, format, arguments);
    va_end(arguments);

    char *text = nullptr;
    if (static_cast<unsigned>(length) < sizeof local) {
        text = strdup(local);
    } else if (length > 0 && // GCOVR_EXCL_BR_LINE: below 2 GiB
               (text = static_cast<char *>(malloc(static_cast<size_t>(length) + 1)))) {
        va_start(arguments, format);
        vsnprintf(text, static_cast<size_t>(length) + 1, format, arguments);
        va_end(arguments);
    }
    take(text);
}

void Message::take(char *text)
{
    free(own_);
    own_ = nullptr;
    if (slot_ != nullptr)
        *slot_ = own_ = text;
    else
        free(text);
}

} // namespace ov
