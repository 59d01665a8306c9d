#include "media/Prober.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "media/Log.h"
#include "media/Tools.h"
#include "platform/Cancelled.h"
#include "support/Clips.h"
#include "support/StandIn.h"

namespace kestrel::test {

namespace {

using fs::path;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

MediaInfo parsed(const json &answer)
{
    return Prober::parse(answer, "/filme/Film.mkv", 1000, {});
}

MediaInfo oneStream(const std::string &fields)
{
    return parsed(json::parse("{\"streams\": [{" + fields + "}]}"));
}

VideoStreamInfo video(const std::string &fields)
{
    return oneStream("\"codec_type\": \"video\"" + fields).video.value();
}

std::vector<std::string> relative(const std::vector<path> &files, const path &root)
{
    std::vector<std::string> result;
    for (const auto &file : files)
        result.push_back(file.lexically_relative(root).native());
    return result;
}

} // namespace

TEST(Prober, readsEverythingThatFFprobeTellsAboutAFilm)
{
    const json answer = json::parse(R"({
        "format": {"duration": "5400.25", "format_name": "matroska,webm"},
        "streams": [
            {"index": 0, "codec_type": "video", "codec_name": "mjpeg", "disposition": {"attached_pic": 1}},
            {"index": 1, "codec_type": "video", "codec_name": "hevc", "profile": "Main 10", "width": 3840,
             "height": 1600, "pix_fmt": "yuv420p10le", "field_order": "progressive",
             "color_transfer": "smpte2084", "color_primaries": "bt2020", "color_space": "bt2020nc",
             "avg_frame_rate": "0/0", "r_frame_rate": "24000/1001", "tags": {"BPS-eng": "21000000"},
             "side_data_list": [{"side_data_type": "Mastering display metadata"},
                                {"side_data_type": "DOVI configuration record"}]},
            {"index": 2, "codec_type": "video", "codec_name": "h264"},
            {"index": 3, "codec_type": "data", "codec_name": "bin_data"},
            {"index": 4, "codec_type": "audio", "codec_name": "dts", "profile": "DTS-HD MA", "channels": 8,
             "sample_rate": "48000", "bit_rate": "4000000", "disposition": {"default": 1, "forced": 1},
             "tags": {"language": "ger", "title": "Deutsch", "BPS": "5"}},
            {"index": 5, "codec_type": "audio", "codec_name": "ac3", "disposition": {"visual_impaired": 1}},
            {"index": 6, "codec_type": "subtitle", "codec_name": "subrip", "disposition": {"default": 1},
             "tags": {"language": "eng", "title": "FORCED only", "NUMBER_OF_BYTES": "777"}},
            {"index": 7, "codec_type": "attachment", "codec_name": "ttf"}
        ]})");
    const FileTime modified(std::chrono::seconds(1'700'000'000));

    constexpr double fps = 24000.0 / 1001;
    VideoStreamInfo main{1, "hevc", "Main 10", 3840, 1600, fps, "yuv420p10le", 10, "progressive"};
    main.colorTransfer = "smpte2084";
    main.colorPrimaries = "bt2020";
    main.colorSpace = "bt2020nc";
    main.bitrate = 21'000'000;
    main.isDolbyVision = true;
    main.isFirst = false; // behind the cover
    const AudioStreamInfo german{4,         "dts",  "DTS-HD MA", 8,    "deu", "Deutsch",
                                 4'000'000, 48'000, true,        true, false};
    const AudioStreamInfo description{.index = 5, .codec = "ac3", .language = "und", .isCommentary = true};
    const SubtitleStreamInfo forced{6, "subrip", "eng", "FORCED only", true, true, 777};
    const MediaInfo expected{"/filme/Film.mkv",     1000,     modified, 5400.25, "matroska,webm", main,
                             {german, description}, {forced}, {7},      true};
    EXPECT_EQ(Prober::parse(answer, "/filme/Film.mkv", 1000, modified), expected);
    EXPECT_TRUE(
        oneStream(R"("codec_type": "audio", "disposition": {"comment": 1})").audio.at(0).isCommentary);
}

TEST(Prober, readsHowAPlayerTurnsAndShapesThePicture)
{
    const auto sideData = [](const std::string &matrix, const char *angle) {
        return R"(, "side_data_list": [{"side_data_type": "Other"}, {"side_data_type": "Display Matrix",)"
               R"("displaymatrix": "\n)" +
               matrix + R"(\n00000002: 0 0 1073741824\n", "rotation": )" + angle + "}]";
    };
    const std::string upright = R"(00000000: 65536 0 0\n00000001: 0 65536 0)",
                      flipped = R"(00000000: 65536 0 0\n00000001: 0 -65536 0)",
                      sidewise = R"(00000000: 0 -65536 0\n00000001: 65536 0 0)";
    const struct {
        std::string fields;
        int rotation = 0;
        bool isMirrored = false, isDoubtful = false;
        double pixelAspect = 1;
    } cases[] = {
        {""},
        {sideData(upright, "0")},
        {sideData(sidewise, "90"), 270},
        {sideData(sidewise, "-90.00"), 90},
        {sideData(upright, "-180"), 180},
        {sideData(flipped, "0"), 0, true},
        {sideData(upright, "-30"), 0, false, true},
        {sideData(sidewise, "90") + R"(, "tags": {"rotate": "180"})", 270},
        {R"(, "tags": {"ROTATE": "90"})", 90, false, true},
        {R"(, "tags": {"rotate": "0"})"},
        {R"(, "tags": {"rotate": "left"})"},
        {R"(, "side_data_list": [5, null, {"rotation": "x"}])"},
        {R"(, "sample_aspect_ratio": "16:15")", 0, false, false, 16.0 / 15},
        {R"(, "sample_aspect_ratio": "0:1")"},
        {R"(, "sample_aspect_ratio": "N/A")"},
    };
    for (const auto &[fields, rotation, isMirrored, isDoubtful, pixelAspect] : cases) {
        const VideoStreamInfo found = video(R"(, "width": 720, "height": 576)" + fields);
        EXPECT_EQ(found.rotation, rotation) << fields;
        EXPECT_EQ(found.isMirrored, isMirrored) << fields;
        EXPECT_EQ(found.hasDoubtfulTurn, isDoubtful) << fields;
        EXPECT_DOUBLE_EQ(found.pixelAspect, pixelAspect) << fields;
        EXPECT_EQ(found.seenSize(), (rotation % 180 == 0 ? FrameSize{720, 576} : FrameSize{576, 720}));
        const double aspect = 720 * pixelAspect / 576;
        EXPECT_DOUBLE_EQ(found.seenAspect(), rotation % 180 == 0 ? aspect : 1 / aspect) << fields;
    }
}

TEST(Prober, findsTheFilmAmongSeveralVideoTracks)
{
    const struct {
        const char *first; // fields of the first track; the second is a film
        int film;          // its index
        bool hasSeveral;
    } cases[] = {
        {R"("nb_frames": "1")", 1, false},
        {R"("nb_frames": "250")", 0, true},
        {R"("tags": {"NUMBER_OF_FRAMES": "1"})", 1, false},
        {R"("tags": {"NUMBER_OF_FRAMES-eng": "250"})", 0, true},
        {R"("avg_frame_rate": "25/1", "tags": {"DURATION": "00:00:00.040000000"})", 1, false},
        {R"("avg_frame_rate": "25/1", "tags": {"DURATION": "00:01:00.000000000"})", 0, true},
        {R"("avg_frame_rate": "25/1", "duration": "0.04")", 1, false},
        {R"("nb_frames": "250", "disposition": {"still_image": 1})", 1, false},
        {R"("nb_frames": "250", "disposition": {"timed_thumbnails": 1})", 1, false},
        {R"("disposition": {"attached_pic": 1})", 1, false},
        {R"("avg_frame_rate": "0/0", "id": "1")", 1, false}, // counted
        {R"("avg_frame_rate": "0/0", "id": "2")", 0, true},  // likewise
    };
    for (const auto &[first, film, hasSeveral] : cases) {
        json answer =
            json::parse(std::string(R"({"streams": [{"codec_type": "video", "codec_name": "mjpeg", )") +
                        first + R"(}, {"codec_type": "video", "codec_name": "h264", "nb_frames": "99"}]})");
        answer["kestrel"]["pictures"]["0"] = std::string(first).find("\"2\"") == std::string::npos ? 1 : 2;
        const MediaInfo info = parsed(answer);
        EXPECT_EQ(info.video.value().index, film) << first;
        EXPECT_EQ(info.video->isFirst, film == 0) << first;
        EXPECT_EQ(info.hasSeveralFilms, hasSeveral) << first;
    }
    EXPECT_EQ(video(R"(, "nb_frames": "1")").index, 0); // the only track is the film, whatever it holds
}

TEST(Prober, doesNotBelieveADurationThatTheFileCannotHold)
{
    const auto playTime = [](double duration, std::optional<double> lastPacket = {},
                             std::optional<int> sound = 128'000) {
        MediaInfo film{.fileSize = 1'000'000, .duration = duration, .lastPacket = lastPacket};
        if (sound)
            film.audio.emplace_back().bitrate = sound;
        return film.playTime();
    };
    for (const double possible : {60, 125})
        EXPECT_EQ(playTime(possible), possible);
    EXPECT_EQ(playTime(126), 0);
    for (const double wrong : {8.6e6, 1e308, 0.0})
        EXPECT_EQ(playTime(wrong, 62), 62);
    EXPECT_EQ(playTime(1e308, 1e9), 0);
    EXPECT_EQ(playTime(0), 0);
    EXPECT_EQ(playTime(60, 5), 60);
    EXPECT_EQ(playTime(2000, {}, {}), 2000); // 500 bytes for each second
    EXPECT_EQ(playTime(2001, {}, {}), 0);
}

TEST(Prober, looksForTheLastPacketAndCountsPicturesInRealFiles)
{
    const Sandbox sandbox;
    const auto probedWithDuration = [&](const std::string &eightBytes) {
        std::string bytes = readFile(Clips::film());
        bytes.replace(bytes.find("\x44\x89\x88") + 3, 8, eightBytes); // Matroska's Duration
        return Prober::probe(sandbox.write("endless.mkv", bytes), realTools().ffprobe, {});
    };
    // 2^33 milliseconds, and about 1e308, which ffprobe takes for none.
    for (const auto &[bytes, duration] : {std::pair(std::string("\x42\0\0\0\0\0\0\0", 8), 8.59e6),
                                          {std::string("\x7f\xe0\0\0\0\0\0\0", 8), 0}}) {
        const MediaInfo info = probedWithDuration(bytes);
        EXPECT_NEAR(info.duration, duration, 1e5);
        EXPECT_NEAR(info.playTime(), 2, 0.1);
    }

    // A transport stream states nothing of its tracks.
    const path two = Clips::make("two.ts", "-f lavfi -i color=red:s=64x64:r=25:d=0.04 -f lavfi -i "
                                           "testsrc2=s=320x240:r=25:d=2 -map 0 -map 1 -c:v mpeg2video");
    const MediaInfo mixed = Prober::probe(two, realTools().ffprobe, {});
    EXPECT_EQ(mixed.video.value().width, 320);
    EXPECT_FALSE(mixed.hasSeveralFilms);
}

TEST(Prober, takesFrameRatesOnlyWhenTheyMakeSense)
{
    using Case = std::tuple<const char *, const char *, double>;
    for (const auto &[average, real, expected] :
         {Case{R"("25/1")", R"("50/1")", 25}, Case{R"("0/0")", R"("30000/1001")", 30000.0 / 1001},
          Case{R"("0/0")", R"("0/0")", 0}, Case{R"("90000/1")", R"("24/1")", 24},
          Case{R"("200/1")", R"("199/1")", 199}, Case{R"("25")", "25", 0}, Case{R"("25/1/1")", R"("/")", 0},
          Case{R"("-25/-1")", R"("nan/1")", 0}, Case{R"("25/0")", R"("inf/inf")", 0}})
        EXPECT_EQ(video(std::string(", \"avg_frame_rate\": ") + average + ", \"r_frame_rate\": " + real).fps,
                  expected)
            << average << " " << real;
}

TEST(Prober, takesTheBitDepthFromThePixelFormatWhereNothingStatesIt)
{
    for (const auto &[fields, depth] : {std::pair(R"(, "pix_fmt": "yuv420p10le")", 10),
                                        {R"(, "pix_fmt": "yuv444p12le")", 12},
                                        {R"(, "pix_fmt": "yuv420p")", 8},
                                        {"", 8},
                                        {R"(, "pix_fmt": "yuv420p10le", "bits_per_raw_sample": "9")", 9}})
        EXPECT_EQ(video(fields).bitDepth, depth) << fields;
}

TEST(Prober, fallsBackToTheStreamsDurations)
{
    json answer = json::parse(R"({"format": {"duration": 93.5}, "streams": [
        {"codec_type": "audio", "duration": "90.5"}, {"codec_type": "audio", "duration": "80"},
        {"codec_type": "video", "duration": 91}]})");
    EXPECT_EQ(parsed(answer).duration, 93.5);
    answer["format"]["duration"] = "N/A";
    EXPECT_EQ(parsed(answer).duration, 91);
    answer["streams"].erase(2);
    EXPECT_EQ(parsed(answer).duration, 90.5);
    answer.erase("streams");
    EXPECT_EQ(parsed(answer).duration, 0);
}

TEST(Prober, countsWhatItDoesNotUnderstandAsMissing)
{
    const MediaInfo nothing = parsed(json::object());
    for (
        const char *answer :
        {R"({"format": [], "streams": {"index": 0}})", R"({"format": null, "streams": "x"})",
         R"({"format": {"duration": [1], "format_name": 7}, "streams": [1, null, "x", [], {"codec_type": 5}]})",
         R"({"format": {"duration": "1e999"}, "streams": [[{"codec_type": "video"}]]})"})
        EXPECT_EQ(parsed(json::parse(answer)), nothing) << answer;

    const VideoStreamInfo strange = video(
        R"(, "index": "drei", "codec_name": 1, "width": "1920", "height": 1e40, "avg_frame_rate": 25,
        "profile": {}, "bit_rate": 18446744073709551615, "tags": ["BPS"], "disposition": 7, "pix_fmt": null,
        "bits_per_raw_sample": "N/A", "side_data_list": {"side_data_type": "DOVI"})");
    EXPECT_EQ(strange, (VideoStreamInfo{.codec = "unbekannt", .width = 1920}));

    for (const char *rate :
         {"\"N/A\"", "\"99999999999999999999\"", "1e300", "-1e300", "\"12 kbit\"", "\"\"", "true"})
        EXPECT_EQ(video(", \"bit_rate\": " + std::string(rate)).bitrate, std::nullopt) << rate;
    EXPECT_EQ(video(R"(, "bit_rate": "N/A", "tags": {"bps-ENG": 8000000})").bitrate, 8'000'000);
}

TEST(Prober, findsVideosInNaturalOrder)
{
    const Sandbox sandbox;
    for (const char *name : {"Serie/Folge 10.mkv", "Serie/Folge 9.mkv", "Serie/folge 2.mkv", "Ärzte.mp4",
                             "Film.MKV", "Film.mkv.part", "notes.txt", "mkv", ".Film.mkv",
                             ".verborgen/Film.mkv", "Foto.photoslibrary/a/clip.mov", "Programm.APP/clip.mov",
                             "Ordner.mkv/Innen.m2ts", "Gr\xfc\xdf\x65.avi"})
        sandbox.write(name, "");
    fs::create_symlink("Film.MKV", sandbox / "Link.mkv");
    fs::create_directory_symlink("Serie", sandbox / "Verweis");

    EXPECT_THAT(relative(Prober::findVideos(sandbox.path(), {}), sandbox.path()),
                ElementsAre("Ärzte.mp4", "Film.MKV", "Gr\xfc\xdf\x65.avi", "Ordner.mkv/Innen.m2ts",
                            "Serie/folge 2.mkv", "Serie/Folge 9.mkv", "Serie/Folge 10.mkv"));
    EXPECT_THAT(Prober::findVideos(sandbox / "missing", {}), testing::IsEmpty());

    std::set<path> named{sandbox / "Ärzte.mp4"};
    for (const char *name : {"Serie/Folge 9.mkv", "Film.MKV", "notes.txt", "Link.mkv", "fehlt.mkv",
                             ".verborgen/Film.mkv", "Foto.photoslibrary/a/clip.mov", "",
                             "Verweis/Folge 9.mkv", "../Film.MKV", "Ordner.mkv", "Ordner.mkv/Innen.m2ts"})
        named.insert(name);
    EXPECT_THAT(relative(Prober::findVideos(sandbox.path(), named, {}), sandbox.path()),
                ElementsAre("Film.MKV", "Ordner.mkv/Innen.m2ts", "Serie/Folge 9.mkv"));

    std::stop_source stopped;
    stopped.request_stop();
    EXPECT_THROW(Prober::findVideos(sandbox.path(), stopped.get_token()), Cancelled);
}

TEST(Prober, removesOnlyWhatAnInterruptedRunLeft)
{
    const Sandbox sandbox;
    for (const char *name :
         {".Film.mkv.kestrel-tmp.x1.mkv", "Serie/.Folge 1.mkv.kestrel-upload", ".verborgen/.a.kestrel-tmp.b",
          "Film.kestrel-tmp.mkv", "Film.mkv.kestrel-upload", ".Film.mkv.kestrel-original",
          ".Film.kestrel-upload.mkv", "Foto.photoslibrary/.a.kestrel-upload",
          // Originals of films that somebody has named like that.
          ".Film.kestrel-tmp.mkv.kestrel-original", ".Film.kestrel-upload.kestrel-original"})
        sandbox.write(name, "");
    sandbox.write("ziel/Film.mkv", "");
    fs::create_directory_symlink("ziel", sandbox / ".ziel.kestrel-upload");

    EXPECT_EQ(Prober::removeLeftovers(Prober::findLeftovers(sandbox.path(), {})), 4U);
    EXPECT_THAT(names(sandbox.path()),
                ElementsAre(".Film.kestrel-tmp.mkv.kestrel-original", ".Film.kestrel-upload.kestrel-original",
                            ".Film.kestrel-upload.mkv", ".Film.mkv.kestrel-original", ".verborgen",
                            "Film.kestrel-tmp.mkv", "Film.mkv.kestrel-upload", "Foto.photoslibrary", "Serie",
                            "ziel"));
    for (const char *emptied : {"Serie", ".verborgen"})
        EXPECT_THAT(names(sandbox / emptied), testing::IsEmpty());
    EXPECT_THAT(names(sandbox / "Foto.photoslibrary"), ElementsAre(".a.kestrel-upload"));
    EXPECT_THAT(names(sandbox / "ziel"), ElementsAre("Film.mkv"));

    Log::flush();
    EXPECT_THAT(
        readFile(Log::file()),
        HasSubstr("Rest entfernt: " + (sandbox / "Serie/.Folge 1.mkv.kestrel-upload").native() + "\n"));
}

TEST(Prober, showsPathsBelowTheOpenedFolder)
{
    const Sandbox sandbox;
    const auto file = sandbox.write("Filme/Serie/Folge 1.mkv", "");
    const auto stranger = sandbox.write("Filme 2/Gr\xfc\xdf\x65.mkv", "");
    fs::create_directory_symlink("Filme", sandbox / "Link");

    for (const auto &[path, root] : {std::pair(file, sandbox / "Filme"),
                                     {file, sandbox / "Link/"},
                                     {sandbox / "Link/Serie/../Serie/Folge 1.mkv", sandbox / "Filme"}})
        EXPECT_EQ(Prober::relativePath(path, root), "Serie/Folge 1.mkv") << path << root;
    EXPECT_EQ(Prober::relativePath(stranger, sandbox / "Filme"), "Gr\xfc\xdf\x65.mkv");
}

TEST(Prober, probesARealFilm)
{
    const Sandbox sandbox;
    const auto file = sandbox.put(Clips::film(), "Gr\xfc\xdf\x65 'n' : % \".mkv");
    const MediaInfo info = Prober::probe(file, "/usr/bin/ffprobe", {});
    EXPECT_EQ(info.url.native(), file.native());
    EXPECT_EQ(info.fileSize, static_cast<std::int64_t>(fs::file_size(file)));
    EXPECT_EQ(info.modified.time_since_epoch(),
              std::chrono::file_clock::to_sys(fs::last_write_time(file)).time_since_epoch());
    EXPECT_NEAR(info.duration, 2, 0.1);
    EXPECT_TRUE(info.isMatroska());
    const VideoStreamInfo &picture = info.video.value();
    EXPECT_EQ(std::tuple(picture.codec, picture.width, picture.fps), std::tuple("h264", 320, 25));
    ASSERT_EQ(info.audio.size(), 1U);
    EXPECT_EQ(std::tuple(info.audio[0].codec, info.audio[0].language), std::tuple("ac3", "deu"));
}

TEST(Prober, saysWhyAFileCannotBeRead)
{
    const Sandbox sandbox;
    const auto file = sandbox.write("Text.mkv", "kein Film");
    const auto failure = [&](const path &ffprobe) -> std::string {
        try {
            Prober::probe(file, ffprobe, {});
        } catch (const ToolError &error) {
            return error.what();
        }
        return {};
    };
    EXPECT_THAT(failure("/usr/bin/ffprobe"), HasSubstr("Invalid data found"));
    EXPECT_EQ(failure(standIn(sandbox, "trimmed", "printf '\\n kaputt \\n\\n' >&2; exit 1")), "kaputt");
    EXPECT_EQ(failure(standIn(sandbox, "silent", "exit 1")), "Datei konnte nicht gelesen werden");
    EXPECT_EQ(failure(standIn(sandbox, "array", "echo '[]'")), "ffprobe lieferte keine lesbare Antwort");
    EXPECT_THROW(Prober::probe(file, standIn(sandbox, "rubbish", "echo '{\"streams\": ['"), {}),
                 json::exception);
    EXPECT_THROW(Prober::probe(sandbox / "gone.mkv", standIn(sandbox, "empty", "echo '{}'"), {}),
                 fs::filesystem_error);
}

} // namespace kestrel::test
