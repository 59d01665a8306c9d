#include "status/StatusSnapshot.h"

#include <gtest/gtest.h>

namespace kestrel {
TEST(StatusSnapshot, isWrittenInTheOrderOfItsFields)
{
    StatusSnapshot snapshot;
    snapshot.computer = "PC";
    snapshot.headline = "Bereit";
    EXPECT_EQ(snapshot.toJson(),
              R"({"computer":"PC","state":"idle","headline":"Bereit","tiles":[],"jobs":[],)"
              R"("folders":[],"recent":[]})");
    snapshot.folder = "Filme";
    snapshot.location = "Lokal";
    snapshot.progress = 0.5;
    snapshot.progressText = "1 von 2";
    snapshot.note = "Bisher \xff";
    snapshot.tiles = {{"drive", "plain", "1 GB", "Vorher"}};
    snapshot.jobs = {{"Film", "", "uploading", "lädt", {}}, {"<b>", "A › B", "running", "kodiert", 0.25}};
    snapshot.folders = {{"A", 1, 2, 0.5, "open", "Heute, 14:00"}};
    snapshot.recent = {{"B", "Fehler", "red"}};
    EXPECT_EQ(
        snapshot.toJson(),
        R"({"computer":"PC","folder":"Filme","location":"Lokal","state":"idle","headline":"Bereit",)"
        R"("progress":0.5,"progressText":"1 von 2","note":"Bisher )"
        "\uFFFD"
        R"(","tiles":[{"icon":"drive","tone":"plain","value":"1 GB","caption":"Vorher"}],)"
        R"("jobs":[{"name":"Film","folder":"","state":"uploading","text":"lädt"},)"
        R"({"name":"<b>","folder":"A › B","state":"running","text":"kodiert","progress":0.25}],)"
        R"("folders":[{"name":"A","processed":1,"count":2,"progress":0.5,"state":"open","eta":"Heute, 14:00"}],)"
        R"("recent":[{"name":"B","text":"Fehler","tone":"red"}]})");
}

TEST(StatusSnapshot, namesReadAsAPersonWouldSayThem)
{
    using Case = std::tuple<std::string, std::optional<std::string>, std::string>;
    for (const auto &[name, series, shown] : std::vector<Case>{
             {"Der Film.mkv", {}, "Der Film"},
             {"Lauter.Wind.2011.German.DL.1080p.BluRay.x264-GRP.mkv", {}, "Lauter Wind 2011 German DL"},
             {"__Alte_  Filme__.avi", {}, "Alte Filme"},
             {"1080p.mkv", {}, "1080p"},
             {"Web of Lies.mkv", {}, "Web of Lies"},
             {"Hochzeit DVD 2.mkv", {}, "Hochzeit DVD 2"},
             {"Meine Web-Serie 7.mkv", {}, "Meine Web-Serie 7"},
             {"Reise.2019.UHD.WEB.2160p.hevc-GRP.mkv", {}, "Reise 2019"},
             {"...mkv", {}, "...mkv"},
             {"Stille.Wasser.S01E03.720p.HDTV.mkv", "Stille Wasser", "S01E03"},
             {"Stille Wasser - S01E03 - Der Anfang.mkv", "Stille Wasser (2008)", "S01E03 - Der Anfang"},
             {"STILLE ÄCKER 4.mkv", "Stille Äcker", "4"},
             {"Stille Wasser.mkv", "Stille Wasser", "Stille Wasser"},
             {"Folge 1.mkv", "Stille Wasser", "Folge 1"},
             {"Stillere Wasser 1.mkv", "Still", "Stillere Wasser 1"},
             {"Film \xff.mkv", "", "Film \uFFFD"}})
        EXPECT_EQ(displayName(name, series), shown) << name;
}

} // namespace kestrel
