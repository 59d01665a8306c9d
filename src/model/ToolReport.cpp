#include "model/ToolReport.h"

#include <fmt/format.h>

#include "planning/ConversionSettings.h"
#include "platform/Wording.h"

namespace kestrel::ToolReport {

std::vector<Capability> capabilities(const Tools &tools)
{
    const std::string_view installCommand = Wording::text(Words::installFfmpeg);
    std::vector<Capability> list;
    for (const VideoCodecChoice codec : allCodecs())
        if (const auto name = encoder(codec); !name.empty())
            list.push_back(
                {name, supports(tools, codec), fmt::format("{} kodieren", shortName(codec)), installCommand});
    list.push_back(
        {"libvmaf",
         tools.hasVMAF,
         tools.hasVMAF ? std::string(measuringTitle) : "wird nicht gebraucht: Kestrel misst selbst",
         {}});
    return list;
}

std::string_view explanation(Measuring measuring)
{
    return measuring == Measuring::nothing
               ? "jede Datei bekommt den festen CRF-Wert ihrer Qualitätsstufe"
               : "sucht für jede Datei den CRF-Wert, der das VMAF-Ziel ihrer Qualitätsstufe erreicht";
}

} // namespace kestrel::ToolReport
