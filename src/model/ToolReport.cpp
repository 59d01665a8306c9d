#include "model/ToolReport.h"

#include "platform/Wording.h"

namespace kestrel::ToolReport {

std::array<Capability, 3> capabilities(const Tools &tools)
{
    const std::string_view installCommand = Wording::text(Words::installFfmpeg);
    return {{
        {"libx265", tools.hasX265, "HEVC kodieren", installCommand},
        {"libsvtav1", tools.hasSVTAV1, "AV1 kodieren", installCommand},
        {"libvmaf",
         tools.hasVMAF,
         tools.hasVMAF ? "Qualität messen" : "wird nicht gebraucht: Kestrel misst selbst",
         {}},
    }};
}

std::string_view explanation(Measuring measuring)
{
    return measuring == Measuring::nothing
               ? "jede Datei bekommt den festen CRF-Wert ihrer Qualitätsstufe"
               : "sucht für jede Datei den CRF-Wert, der das VMAF-Ziel ihrer Qualitätsstufe erreicht";
}

} // namespace kestrel::ToolReport
