#pragma once

#include <exception>
#include <string>
#include <system_error>

// What a person reads about an error, in German.
namespace kestrel::ErrorText {

// The bare reason, for example "Keine Berechtigung".
std::string describe(const std::error_code &code);
// The reason, with the file or folder that it is about where the error names one. An exception that
// already carries a finished sentence is passed on as it is.
std::string describe(const std::exception &error);
// Returns only the reason, also where the error names a file.
std::string reason(const std::exception &error);

} // namespace kestrel::ErrorText
