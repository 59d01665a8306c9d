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

ResultRecords::Record showBeside(const Swap &swap, const ConversionSettings &settings)
{
    const fs::path &source = swap.source.path;
    const Files::Attributes result = Files::attributes(swap.finished);
    for (;;) {
        const fs::path name = TargetName::freeName(swap.finished.parent_path(), source, settings);
        const auto record = ResultRecords::add({0,
                                                {fs::absolute(source), swap.source.attributes},
                                                {fs::absolute(name), result},
                                                swap.final,
                                                swap.expected});
        try {
            Files::moveToFreeName(swap.finished, name);
            return record;
        } catch (const fs::filesystem_error &error) {
            ResultRecords::remove(record);
            if (error.code() != std::errc::file_exists) // otherwise another process took the name first
                throw;
        }
    }
}

fs::path takePlace(const ResultRecords::Record &record)
{
    try {
        Trash::put(record.source.path);
    } catch (const fs::filesystem_error &error) {
        throw ToolError::failed(
            fmt::format("Original konnte nicht in den Papierkorb gelegt werden ({}). Neue Datei: {}",
                        ErrorText::reason(error), Text::shown(record.result.path.filename())));
    }
    return takeName(record);
}

fs::path takeName(const ResultRecords::Record &record)
{
    fs::path result = record.result.path;
    try {
        if (!record.final.empty()) {
            Files::moveToFreeName(result, record.final);
            result = record.final;
        }
    } catch (const fs::filesystem_error &error) {
        Log::write("Neue Datei behält ihren Namen: " + ErrorText::describe(error));
    }
    Files::trySync(result.parent_path());
    ResultRecords::remove(record);
    return result;
}

} // namespace kestrel::LocalSwap
