#pragma once

#include <exception>
#include <string>
#include <system_error>

// Describes errors for the user, in German.
namespace kestrel::ErrorText {

// Returns the bare reason, for example "Keine Berechtigung".
std::string describe(const std::error_code &code);
// Returns the reason, with the file or folder concerned where the error names one. The text of an exception
// that already is a finished sentence is returned as it is.
std::string describe(const std::exception &error);
// Returns only the reason, also where the error names a file.
std::string reason(const std::exception &error);

} // namespace kestrel::ErrorText
