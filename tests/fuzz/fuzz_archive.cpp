// SPDX-License-Identifier: GPL-3.0-or-later
// A downloaded archive, screened for the one file it is for.
#include "fuzzsupport.h"

#include "gamedata/qbarchivescreening.h"

#include <QBuffer>

#include <cstddef>
#include <cstdint>

FUZZ_INITIALIZE

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    QBuffer archive(&bytes);
    archive.open(QIODevice::ReadOnly);
    for (const auto &[name, limit] : {std::pair{QByteArrayView("wiitdb.xml"), qint64(256) << 20},
                                      std::pair{QByteArrayView("wit"), qint64(64) << 20}}) {
        const QBArchiveScreening::Result result = QBArchiveScreening::screen(archive, name, limit);
        if (result.verdict == QBArchiveScreening::Verdict::Accepted)
            FUZZ_REQUIRE(result.size >= 0 && result.size <= limit);
    }
    return 0;
}
