// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbtextnumber.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace {

// The leading part of text that can belong to a number, as ASCII, with
// leading blanks and a plus sign removed (std::from_chars takes neither).
// Only digits, signs, points and exponent marks are copied, so words such
// as "inf" or "nan" never reach the parser.
qsizetype numberPrefix(QStringView text, char *buffer, qsizetype capacity)
{
    qsizetype i = 0;
    while (i < text.size() && (text[i] == u' ' || text[i] == u'\t' || text[i] == u'\n'))
        ++i;
    if (i < text.size() && text[i] == u'+')
        ++i;
    qsizetype n = 0;
    for (; i < text.size() && n < capacity; ++i) {
        const char16_t c = text[i].unicode();
        const bool allowed = (c >= u'0' && c <= u'9') || c == u'-' || c == u'.' || c == u'e'
                || c == u'E' || c == u'+';
        if (!allowed)
            break;
        buffer[n++] = char(c);
    }
    return n;
}

// The number at the start of text; 0 for none, and for one too large to be
// finite.
template <typename T>
T toFloating(QStringView text)
{
    char buffer[64];
    const qsizetype n = numberPrefix(text, buffer, sizeof buffer);
    T value = 0;
    const auto result = std::from_chars(buffer, buffer + n, value);
    if (result.ec != std::errc() || !std::isfinite(value))
        return 0;
    return value;
}

}

namespace QBTextNumber {

double toDouble(QStringView text)
{
    return toFloating<double>(text);
}

float toFloat(QStringView text)
{
    return toFloating<float>(text);
}

qint64 toInteger(QStringView text)
{
    char buffer[64];
    qsizetype n = numberPrefix(text, buffer, sizeof buffer);
    qint64 value = 0;
    const auto result = std::from_chars(buffer, buffer + n, value);
    if (result.ec == std::errc::result_out_of_range) {
        return (n > 0 && buffer[0] == '-') ? std::numeric_limits<qint64>::min()
                                           : std::numeric_limits<qint64>::max();
    }
    if (result.ec != std::errc())
        return 0;
    return value;
}

float gigabytesFromBytes(QStringView bytes)
{
    return std::round(toFloat(bytes) / 1.0e7f) / 100.0f;
}

float thousandsFromMib(QStringView mib)
{
    return std::round(toFloat(mib) / 100.0f) / 10.0f;
}

}
