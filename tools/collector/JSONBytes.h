#pragma once

namespace telvora::collector {

inline bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

/// Bytes that need no escape in a string: printable ASCII except the quote and the backslash.
inline bool isPlain(char c)
{
    return static_cast<signed char>(c) >= 0x20 && c != '"' && c != '\\';
}

inline bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

inline int hexDigit(char c)
{
    if (isDigit(c))
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

} // namespace telvora::collector
