// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QStringView>

// A game ID as the tools print it is six bytes of a disc header, so it can
// be anything. Only an ID of the form that discs use becomes part of a path
// (a cover file), part of an address (a cover on the server) or an argument
// of a tool (wwt reads "ID=dest" as a destination).
namespace QBGameID {

// Four to six ASCII letters and digits.
bool isValid(QStringView id);

}
