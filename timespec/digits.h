#pragma once

namespace ov
{

// Writes a number from 0 to 99 as two digits, unterminated. Returns the position after them.
inline char *write_pair(char *text, int number)
{
    text[0] = static_cast<char>('0' + number / 10);
    text[1] = static_cast<char>('0' + number % 10);
    return text + 2;
}

} // namespace ov
