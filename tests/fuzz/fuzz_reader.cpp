// SPDX-License-Identifier: GPL-3.0-or-later
// The tools' output, cut into chunks anywhere, read by a browsing task as
// its pipe would hand it over (no process). The first byte chooses the
// tool (bit 0: wit or wwt) and how the rest is cut (the other bits: the
// length of the first chunk; the others vary from it), so a captured
// output behind one byte is a seed.
#include "fuzzsupport.h"

#include "base/qbgameid.h"
#include "base/qbkeys.h"
#include "base/qbsupportfolder.h"
#include "tasks/qbbrowsingtask.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace {

// The end of the output, as the task sees it when the process ends.
class Reader : public QBBrowsingTask
{
public:
    using QBBrowsingTask::QBBrowsingTask;
    void endOutput() { processDidStop(); }
};

void checkGame(const QVariantMap &game)
{
    for (const QString &key : {GameKey::filename, GameKey::id, GameKey::title, GameKey::size, GameKey::region,
                               GameKey::filetype, GameKey::isOnWBFS})
        FUZZ_REQUIRE(game.contains(key));
    // A cover path only for a disc's ID, and only inside the covers folder.
    const QString id = game.value(GameKey::id).toString();
    FUZZ_REQUIRE(game.contains(GameKey::coverPath) == QBGameID::isValid(id));
    if (game.contains(GameKey::coverPath))
        FUZZ_REQUIRE(game.value(GameKey::coverPath).toString() == QBSupportFolder::location() + u"/covers/" + id
                             + u".png");
}

}

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    startFuzzing();
    QBSupportFolder::setLocation(QStringLiteral("/nonexistent/support"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const int launchPath = data[0] & 1;
    const size_t first = 1 + (data[0] >> 1);
    Reader task({QStringLiteral("list")}, launchPath, nullptr);
    int finalPosts = 0;
    QObject::connect(&task, &QBBrowsingTask::browsingDidFinish, [&finalPosts](const QVariantMap &userInfo) {
        if (userInfo.contains(UserInfoKey::terminationStatus))
            ++finalPosts;
        else
            checkGame(userInfo.value(UserInfoKey::game).toMap());
    });
    size_t at = 1;
    for (size_t n = 0; at < size; ++n) {
        const size_t length = std::min(size - at, 1 + (first * (n + 1) * 7) % 4096);
        task.readData(QByteArray(reinterpret_cast<const char *>(data + at), qsizetype(length)));
        at += length;
    }
    task.endOutput();
    FUZZ_REQUIRE(finalPosts == 1);
    return 0;
}
