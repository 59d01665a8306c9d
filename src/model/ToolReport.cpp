#include "model/ToolReport.h"

namespace kestrel::ToolReport {

std::array<Capability, 3> capabilities(const Tools &tools)
{
    return {{
        {"libx265", tools.hasX265, "HEVC kodieren", installCommand},
        {"libsvtav1", tools.hasSVTAV1, "AV1 kodieren", installCommand},
        {"libvmaf", tools.hasVMAF, "Qualität messen und den CRF-Wert suchen",
         "Debians ffmpeg hat den Filter nicht: ein ffmpeg mit libvmaf nach /usr/local/bin legen (siehe "
         "„man kestrel“)"},
    }};
}

} // namespace kestrel::ToolReport
