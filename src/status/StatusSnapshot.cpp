#include "status/StatusSnapshot.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <initializer_list>
#include <string_view>

#include <nlohmann/json.hpp>

#include "platform/JsonText.h"
#include "platform/Text.h"

namespace kestrel {

namespace {

using Json = nlohmann::ordered_json;

template <typename Value>
void setIfKnown(Json &object, const char *key, const std::optional<Value> &value)
{
    if (value)
        object[key] = *value;
}

Json toJson(const StatusSnapshot::Tile &tile)
{
    return {{"icon", tile.icon}, {"tone", tile.tone}, {"value", tile.value}, {"caption", tile.caption}};
}

Json toJson(const StatusSnapshot::Job &job)
{
    Json object{{"name", job.name}, {"folder", job.folder}, {"state", job.state}, {"text", job.text}};
    setIfKnown(object, "progress", job.progress);
    return object;
}

Json toJson(const StatusSnapshot::Folder &folder)
{
    Json object{{"name", folder.name},
                {"processed", folder.processed},
                {"count", folder.count},
                {"progress", folder.progress},
                {"state", folder.state}};
    setIfKnown(object, "eta", folder.eta);
    return object;
}

Json toJson(const StatusSnapshot::Recent &recent)
{
    return {{"name", recent.name}, {"text", recent.text}, {"tone", recent.tone}};
}

template <typename Record>
Json toJson(const std::vector<Record> &records)
{
    Json list = Json::array();
    for (const auto &record : records)
        list.push_back(toJson(record));
    return list;
}

using Words = std::vector<std::string>;

Words wordsOf(std::string_view text)
{
    const auto pieces = Text::pieces(text, " ._");
    return {pieces.begin(), pieces.end()};
}

// Returns whether the word says how a film was copied, not what it is. A group's name may follow the codec
// ("x264-GRP").
bool isCodecTag(const std::string &lower)
{
    constexpr std::array<std::string_view, 9> tags{"x264", "x265", "h264", "h265", "hevc",
                                                   "avc",  "xvid", "divx", "av1"};
    return std::any_of(tags.begin(), tags.end(), [&](std::string_view tag) {
        return lower == tag || (lower.starts_with(tag) && lower[tag.size()] == '-');
    });
}

bool isOneOf(const std::string &lower, std::initializer_list<std::string_view> words)
{
    return std::find(words.begin(), words.end(), lower) != words.end();
}

bool isCertainTag(const std::string &lower)
{
    return isCodecTag(lower) ||
           isOneOf(lower, {"480p", "576p", "720p", "1080p", "1080i", "2160p", "bluray", "blu-ray", "bdrip",
                           "brrip", "bdremux", "webrip", "web-dl", "webdl", "hdtv", "dvdrip"});
}

// Words that a title may contain as well are tags only directly before a certain one.
Words::const_iterator firstTag(const Words &words)
{
    const auto isCertain = [](const std::string &word) { return isCertainTag(Text::lower(word)); };
    auto tag =
        std::find_if(words.begin() + std::min<std::ptrdiff_t>(1, std::ssize(words)), words.end(), isCertain);
    while (tag != words.end() && tag - words.begin() > 1 &&
           isOneOf(Text::lower(*(tag - 1)), {"web", "dvd", "4k", "uhd", "remux"}))
        --tag;
    return tag;
}

bool isPunctuation(const std::string &word)
{
    return word == "–" || word == "—" ||
           std::all_of(word.begin(), word.end(), [](unsigned char c) { return std::ispunct(c) != 0; });
}

std::string joined(const Words &words)
{
    std::string text;
    for (const auto &word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

// Removes a year in brackets, which folders have and file names lack.
Words seriesWords(const std::string &series)
{
    Words words = wordsOf(series);
    while (words.size() > 1 && words.back().starts_with('('))
        words.pop_back();
    return words;
}

bool beginsWith(const Words &words, const Words &beginning)
{
    return words.size() >= beginning.size() &&
           std::equal(beginning.begin(), beginning.end(), words.begin(),
                      [](const auto &a, const auto &b) { return Text::lower(a) == Text::lower(b); });
}

} // namespace

std::string StatusSnapshot::toJson() const
{
    Json object{{"computer", computer}};
    setIfKnown(object, "folder", folder);
    setIfKnown(object, "location", location);
    object["state"] = state;
    object["headline"] = headline;
    setIfKnown(object, "progress", progress);
    setIfKnown(object, "progressText", progressText);
    setIfKnown(object, "note", note);
    object["tiles"] = kestrel::toJson(tiles);
    object["jobs"] = kestrel::toJson(jobs);
    object["folders"] = kestrel::toJson(folders);
    object["recent"] = kestrel::toJson(recent);
    return JsonText::dumpRepaired(object);
}

std::string displayName(const std::string &name, const std::optional<std::string> &series)
{
    const std::filesystem::path file = name;
    Words words = wordsOf(Text::shown(file.stem()));
    words.erase(firstTag(words), words.end());
    const Words known = series ? seriesWords(*series) : Words();
    if (!known.empty() && beginsWith(words, known)) {
        const auto rest = std::find_if_not(words.begin() + std::ssize(known), words.end(), isPunctuation);
        if (rest != words.end())
            words.erase(words.begin(), rest);
    }
    return words.empty() ? Text::repaired(name) : joined(words);
}

} // namespace kestrel
