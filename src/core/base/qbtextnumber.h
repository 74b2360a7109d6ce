// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QStringView>

// Numbers read from the tools' text the forgiving way: leading blanks are
// skipped, the longest leading number is taken and anything after it is
// ignored; text that does not start with a number, or a value that is not
// finite, reads as 0.
namespace QBTextNumber {

double toDouble(QStringView text);
float toFloat(QStringView text);
qint64 toInteger(QStringView text);

// Bytes as gigabytes of 10^9 bytes kept to two decimals, halves away from
// zero, in single precision: 4699979776 gives 4.7.
float gigabytesFromBytes(QStringView bytes);

// MiB as thousands of MiB kept to one decimal, halves away from zero, in
// single precision: 12345 gives 12.3.
float thousandsFromMib(QStringView mib);

}
