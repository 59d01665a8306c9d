// page-words NAME: prints the text that replaces @NAME@ in the status page, in the words of this build's
// desktop.

#include <array>
#include <cstdio>
#include <utility>

#include "platform/Wording.h"

using kestrel::Words;

constexpr std::array<std::pair<std::string_view, Words>, 2> pageWords{{
    {"IS_OFFLINE", Words::pageIsOffline},
    {"WITHOUT_FOLDER", Words::pageWithoutFolder},
}};

int main(int count, char **words)
{
    for (const auto &[name, row] : pageWords) {
        if (count != 2 || name != words[1])
            continue;
        const std::string_view text = kestrel::Wording::text(row);
        if (text.find_first_of("<>&\"\\@") != std::string_view::npos)
            break; // the document and its script do not escape it
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }
    std::fputs("page-words NAME\n", stderr);
    return 1;
}
