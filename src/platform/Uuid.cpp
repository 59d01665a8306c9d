#include "platform/Uuid.h"

#include <algorithm>
#include <array>
#include <random>

#include <fmt/format.h>

namespace kestrel {

std::string freshUuid()
{
    std::random_device source;
    std::array<unsigned, 4> words{source(), source(), source(), source()};
    words[1] = (words[1] & 0xFFFF0FFFU) | 0x00004000U; // version
    words[2] = (words[2] & 0x3FFFFFFFU) | 0x80000000U; // variant
    return fmt::format("{:08X}-{:04X}-{:04X}-{:04X}-{:04X}{:08X}", words[0], words[1] >> 16,
                       words[1] & 0xFFFFU, words[2] >> 16, words[2] & 0xFFFFU, words[3]);
}

bool isUuid(std::string_view text)
{
    constexpr std::string_view form = "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX";
    return std::equal(text.begin(), text.end(), form.begin(), form.end(), [](char given, char expected) {
        const bool isHex = (given >= '0' && given <= '9') || (given >= 'A' && given <= 'F');
        return expected == 'X' ? isHex : given == expected;
    });
}

} // namespace kestrel
