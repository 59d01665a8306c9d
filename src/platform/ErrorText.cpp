#include "platform/ErrorText.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <new>
#include <string_view>

#include <fmt/format.h>

#include "platform/JsonText.h"
#include "platform/Text.h"

namespace kestrel::ErrorText {

namespace {

struct Reason {
    int code;
    std::string_view text;
};

constexpr std::string_view notAllowed = "Keine Berechtigung", unsupported = "Der Datenträger kann das nicht",
                           inUse = "Wird gerade benutzt", tooManyFiles = "Zu viele offene Dateien",
                           noMemory = "Nicht genügend Arbeitsspeicher",
                           deviceGone = "Der Datenträger ist nicht mehr vorhanden",
                           shareGone = "Die Netzwerkfreigabe ist nicht mehr verbunden",
                           serverGone = "Der Server ist nicht erreichbar";

constexpr std::array<Reason, 32> reasons{{
    {EACCES, notAllowed},
    {EPERM, notAllowed},
    {ENOSPC, "Kein Speicherplatz mehr frei"},
    {EDQUOT, "Das Speicherkontingent ist ausgeschöpft"},
    {EROFS, "Der Datenträger ist schreibgeschützt"},
    {ENOENT, "Datei oder Ordner ist nicht vorhanden"},
    {EEXIST, "Unter diesem Namen gibt es schon etwas"},
    {ENOTEMPTY, "Der Ordner ist nicht leer"},
    {ENOTDIR, "Kein Ordner"},
    {EISDIR, "Ein Ordner, keine Datei"},
    {ENAMETOOLONG, "Der Name ist zu lang"},
    {EINVAL, unsupported},
    {ENOSYS, unsupported},
    {EOPNOTSUPP, unsupported},
    {EXDEV, "Liegt auf einem anderen Datenträger"},
    {EFBIG, "Die Datei ist für diesen Datenträger zu groß"},
    {EIO, "Lese- oder Schreibfehler"},
    {EBUSY, inUse},
    {ETXTBSY, inUse},
    {ELOOP, "Zu viele symbolische Links"},
    {EMFILE, tooManyFiles},
    {ENFILE, tooManyFiles},
    {ENOMEM, noMemory},
    {EAGAIN, "Zurzeit nicht möglich"},
    {ENOEXEC, "Kein ausführbares Programm"},
    {ENODEV, deviceGone},
    {ENXIO, deviceGone},
    {ESTALE, shareGone},
    {ENOTCONN, shareGone},
    {EHOSTDOWN, serverGone},
    {EHOSTUNREACH, serverGone},
    {ETIMEDOUT, "Keine Antwort in angemessener Zeit"},
}};

} // namespace

std::string describe(const std::error_code &code)
{
    const auto *found =
        std::find_if(reasons.begin(), reasons.end(), [&](const Reason &r) { return r.code == code.value(); });
    if (found != reasons.end())
        return std::string(found->text);
    return fmt::format("Systemfehler {} ({})", code.value(), code.message());
}

std::string describe(const std::exception &error)
{
    if (const auto *file = dynamic_cast<const std::filesystem::filesystem_error *>(&error);
        file != nullptr && !file->path1().empty())
        return fmt::format("{}: „{}“", describe(file->code()), Text::shown(file->path1()));
    return reason(error);
}

std::string reason(const std::exception &error)
{
    if (const auto *system = dynamic_cast<const std::system_error *>(&error))
        return describe(system->code());
    if (JsonText::isError(error))
        return "Die Antwort ist nicht lesbar (kein gültiges JSON)";
    if (dynamic_cast<const std::bad_alloc *>(&error) != nullptr)
        return std::string(noMemory);
    return error.what();
}

} // namespace kestrel::ErrorText
