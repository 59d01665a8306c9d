#pragma once

#include <exception>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

// Converts JSON from text and to text. The library's parser and writer are large templates; only JsonText.cpp
// compiles them.
namespace kestrel::JsonText {

nlohmann::json parse(std::string_view text); // throws nlohmann::json::exception
// Returns a discarded value (nlohmann::json::is_discarded) where the text is no JSON.
nlohmann::json parseIfValid(std::string_view text);

// Returns the value on one line. Throws nlohmann::json::exception where a string is not valid UTF-8.
std::string dump(const nlohmann::json &value);
std::string dump(const nlohmann::ordered_json &value);
// Likewise, with U+FFFD in place of every broken byte.
std::string dumpRepaired(const nlohmann::ordered_json &value);

// Returns whether the error is one of the library's.
bool isError(const std::exception &error);

} // namespace kestrel::JsonText
