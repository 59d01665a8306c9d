#pragma once

#include <string_view>

namespace kestrel {

// Identifies the texts that name keys, programs, devices or folders, and so differ from desktop to desktop.
enum class Words {
    installFfmpeg, // as typed in a terminal
    chooseFolderHelp,
    rescanHelp,
    settingsHelp,
    clipFolder, // the folder of probe clips, as users call it
    revealFile,
    sleepNote,
    pageHeading,
    pageInvitation,
    pageNote,
    pageIsOffline,
    pageWithoutFolder,
    av1Summary,
};

enum class Desktop { apple, freedesktop };

namespace Wording {

#ifdef __APPLE__
inline constexpr Desktop ofThisBuild = Desktop::apple;
#else
inline constexpr Desktop ofThisBuild = Desktop::freedesktop;
#endif

// Returns the German text.
std::string_view text(Words words, Desktop desktop = ofThisBuild);

} // namespace Wording

} // namespace kestrel
