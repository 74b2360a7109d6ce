// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

// A made-up title database shaped like wiitdb.xml, for the benchmarks: the
// root "datafile", a "WiiTDB" version
// header, the games, then "companies", "genres" and "descriptors". Each
// game has about four locales with titles and synopses (some outside
// ASCII, some with entities), a date with unpadded month and day, a rating,
// Wi-Fi features, controls and a rom line; about 3 KB per game, so 10,000
// games make about 30 MB. The same count always gives the same bytes.
namespace QBSyntheticDatabase {

// Writes the document; false when the file cannot be written.
bool write(const QString &path, int games);

// The ID of the game at index (0-based): a letter, three base-36
// characters and "01"; distinct for the first 373,248 indexes.
QString id(int index);

// Covers for the first count games, as the cover server serves them:
// folder/ID.png, 176 x 248 pixels, with noise so that they compress and
// decode like pictures rather than flat colour. False when one cannot be
// written.
bool writeCovers(const QString &folder, int count, quint32 seed = 7);

}
