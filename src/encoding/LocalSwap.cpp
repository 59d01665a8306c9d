#include "encoding/LocalSwap.h"

#include <system_error>

#include <fmt/format.h>

#include "encoding/TargetName.h"
#include "media/Log.h"
#include "media/Tools.h"
#include "platform/ErrorText.h"
#include "platform/Files.h"
#include "platform/Text.h"
#include "platform/Trash.h"

namespace kestrel::LocalSwap {

namespace fs = std::filesystem;

fs::path showBeside(const fs::path &finished, const fs::path &source, const ConversionSettings &settings)
{
    for (;;) {
        const fs::path name = TargetName::freeName(finished.parent_path(), source, settings);
        try {
            Files::moveToFreeName(finished, name);
            return name;
        } catch (const fs::filesystem_error &error) {
            if (error.code() != std::errc::file_exists) // else somebody was quicker
                throw;
        }
    }
}

fs::path takePlace(const fs::path &visible, const fs::path &source, const fs::path &final)
{
    try {
        Trash::put(source);
    } catch (const fs::filesystem_error &error) {
        throw ToolError::failed(
            fmt::format("Original konnte nicht in den Papierkorb gelegt werden ({}). Neue Datei: {}",
                        ErrorText::reason(error), Text::repaired(visible.filename().native())));
    }
    fs::path result = visible;
    try {
        if (!final.empty()) {
            Files::moveToFreeName(visible, final);
            result = final;
        }
    } catch (const fs::filesystem_error &error) {
        Log::write("Neue Datei behält ihren Namen: " + ErrorText::describe(error));
    }
    Files::trySync(result.parent_path());
    return result;
}

} // namespace kestrel::LocalSwap
