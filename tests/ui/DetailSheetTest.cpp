#include "ui/detail/DetailSheet.h"

#include <QApplication>
#include <QClipboard>
#include <QKeyEvent>
#include <QPlainTextEdit>

#include "ui/Fixtures.h"
#include "ui/detail/DetailParts.h"
#include "ui/look/Theme.h"

namespace kestrel::test {

class DetailSheetTest : public UiTest {
protected:
    void show(const std::string &name)
    {
        if (!model)
            open({"A.avi", "B.avi", "C.avi"});
        library().setDetailItem(&item(name));
        sheet = std::make_unique<DetailSheet>(*model);
        sheet->show();
        settle();
    }
    const QWidget &shown() const
    {
        settle();
        return *sheet;
    }
    QPushButton *button(const QString &text) const { return test::button(*sheet, text); }

    std::unique_ptr<DetailSheet> sheet; // goes before the model
};

TEST_F(DetailSheetTest, followsItsFileAndBuildsOnlyWhatChanges)
{
    show("A.avi");
    const auto labels = sheet->findChildren<QLabel *>();
    auto *const box = sheet->findChild<TextBox *>();
    EXPECT_THAT(shown(), says("bereit zum Konvertieren"));
    for (const double fraction : {0.1, 0.43})
        set("A.avi", Status::Running{fraction});
    EXPECT_THAT(shown(), says("wird konvertiert 43 %"));
    EXPECT_EQ(sheet->findChildren<QLabel *>(), labels);
    EXPECT_EQ(sheet->findChild<TextBox *>(), box);
    set("B.avi", Status::Running{0.77});
    EXPECT_THAT(shown(), Not(says("77 %")));

    giveSample("A.avi");
    EXPECT_THAT(shown(), says("wird neu kodiert: HEVC, CRF 30"));
    changeSettings([](auto &settings) { settings.codec = VideoCodecChoice::keepVideo; });
    EXPECT_THAT(shown(), says("Video bleibt unverändert"));
}

TEST_F(DetailSheetTest, tellsOfTheRunThatLastsNotOfTheNext)
{
    ffmpeg("sleep 30");
    show("A.avi");
    for (const char *name : {"A.avi", "B.avi", "C.avi"})
        giveSample(name);
    model->startConversion();
    EXPECT_TRUE(reaches<Status::Running>("A.avi"));
    changeSettings([](auto &settings) { settings.codec = VideoCodecChoice::av1SVT; });
    EXPECT_THAT(shown(), says("wird neu kodiert: HEVC, CRF 30"));
    EXPECT_THAT(sheet->findChildren<TextBox *>().back()->toPlainText().toStdString(), HasSubstr("libx265"));
    stop();
    EXPECT_THAT(shown(), says("wird neu kodiert: AV1"));
}

TEST_F(DetailSheetTest, closesWithItsLibraryAndGivesUpItsFile)
{
    show("A.avi");
    int closed = 0;
    QObject::connect(sheet.get(), &QDialog::finished, [&] { ++closed; });
    rescan();
    EXPECT_FALSE(shown().isVisible());
    EXPECT_EQ(closed, 1);

    show("B.avi");
    EXPECT_THAT(shown(), says("B.avi"));
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QApplication::sendEvent(sheet->findChild<TextBox *>(), &escape); // from wherever the focus is
    EXPECT_EQ(library().detailItem(), nullptr);
    EXPECT_FALSE(sheet->isVisible());
}

TEST_F(DetailSheetTest, goesThroughTheFilesAsTheTableShowsThem)
{
    show("A.avi");
    EXPECT_FALSE(button("Vorherige")->isEnabled());
    button("Nächste")->click();
    EXPECT_THAT(shown(), says("B.avi"));
    button("Nächste")->click();
    EXPECT_EQ(library().detailItem(), &item("C.avi"));
    EXPECT_FALSE(button("Nächste")->isEnabled());
    library().setSortOrder({{RowComparator::Column::name, false}});
    EXPECT_FALSE(button("Vorherige")->isEnabled());
    button("Nächste")->click();
    EXPECT_EQ(library().detailItem(), &item("B.avi"));
}

TEST_F(DetailSheetTest, copiesTheWholeText)
{
    show("A.avi");
    button("Kopieren")->click();
    const auto command = DetailText::command(item("A.avi"), model->settings(), model->tools());
    EXPECT_EQ(QApplication::clipboard()->text(), *command);

    std::string text = "Fehler <b>1</b>";
    for (int line = 0; line < 200; ++line)
        text += "\nZeile " + std::to_string(line);
    set("A.avi", Status::Failed{text});
    settle();
    ASSERT_NE(button("Kopieren"), nullptr);
    button("Kopieren")->click();
    EXPECT_EQ(QApplication::clipboard()->text().toStdString(), text);
}

TEST_F(DetailSheetTest, asksForWhatOthersDo)
{
    show("B.avi");
    fs::path revealed;
    int measured = 0;
    QObject::connect(sheet.get(), &DetailSheet::revealRequested,
                     [&](const fs::path &file) { revealed = file; });
    QObject::connect(sheet.get(), &DetailSheet::measureRequested, [&] { ++measured; });
    button("Im Dateimanager zeigen")->click();
    EXPECT_EQ(revealed, folder / "B.avi");
    button("Genau schätzen")->click();
    EXPECT_EQ(measured, 1);

    ffmpeg("exec sleep 30");
    button("Probeclip")->click();
    EXPECT_EQ(library().selectedItem(), &item("B.avi"));
    EXPECT_EQ(model->activity().kind, Activity::Kind::probeClip);
    settle();
    EXPECT_FALSE(button("Probeclip")->isEnabled());
    EXPECT_EQ(button("Genau schätzen"), nullptr);
}

TEST_F(DetailSheetTest, isNoWiderForHostileNames)
{
    const std::string name = std::string(236, 'x') + "\xff\n<img src=x>.avi";
    film(name);
    ffprobe("case \"$last\" in *kaputt*) echo 'kaputt: End of file' >&2; exit 1;; esac\n");
    film("kaputt.mkv");
    show("A.avi");
    const int width = sheet->minimumSizeHint().width();

    library().setDetailItem(&item(name));
    MediaInfo info = *item(name).info;
    info.audio.assign(40, aFilm().audio("aac", "<b>").titled(std::string(5000, 'w')).info().audio[0]);
    library().setInfo(item(name), info);
    model->recompute();
    EXPECT_THAT(shown(), says("\uFFFD <img src=x>.avi"));
    EXPECT_EQ(sheet->minimumSizeHint().width(), width);
    EXPECT_LE(sheet->height(), Theme::em(46));

    library().setDetailItem(&item("kaputt.mkv"));
    EXPECT_THAT(shown(), says("nicht lesbar: bricht gleich am Anfang ab"));
    EXPECT_THAT(shown(), Not(says("Spuren")));
    EXPECT_FALSE(button("Probeclip")->isEnabled());
}

} // namespace kestrel::test
