#include "platform/Text.h"

#include <algorithm>
#include <array>
#include <memory>

#include <fmt/format.h>
#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

namespace kestrel::Text {

namespace {

icu::UnicodeString fromUtf8(std::string_view text)
{
    return icu::UnicodeString::fromUTF8({text.data(), static_cast<int32_t>(text.size())});
}

std::string toUtf8(const icu::UnicodeString &text)
{
    std::string result;
    text.toUTF8String(result);
    return result;
}

bool isAscii(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Holds one character and the number of its bytes; a broken byte is U+FFFD and has the length 1.
struct Character {
    UChar32 code = 0;
    std::size_t bytes = 1;
};

Character next(std::string_view text)
{
    const auto *data = reinterpret_cast<const uint8_t *>(text.data());
    int32_t position = 0;
    UChar32 code = 0;
    U8_NEXT(data, position, static_cast<int32_t>(std::min<std::size_t>(text.size(), 8)), code);
    if (code < 0)
        return {0xFFFD, 1};
    return {code, static_cast<std::size_t>(position)};
}

int columnsOf(UChar32 code)
{
    switch (u_charType(code)) {
    case U_NON_SPACING_MARK:
    case U_ENCLOSING_MARK:
    case U_FORMAT_CHAR:
    case U_CONTROL_CHAR:
        return 0;
    default:
        break;
    }
    const int width = u_getIntPropertyValue(code, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_FULLWIDTH || width == U_EA_WIDE ? 2 : 1;
}

std::unique_ptr<icu::Collator> makeNaturalCollator()
{
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(icu::Locale::getGerman(), status));
    if (U_FAILURE(status) || collator == nullptr)
        return nullptr;
    collator->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
    return collator;
}

} // namespace

std::string repaired(std::string_view bytes)
{
    if (isAscii(bytes))
        return std::string(bytes);
    return toUtf8(fromUtf8(bytes));
}

std::string shown(const std::filesystem::path &path)
{
    return repaired(path.native());
}

bool turnsDirection(char32_t c)
{
    return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || c == 0x200E || c == 0x200F ||
           c == 0x061C;
}

bool isVisible(std::string_view text)
{
    if (repaired(text) != text)
        return false;
    for (std::size_t position = 0; position < text.size();) {
        const Character character = next(text.substr(position));
        const int8_t type = u_charType(character.code);
        if (type == U_CONTROL_CHAR || type == U_LINE_SEPARATOR || type == U_PARAGRAPH_SEPARATOR ||
            turnsDirection(static_cast<char32_t>(character.code)))
            return false;
        position += character.bytes;
    }
    return true;
}

std::string lower(std::string_view text)
{
    if (!isAscii(text))
        return toUtf8(fromUtf8(text).toLower(icu::Locale::getRoot()));
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
    return result;
}

std::string upper(std::string_view text)
{
    return toUtf8(fromUtf8(text).toUpper(icu::Locale::getRoot()));
}

std::string oneLine(std::string_view text)
{
    std::string line;
    for (const std::string_view piece : pieces(text, " \t\n\v\f\r"))
        line.append(line.empty() ? "" : " ").append(piece);
    return line;
}

std::string_view trimmed(std::string_view text)
{
    const auto isSpace = [](UChar32 code) { return u_isUWhiteSpace(code) != 0; };
    while (!text.empty()) {
        const Character first = next(text);
        if (!isSpace(first.code))
            break;
        text.remove_prefix(first.bytes);
    }
    std::size_t end = 0;
    for (std::size_t position = 0; position < text.size();) {
        const Character character = next(text.substr(position));
        position += character.bytes;
        if (!isSpace(character.code))
            end = position;
    }
    return text.substr(0, end);
}

std::string_view prefix(std::string_view text, std::size_t bytes)
{
    std::size_t end = 0;
    while (end < text.size()) {
        const std::size_t step = next(text.substr(end)).bytes;
        if (end + step > bytes)
            break;
        end += step;
    }
    return text.substr(0, end);
}

std::size_t length(std::string_view text)
{
    std::size_t count = 0;
    for (std::size_t position = 0; position < text.size(); ++count)
        position += next(text.substr(position)).bytes;
    return count;
}

std::string_view first(std::string_view text, std::size_t characters)
{
    std::size_t end = 0;
    for (; characters > 0 && end < text.size(); --characters)
        end += next(text.substr(end)).bytes;
    return text.substr(0, end);
}

int columns(std::string_view text)
{
    int sum = 0;
    for (std::size_t position = 0; position < text.size();) {
        const Character character = next(text.substr(position));
        sum += columnsOf(character.code);
        position += character.bytes;
    }
    return sum;
}

std::vector<std::string_view> pieces(std::string_view text, std::string_view separators)
{
    std::vector<std::string_view> found;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find_first_of(separators, at), text.size());
        if (end > at)
            found.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return found;
}

std::string elided(std::string_view text, int limit)
{
    if (columns(text) <= limit)
        return std::string(text);
    if (limit < 1)
        return {};

    std::vector<std::pair<std::string_view, int>> characters;
    for (std::size_t position = 0; position < text.size();) {
        const Character character = next(text.substr(position));
        characters.emplace_back(text.substr(position, character.bytes), columnsOf(character.code));
        position += character.bytes;
    }
    const int room = limit - 1;
    std::string head, tail;
    int used = 0;
    std::size_t first = 0, last = characters.size();
    while (first < last && used + characters[first].second <= (room + 1) / 2) {
        used += characters[first].second;
        head += characters[first++].first;
    }
    while (last > first && used + characters[last - 1].second <= room) {
        used += characters[--last].second;
        tail.insert(0, characters[last].first);
    }
    return head + "…" + tail;
}

std::string percentEncoded(std::string_view path)
{
    std::string result;
    for (const char c : path) {
        const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                             std::string_view("-_.~/").find(c) != std::string_view::npos;
        result += isPlain ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
    return result;
}

std::string naturalSortKey(std::string_view text)
{
    static const std::unique_ptr<icu::Collator> collator = makeNaturalCollator();
    if (collator == nullptr)
        return lower(text);
    const icu::UnicodeString source = fromUtf8(text);
    std::string key(static_cast<std::size_t>(source.length()) * 4 + 16, '\0');
    const auto fill = [&] {
        return static_cast<std::size_t>(collator->getSortKey(source, reinterpret_cast<uint8_t *>(key.data()),
                                                             static_cast<int32_t>(key.size())));
    };
    const std::size_t needed = fill();
    const bool complete = needed <= key.size();
    key.resize(needed);
    if (!complete)
        fill();
    return key;
}

std::optional<std::string> germanLanguageName(const std::string &code)
{
    // ICU would read any other text of a file as a locale's name, or in another encoding.
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    if (code.empty() || !std::all_of(code.begin(), code.end(), isLetter))
        return std::nullopt;
    const icu::Locale language(code.c_str());
    icu::UnicodeString name;
    language.getDisplayLanguage(icu::Locale::getGermany(), name);
    std::string text = toUtf8(name);
    // ICU returns an unknown code unchanged.
    if (text.empty() || lower(text) == lower(code) || text == language.getLanguage())
        return std::nullopt;
    return text;
}

} // namespace kestrel::Text
