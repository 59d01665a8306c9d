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
        {"libvmaf", tools.hasVMAF, "Qualität messen und den CRF-Wert suchen",
         "Debians ffmpeg hat den Filter nicht: ein ffmpeg mit libvmaf nach /usr/local/bin legen (siehe "
         "„man kestrel“)"});
    return list;
}

} // namespace kestrel::ToolReport
