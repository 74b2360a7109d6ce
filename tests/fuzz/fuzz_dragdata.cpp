// SPDX-License-Identifier: GPL-3.0-or-later
// The private drag format, as another program could put it on a drop.
#include "fuzzsupport.h"

#include "base/qbkeys.h"
#include "document/qbdragdata.h"

#include <cstddef>
#include <cstdint>

FUZZ_INITIALIZE

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::optional<QList<QVariantMap>> games =
            QBDragData::decode(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (!games)
        return 0;
    // What adding a game relies on; and what it decodes, it can send on.
    FUZZ_REQUIRE(!games->isEmpty());
    for (const QVariantMap &game : *games) {
        FUZZ_REQUIRE(!game.value(GameKey::id).toString().isEmpty());
        FUZZ_REQUIRE(!game.value(GameKey::filename).toString().isEmpty());
    }
    const std::optional<QList<QVariantMap>> again = QBDragData::decode(QBDragData::encode(*games));
    FUZZ_REQUIRE(again && again->size() == games->size());
    return 0;
}
