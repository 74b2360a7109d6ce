// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbgameid.h"

#include <algorithm>

namespace QBGameID {

bool isValid(QStringView id)
{
    return id.size() >= 4 && id.size() <= 6 && std::all_of(id.begin(), id.end(), [](QChar c) {
               return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9');
           });
}

}
