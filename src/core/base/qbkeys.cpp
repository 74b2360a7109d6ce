// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbkeys.h"

namespace QBKeySets {

const QStringList &gameKeys()
{
    static const QStringList keys{GameKey::filename, GameKey::id, GameKey::name,
                                  GameKey::size, GameKey::region, GameKey::filetype};
    return keys;
}

const QStringList &partitionKeys()
{
    static const QStringList keys{PartitionKey::path, PartitionKey::size,
                                  PartitionKey::freeMib, PartitionKey::totalMib};
    return keys;
}

const QStringList &progressKeys()
{
    static const QStringList keys{ProgressKey::percent, ProgressKey::mibPerSec,
                                  ProgressKey::etaText};
    return keys;
}

}
