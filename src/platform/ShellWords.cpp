#include "platform/ShellWords.h"

#include <fmt/format.h>

#include "platform/Text.h"

namespace kestrel::ShellWords {

std::string inApostrophes(std::string_view word)
{
    std::string result = "'";
    for (const char c : word)
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

std::string quoted(std::string_view word)
{
    if (Text::isVisible(word))
        return inApostrophes(word);
    std::string result = "$'";
    for (const char c : word)
        result += c == '\'' || c == '\\' ? std::string{'\\', c}
                  : c >= ' ' && c <= '~' ? std::string{c}
                                         : fmt::format("\\{:03o}", static_cast<unsigned char>(c));
    return result + "'";
}

std::string plain(std::string_view word)
{
    constexpr std::string_view bare =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./:=,+@%";
    const bool isBare = !word.empty() && word.find_first_not_of(bare) == std::string_view::npos;
    return isBare ? std::string(word) : quoted(word);
}

} // namespace kestrel::ShellWords
