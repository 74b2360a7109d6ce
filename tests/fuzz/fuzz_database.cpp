// SPDX-License-Identifier: GPL-3.0-or-later
// A title database file, parsed as the game center parses wiitdb.xml. The
// parse runs on a thread with a 64 KiB stack, so that recursion whose
// depth the file decides overflows within the fuzzer's input sizes (the
// seed nested.xml nests 570 elements), as it would on a worker's stack with
// a file a few hundred times larger.
#include "fuzzsupport.h"

#include "gamedata/qbdatabaseparse.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>

#include <pthread.h>

namespace {

QString path;

void *parse(void *)
{
    const std::optional<QBDatabase> database =
            QBDatabaseParse::parse(path, {QStringLiteral("fr"), QStringLiteral("en"), QStringLiteral("zhtw")});
    if (database) {
        // Every record is stored under its own ID.
        for (auto it = database->cbegin(); it != database->cend(); ++it)
            FUZZ_REQUIRE(!it.key().isEmpty() && it.value().value(DatabaseKey::id).toString() == it.key());
    }
    return nullptr;
}

}

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    startFuzzing();
    // In memory where there is such a folder: a file rewritten on disk for
    // every input is written back at every close.
    static QTemporaryDir dir(QFileInfo(QStringLiteral("/dev/shm")).isDir()
                                     ? QStringLiteral("/dev/shm/palomet-fuzz-XXXXXX")
                                     : QString());
    path = dir.filePath(QStringLiteral("wiitdb.xml"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return 0;
    file.write(reinterpret_cast<const char *>(data), qint64(size));
    file.close();
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 64 << 10);
    pthread_t thread;
    FUZZ_REQUIRE(pthread_create(&thread, &attributes, parse, nullptr) == 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    return 0;
}
