#include "model/ToolReport.h"

#include "platform/Wording.h"

namespace kestrel::ToolReport {

std::array<Capability, 3> capabilities(const Tools &tools)
{
    const std::string_view installCommand = Wording::text(Words::installFfmpeg);
    return {{
        {"libx265", tools.hasX265, "HEVC kodieren", installCommand},
        {"libsvtav1", tools.hasSVTAV1, "AV1 kodieren", installCommand},
        {"libvmaf", tools.hasVMAF, "Qualität messen und den CRF-Wert suchen",
         "Debians ffmpeg hat den Filter nicht: ein ffmpeg mit libvmaf nach /usr/local/bin legen (siehe "
         "„man kestrel“)"},
    }};
}

} // namespace kestrel::ToolReport
