#include "platform/JsonText.h"

#include <nlohmann/json.hpp>

namespace kestrel::JsonText {

using nlohmann::json;
using nlohmann::ordered_json;

json parse(std::string_view text)
{
    return json::parse(text.data(), text.data() + text.size());
}

json parseIfValid(std::string_view text)
{
    return json::parse(text.data(), text.data() + text.size(), nullptr, false);
}

std::string dump(const json &value)
{
    return value.dump();
}

std::string dump(const ordered_json &value)
{
    return value.dump();
}

std::string dumpRepaired(const ordered_json &value)
{
    return value.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

bool isError(const std::exception &error)
{
    return dynamic_cast<const json::exception *>(&error) != nullptr;
}

} // namespace kestrel::JsonText
