# Generates one constant from the status page's three files and one from its icon:
#   cmake -DPAGE=folder -DWORDS=page-words -DICON=file.png -DOUTPUT=StatusPage.cpp -P EmbedPage.cmake
file(READ ${PAGE}/page.html html)
file(READ ${PAGE}/page.css style)
file(READ ${PAGE}/page.js script)
string(REPLACE "@STYLE@\n" "${style}" html "${html}")
string(REPLACE "@SCRIPT@\n" "${script}" html "${html}")
while(html MATCHES "@([A-Z_]+)@")
  execute_process(COMMAND ${WORDS} ${CMAKE_MATCH_1} OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
  string(REPLACE "@${CMAKE_MATCH_1}@" "${text}" html "${html}")
endwhile()

file(READ ${ICON} icon HEX)
string(LENGTH "${icon}" digits)
math(EXPR bytes "${digits} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," icon "${icon}")

file(WRITE ${OUTPUT} "#include \"status/StatusPage.h\"

#include <array>

namespace kestrel::StatusPage {

std::string_view html()
{
    return R\"PAGE(${html})PAGE\";
}

std::string_view touchIcon()
{
    static constexpr std::array<unsigned char, ${bytes}> bytes{${icon}};
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

} // namespace kestrel::StatusPage
")
