#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "encoding/CurrentRunner.h"
#include "media/MediaInfo.h"
#include "media/Tools.h"
#include "planning/ConversionSettings.h"
#include "planning/Plan.h"
#include "platform/Files.h"

namespace kestrel {

class WorkFile;

struct ConversionOutcome {
    enum class Kind {
        replaced,  // the new file has taken the original's place
        written,   // the new file lies in the separate output folder, the original is untouched
        noSavings, // the original stays; a result that was made is removed
    };

    Kind kind = Kind::noSavings;
    std::int64_t originalSize = 0, newSize = 0;     // bytes
    std::optional<std::filesystem::path> finalURL;  // absent for noSavings
    std::optional<std::string> note = std::nullopt; // what else the user should know; German

    bool operator==(const ConversionOutcome &) const = default;
};

// Converts one file from its plan to the finished file in its place. One job serves one run. Until the last
// step only hidden work files change in the user's folders, and they are removed when run() ends, on every
// path. suspend() and resume() may be called from any thread.
class ConversionJob {
public:
    struct Callbacks { // called on the thread in run()
        FFmpegRunner::OnProgress progress;
        std::function<void()> onUpload; // called once, before the result is copied to a network share
    };

    // `rootURL` is the opened folder; `expectedBytes` is used for the check of free space only.
    ConversionJob(MediaInfo info, Plan plan, ConversionSettings settings, Tools tools,
                  std::filesystem::path rootURL, double expectedBytes);

    // Blocks. Throws ToolError, the file system's errors, or Cancelled.
    ConversionOutcome run(const Callbacks &callbacks, std::stop_token stop);

    // Both may be called from any thread; a job that is suspended before its encode starts it frozen.
    void suspend() { m_ffmpeg.suspend(); }
    void resume() { m_ffmpeg.resume(); }

    // Returns whether the file is the one that it was before. A share may change the numbers of its files at
    // any time (sshfs does), so the same size and time suffice there.
    static bool isUnchanged(const std::filesystem::path &file, const Files::Attributes &now,
                            const Files::Attributes &before);

    // Returns the separate output folder, which lies beside the opened one.
    static std::filesystem::path outputRoot(const std::filesystem::path &root);
    static std::filesystem::path targetDirectory(const std::filesystem::path &file,
                                                 const ConversionSettings &settings,
                                                 const std::filesystem::path &root);
    static std::filesystem::path targetURL(const std::filesystem::path &file,
                                           const ConversionSettings &settings,
                                           const std::filesystem::path &root);
    // Returns the path to which the encode of this file is written when its target is a local folder.
    static std::filesystem::path temporaryURL(const std::filesystem::path &file,
                                              const ConversionSettings &settings,
                                              const std::filesystem::path &root);

    // Returns the folder in which files for network shares are encoded; the first call creates it.
    static std::filesystem::path localWorkRoot();
    // Empties localWorkRoot(). REQUIRES: no job runs, in this or another process.
    static void cleanLocalWork();

    // Throws ToolError when the volume has less free space than `bytes`; a volume that reports 0 or nothing
    // passes.
    static void requireSpace(const std::filesystem::path &folder, std::int64_t bytes);
    // Removes empty folders from `from` upwards to below `upTo`; a folder that a job works in stays.
    static void removeEmptyFolders(const std::filesystem::path &from, const std::filesystem::path &upTo);

private:
    struct Workplace;
    struct Placed {
        std::filesystem::path final;
        std::optional<std::string> note;
    };

    Workplace prepare() const;
    void cleanUp(Workplace &place, bool hasSucceeded) const;
    void encode(const Workplace &place, const FFmpegRunner::OnProgress &progress,
                const std::stop_token &stop);
    void upload(Workplace &place, std::int64_t newSize, const std::function<void()> &onUpload,
                const std::stop_token &stop) const;
    void requireUnchangedSource(const Workplace &place) const;
    Placed putInPlace(Workplace &place, std::int64_t newSize) const;
    Placed replaceOriginal(Workplace &place, std::int64_t newSize) const;
    static void takeOver(const Workplace &place);
    std::string finalName() const;

    // Set once.
    const MediaInfo m_info;
    const Plan m_plan;
    const ConversionSettings m_settings;
    const Tools m_tools;
    const std::filesystem::path m_root;
    const double m_expectedBytes;

    CurrentRunner m_ffmpeg;
};

} // namespace kestrel
