#include "engines/postgresql/markers.h"

#include <algorithm>
#include <array>

#include "platform/ado/ascii_case.h"

namespace {

using orvel::engines::postgresql::TextTraits;
using orvel::platform::ado::equalIgnoringCase;

constexpr bool isLetter(char character) noexcept {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           character == '_' || static_cast<unsigned char>(character) >= 0x80;
}

constexpr bool isInWord(char character) noexcept {
    return isLetter(character) || (character >= '0' && character <= '9') || character == '$';
}

constexpr bool isBlank(char character) noexcept {
    return character == ' ' || (character >= '\t' && character <= '\r');
}

/// Behind the quote that ends what `quote` begins at the front; two quotes stand for one, and a backslash takes the next
/// character along where `escapes` says so.
std::size_t lengthOfQuoted(std::string_view text, char quote, bool escapes) noexcept {
    std::size_t position = 1;
    while (position < text.size()) {
        if (text[position] == '\\' && escapes) {
            ++position;
        } else if (text[position] == quote) {
            if (position + 1 >= text.size() || text[position + 1] != quote) {
                return position + 1;
            }
            ++position;
        }
        ++position;
    }
    return text.size();
}

/// Comments between slashes hold others.
std::size_t lengthOfComment(std::string_view text) noexcept {
    int depth = 0;
    for (std::size_t position = 0; position + 1 < text.size(); ++position) {
        const std::string_view pair = text.substr(position, 2);
        if (pair == "/*") {
            ++depth;
            ++position;
        } else if (pair == "*/") {
            ++position;
            if (--depth == 0) {
                return position + 1;
            }
        }
    }
    return text.size();
}

/// Of a string between $tag$ and $tag$; 1 when the dollar sign begins none.
std::size_t lengthOfDollarQuoted(std::string_view text) noexcept {
    std::size_t end = 1;
    while (end < text.size() && text[end] != '$' && isInWord(text[end])) {
        ++end;
    }
    const bool beginsWithDigit = end > 1 && !isLetter(text[1]);
    if (end >= text.size() || text[end] != '$' || beginsWithDigit) {
        return 1;
    }
    const std::string_view tag = text.substr(0, end + 1);
    const std::size_t closing = text.find(tag, tag.size());
    return closing == std::string_view::npos ? text.size() : closing + tag.size();
}

constexpr std::array<std::string_view, 8> controls = {"BEGIN", "START",     "COMMIT",  "END",
                                                      "ABORT", "SAVEPOINT", "RELEASE", "ROLLBACK"};

/// With a word that tells at once that the transaction and its plans are left alone.
bool beginsPlainly(std::string_view text) noexcept {
    constexpr std::array<std::string_view, 4> words = {"SELECT", "INSERT", "UPDATE", "DELETE"};
    return std::ranges::any_of(words, [text](std::string_view word) {
        return equalIgnoringCase(text.substr(0, word.size()), word) &&
               (text.size() == word.size() || !isInWord(text[word.size()]));
    });
}

/// Reads a text from the front and notes what it meets.
class Reader {
public:
    Reader(std::string_view whole, bool numbering, bool escaping)
        : text(whole), numbers(numbering), escapes(escaping) {
        if (numbers) {
            traits.numbered.reserve(text.size() + text.size() / 8);
        }
    }

    /// Of a single statement, nothing counts behind the words that begin it.
    TextTraits readBeginning() {
        while (position < text.size() && (words < 2 || equalIgnoringCase(firstWord, "COPY"))) {
            keep(lengthOfToken());
        }
        return std::move(traits);
    }

    TextTraits read() {
        while (position < text.size()) {
            const std::size_t length = lengthOfToken();
            if (length > 0) {
                keep(length);
            }
        }
        return std::move(traits);
    }

private:
    std::string_view text;
    bool numbers;
    bool escapes;
    std::size_t position = 0;
    std::size_t words = 0; ///< of the statement so far; only the first two tell what it is
    std::string_view firstWord;
    TextTraits traits;

    char at(std::size_t offset) const noexcept {
        return position + offset < text.size() ? text[position + offset] : '\0';
    }

    void keep(std::size_t length) {
        if (numbers) {
            traits.numbered.append(text, position, length);
        }
        position += length;
    }

    /// 0 when what stands here has been dealt with.
    std::size_t lengthOfToken() {
        const char character = text[position];
        const std::string_view rest = text.substr(position);
        if (isBlank(character)) {
            return 1;
        }
        if (rest.starts_with("--")) {
            return std::min(rest.find_first_of("\r\n"), rest.size());
        }
        if (rest.starts_with("/*")) {
            return lengthOfComment(rest);
        }
        if (character == ';') {
            words = 0;
            return 1;
        }
        return lengthInStatement(character, rest);
    }

    std::size_t lengthInStatement(char character, std::string_view rest) {
        if (isLetter(character)) {
            return takeWord(rest);
        }
        noteWord({});
        if (character == '\'' || character == '"') {
            return lengthOfQuoted(rest, character, escapes && character == '\'');
        }
        if (character == '$') {
            return lengthOfDollarQuoted(rest);
        }
        if (character >= '0' && character <= '9') {
            return lengthOfWord(rest); // a dollar sign in it begins no quote
        }
        if (character == '?' && numbers) {
            takeMarker();
            return 0;
        }
        return 1;
    }

    static std::size_t lengthOfWord(std::string_view rest) noexcept {
        return static_cast<std::size_t>(std::ranges::find_if_not(rest, isInWord) - rest.begin());
    }

    std::size_t takeWord(std::string_view rest) {
        const std::size_t length = lengthOfWord(rest);
        const std::string_view word = rest.substr(0, length);
        if (length == 1 && (word == "e" || word == "E") && rest.substr(1).starts_with('\'')) {
            noteWord({});
            return 1 + lengthOfQuoted(rest.substr(1), '\'', true);
        }
        noteWord(word);
        return length;
    }

    void takeMarker() {
        if (at(1) == '?') { // an operator with a question mark
            traits.numbered += '?';
            position += 2;
            return;
        }
        traits.numbered.append("$").append(std::to_string(++traits.markers));
        ++position;
    }

    void noteWord(std::string_view word) {
        ++words;
        if (words == 1) {
            ++traits.statements;
            firstWord = word;
            traits.dropsPlans = traits.dropsPlans || equalIgnoringCase(word, "DEALLOCATE") ||
                                equalIgnoringCase(word, "DISCARD");
            traits.controlsTransaction =
                traits.controlsTransaction || std::ranges::any_of(controls, [word](std::string_view control) {
                    return equalIgnoringCase(word, control);
                });
        } else if (words == 2 && equalIgnoringCase(word, "TRANSACTION")) {
            traits.setsTransaction = traits.setsTransaction || equalIgnoringCase(firstWord, "SET");
            traits.controlsTransaction = traits.controlsTransaction || traits.setsTransaction ||
                                         equalIgnoringCase(firstWord, "PREPARE");
        }
        if (equalIgnoringCase(firstWord, "COPY") &&
            (equalIgnoringCase(word, "STDIN") || equalIgnoringCase(word, "STDOUT"))) {
            traits.copies = true;
        }
    }
};

} // namespace

namespace orvel::engines::postgresql {

TextTraits readText(std::string_view text, bool number, bool escapes) {
    const bool isSingle = !number && text.find(';') >= text.size() - std::min<std::size_t>(text.size(), 1);
    if (isSingle && beginsPlainly(text)) {
        return {{}, 0, 1};
    }
    Reader reader(text, number, escapes);
    return isSingle ? reader.readBeginning() : reader.read();
}

} // namespace orvel::engines::postgresql
