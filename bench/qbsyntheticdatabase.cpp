// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbsyntheticdatabase.h"

#include <QFile>
#include <QImage>
#include <QRandomGenerator>

#include <cstdint>
#include <string>

namespace {

// A small linear congruential generator: deterministic on every platform.
struct Random
{
    std::uint64_t state;
    std::uint32_t next()
    {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return std::uint32_t(state >> 33);
    }
    int below(int n) { return int(next() % std::uint32_t(n)); }
    template<typename T, size_t N>
    const T &pick(const T (&items)[N]) { return items[below(int(N))]; }
};

const char *const words[] = {"quest", "kart", "party", "legend", "island", "galaxy", "tennis", "ninja",
                             "dragon", "puzzle", "racer", "mystery", "castle", "ocean", "rhythm", "hero"};
const char *const frenchWords[] = {"château", "épée", "forêt", "rêve", "île", "héros", "étoile", "fée"};
const char *const germanWords[] = {"Größe", "Straße", "Brücke", "Schlüssel", "Märchen", "Übung"};
const char *const japaneseWords[] = {"冒険", "伝説", "星", "島", "勇者", "夢", "パズル", "レース"};
const char *const entities[] = {" &amp; ", " &quot;live&quot; ", " &apos;n&apos; ", " &lt;3 ", " - "};
const char *const regions[] = {"PAL", "NTSC-U", "NTSC-J", "NTSC-K"};
const char *const genres[] = {"racing", "sports", "party", "adventure,action", "puzzle", "music,rhythm"};
const char *const controls[] = {"wiimote", "nunchuk", "classiccontroller", "gamecube", "wheel", "balanceboard"};
const char *const features[] = {"online", "download", "score", "nintendods", "wiiconnect24"};
const char *const ratingTypes[] = {"PEGI", "ESRB", "CERO", "GRB"};
const char *const ratingValues[] = {"3", "7", "12", "E", "T", "A"};
const char *const companies[] = {"Nintendo", "Ubisoft", "Sega", "Capcom", "Konami", "Namco Bandai", "THQ"};

std::string sentence(Random &random, const char *const *pool, int poolSize, int count)
{
    std::string text;
    for (int i = 0; i < count; ++i) {
        if (i)
            text += random.below(9) == 0 ? entities[random.below(5)] : " ";
        text += pool[random.below(poolSize)];
    }
    return text;
}

void locale(std::string &out, Random &random, const char *lang, const char *const *pool, int poolSize)
{
    out += "\t\t<locale lang=\"";
    out += lang;
    out += "\">\n\t\t\t<title>";
    out += sentence(random, pool, poolSize, 2 + random.below(3));
    out += "</title>\n\t\t\t<synopsis>";
    out += sentence(random, pool, poolSize, 45 + random.below(35));
    out += "</synopsis>\n\t\t</locale>\n";
}

}

namespace QBSyntheticDatabase {

QString id(int index)
{
    static const char digits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    QString text(6, u'0');
    for (int i = 3; i >= 1; --i) {
        text[i] = QLatin1Char(digits[index % 36]);
        index /= 36;
    }
    text[0] = QLatin1Char("RSGHDWUJ"[index % 8]);
    text[4] = u'0';
    text[5] = u'1';
    return text;
}

bool write(const QString &path, int games)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    Random random{std::uint64_t(games) * 7919u + 17u};
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<datafile>\n"
                      "\t<WiiTDB version=\"20240101000000\" games=\""
            + std::to_string(games) + "\"/>\n";
    for (int i = 0; i < games; ++i) {
        const std::string gameId = id(i).toStdString();
        out += "\t<game name=\"" + sentence(random, words, 16, 2) + " (" + gameId + ")\">\n";
        out += "\t\t<id>" + gameId + "</id>\n\t\t<type/>\n";
        out += std::string("\t\t<region>") + random.pick(regions) + "</region>\n";
        out += "\t\t<languages>EN,FR,DE,ES,IT,JA</languages>\n";
        locale(out, random, "EN", words, 16);
        locale(out, random, "FR", frenchWords, 8);
        locale(out, random, "DE", germanWords, 6);
        if (i % 3 == 0)
            locale(out, random, "JA", japaneseWords, 8);
        else
            locale(out, random, "ES", words, 16);
        out += std::string("\t\t<developer>") + random.pick(companies) + "</developer>\n";
        out += std::string("\t\t<publisher>") + random.pick(companies) + "</publisher>\n";
        out += "\t\t<date year=\"" + std::to_string(2006 + random.below(8)) + "\" month=\""
                + std::to_string(1 + random.below(12)) + "\" day=\"" + std::to_string(1 + random.below(28))
                + "\"/>\n";
        out += std::string("\t\t<genre>") + random.pick(genres) + "</genre>\n";
        out += std::string("\t\t<rating type=\"") + random.pick(ratingTypes) + "\" value=\""
                + random.pick(ratingValues) + "\">\n\t\t\t<descriptor>violence</descriptor>\n\t\t</rating>\n";
        out += "\t\t<wi-fi players=\"" + std::to_string(random.below(13)) + "\">\n";
        for (int f = random.below(3); f > 0; --f)
            out += std::string("\t\t\t<feature>") + random.pick(features) + "</feature>\n";
        out += "\t\t</wi-fi>\n\t\t<input players=\"" + std::to_string(1 + random.below(4)) + "\">\n";
        for (int c = 1 + random.below(3); c > 0; --c)
            out += std::string("\t\t\t<control type=\"") + random.pick(controls) + "\" required=\""
                    + (random.below(2) ? "true" : "false") + "\"/>\n";
        out += "\t\t</input>\n\t\t<rom version=\"\" name=\"" + gameId + ".iso\" size=\"4699979776\" crc=\""
                + std::to_string(random.next()) + "\" md5=\"" + std::to_string(random.next())
                + std::to_string(random.next()) + "\" sha1=\"" + std::to_string(random.next())
                + std::to_string(random.next()) + std::to_string(random.next()) + "\"/>\n\t</game>\n";
        if (out.size() > (1 << 20)) {
            if (file.write(out.data(), qint64(out.size())) != qint64(out.size()))
                return false;
            out.clear();
        }
    }
    out += "\t<companies>\n";
    for (int c = 0; c < 500; ++c)
        out += "\t\t<company code=\"" + std::to_string(c) + "\" name=\"" + random.pick(companies) + "\"/>\n";
    out += "\t</companies>\n\t<genres>\n";
    for (const char *genre : genres)
        out += std::string("\t\t<maingenre name=\"") + genre + "\"><locale lang=\"EN\">" + genre
                + "</locale></maingenre>\n";
    out += "\t</genres>\n\t<descriptors>\n\t\t<descriptor name=\"violence\"/>\n\t</descriptors>\n</datafile>\n";
    return file.write(out.data(), qint64(out.size())) == qint64(out.size()) && file.flush();
}

bool writeCovers(const QString &folder, int count, quint32 seed)
{
    QRandomGenerator random(seed);
    for (int i = 0; i < count; ++i) {
        QImage cover(176, 248, QImage::Format_ARGB32);
        for (int y = 0; y < cover.height(); ++y) {
            auto *line = reinterpret_cast<QRgb *>(cover.scanLine(y));
            for (int x = 0; x < cover.width(); ++x)
                line[x] = qRgba(x + i, y, int(random.bounded(64)) + (i % 192), 255);
        }
        if (!cover.save(folder + u'/' + id(i) + QStringLiteral(".png"), "PNG"))
            return false;
    }
    return true;
}

}
