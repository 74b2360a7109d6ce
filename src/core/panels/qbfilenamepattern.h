// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

#include <optional>

class QBGameBundle;

// A file-name pattern: literal text and tokens, each token naming one
// attribute of a game. Applied to a game it gives a name that is safe as
// one component of a path.
class QBFilenamePattern
{
public:
    struct Element
    {
        bool isToken = false;
        // The literal's text, or the token's key.
        QString text;

        bool operator==(const Element &other) const = default;
    };

    // The keys the token menu offers, in its order.
    static const QStringList &tokenKeys();
    // The ten characters that never reach a file name: / ? < > \ : * | " ^ =
    static const QString &illegalCharacters();
    static bool containsIllegalCharacter(QStringView text);
    // A character that is never part of a composed name: an illegal one, a
    // control character or a line break. The last two come only from
    // damaged titles and make names that no one can type.
    static bool isRemovedCharacter(QChar c);

    const QList<Element> &elements() const { return m_elements; }
    bool isEmpty() const { return m_elements.isEmpty(); }
    // Text after text joins the literal before it, so that a pattern holds
    // no two literals in a row.
    void appendLiteral(const QString &text);
    void appendToken(const QString &key);

    // The pattern applied to one game: each token replaced by the game's
    // value for its key (nothing when the game has none), then every
    // removed character (see above) dropped from the whole name, values
    // included, and spaces and full stops trimmed from both ends. The
    // result may be empty.
    QString stringValueForGame(const QVariantMap &game) const;
    QString stringValueForGame(const QBGameBundle &game) const;

    // How a token shows a value: numbers as their digits, lists joined with
    // ", " as the title database joins its lists, anything else as text. An
    // invalid or null value gives an empty string.
    static QString textForValue(const QVariant &value);
    // Whether every game has a value for key; true when there is no game.
    // A token is offered only for keys that all the games concerned have.
    static bool allGamesHaveValue(const QList<QVariantMap> &games, const QString &key);

    // The pattern as a list of strings (literals) and one-string lists
    // (tokens), and back; used to carry a pattern through the clipboard.
    QVariantList toVariantList() const;
    static QBFilenamePattern fromVariantList(const QVariantList &list);
    // A pattern written as text, as the command line takes it: "{key}" is
    // the token of a key of tokenKeys(), the rest literal text, so
    // "{title} [{id}]" is the title, " [", the ID and "]". Nothing, with
    // why, for an unknown key, a brace outside a token, an illegal
    // character, or an empty pattern.
    static std::optional<QBFilenamePattern> fromText(const QString &text, QString *why = nullptr);

    bool operator==(const QBFilenamePattern &other) const = default;

private:
    QList<Element> m_elements;
};
