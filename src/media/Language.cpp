#include "media/Language.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/Text.h"

namespace kestrel::Language {

namespace {

struct Alias {
    std::string_view tag, code;
};

// Each canonical code has a line of its own: clang-format would join them.
// clang-format off

// From "ron" on, two-letter tags are deliberately missing.
constexpr std::array<Alias, 71> aliases{{
    {"ger", "deu"},     {"deu", "deu"}, {"de", "deu"},  {"german", "deu"}, {"deutsch", "deu"},
    {"eng", "eng"},     {"en", "eng"},  {"english", "eng"},
    {"fre", "fra"},     {"fra", "fra"}, {"fr", "fra"},
    {"spa", "spa"},     {"es", "spa"},
    {"ita", "ita"},     {"it", "ita"},
    {"jpn", "jpn"},     {"ja", "jpn"},
    {"kor", "kor"},     {"ko", "kor"},
    {"chi", "zho"},     {"zho", "zho"}, {"zh", "zho"},
    {"rus", "rus"},     {"ru", "rus"},
    {"tur", "tur"},     {"tr", "tur"},
    {"pol", "pol"},     {"pl", "pol"},
    {"dut", "nld"},     {"nld", "nld"}, {"nl", "nld"},
    {"por", "por"},     {"pt", "por"},
    {"dan", "dan"},     {"da", "dan"},
    {"swe", "swe"},     {"sv", "swe"},
    {"nor", "nor"},     {"nob", "nor"}, {"no", "nor"},
    {"fin", "fin"},     {"fi", "fin"},
    {"cze", "ces"},     {"ces", "ces"}, {"cs", "ces"},
    {"hun", "hun"},     {"hu", "hun"},
    {"gre", "ell"},     {"ell", "ell"}, {"el", "ell"},
    {"rum", "ron"},     {"ron", "ron"},
    {"slo", "slk"},     {"slk", "slk"},
    {"ara", "ara"},     {"heb", "heb"}, {"hin", "hin"}, {"tha", "tha"},    {"ukr", "ukr"},
    {"hrv", "hrv"},     {"srp", "srp"}, {"slv", "slv"}, {"bul", "bul"},    {"vie", "vie"},
    {"ind", "ind"},
    {"und", "und"},     {"", "und"},    {"unknown", "und"}, {"mis", "und"}, {"zxx", "und"},
    {"mul", "und"},
}};

constexpr std::array<Alias, 34> names{{
    {"deu", "Deutsch"},     {"ces", "Tschechisch"},
    {"eng", "Englisch"},    {"hun", "Ungarisch"},
    {"fra", "Französisch"}, {"ell", "Griechisch"},
    {"spa", "Spanisch"},    {"ron", "Rumänisch"},
    {"ita", "Italienisch"}, {"slk", "Slowakisch"},
    {"jpn", "Japanisch"},   {"ara", "Arabisch"},
    {"kor", "Koreanisch"},  {"heb", "Hebräisch"},
    {"zho", "Chinesisch"},  {"hin", "Hindi"},
    {"rus", "Russisch"},    {"tha", "Thai"},
    {"tur", "Türkisch"},    {"ukr", "Ukrainisch"},
    {"pol", "Polnisch"},    {"hrv", "Kroatisch"},
    {"nld", "Niederländisch"}, {"srp", "Serbisch"},
    {"por", "Portugiesisch"}, {"slv", "Slowenisch"},
    {"dan", "Dänisch"},     {"bul", "Bulgarisch"},
    {"swe", "Schwedisch"},  {"vie", "Vietnamesisch"},
    {"nor", "Norwegisch"},  {"ind", "Indonesisch"},
    {"fin", "Finnisch"},    {"und", "Unbekannt"},
}};

// clang-format on

constexpr std::array<std::string_view, 7> commentaryWords{
    "kommentar", "commentary", "audiodeskription", "hörfilm", "hoerfilm", "audio description", "descriptive"};

template <std::size_t Size>
std::optional<std::string> lookup(const std::array<Alias, Size> &table, std::string_view tag)
{
    const auto *found =
        std::find_if(table.begin(), table.end(), [&](const Alias &row) { return row.tag == tag; });
    return found == table.end() ? std::nullopt : std::optional(std::string(found->code));
}

bool contains(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

std::string fromTitle(const std::string &title)
{
    const std::string text = Text::lower(title);
    if (contains(text, "deutsch") || contains(text, "german"))
        return "deu";
    if (contains(text, "english") || contains(text, "englisch"))
        return "eng";
    return unknown;
}

} // namespace

std::string normalize(const std::optional<std::string> &code, const std::optional<std::string> &title)
{
    const std::string lowered = Text::lower(code.value_or(""));
    const std::string tag(Text::trimmed(lowered));
    std::string result = lookup(aliases, tag).value_or(Text::length(tag) == 3 ? tag : unknown);
    if (result == unknown && title)
        return fromTitle(*title);
    return result;
}

std::string name(const std::string &code)
{
    if (auto known = lookup(names, code))
        return *known;
    return Text::germanLanguageName(code).value_or(Text::upper(code));
}

std::string shortName(const std::string &code)
{
    if (code == unknown)
        return "??";
    return Text::upper(Text::first(code, 2));
}

bool looksLikeCommentary(const std::optional<std::string> &title)
{
    if (!title)
        return false;
    const std::string text = Text::lower(*title);
    return std::any_of(commentaryWords.begin(), commentaryWords.end(),
                       [&](std::string_view word) { return contains(text, word); });
}

} // namespace kestrel::Language
