#pragma once

#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

#include "model/ModelFixture.h"
#include "support/Builders.h"
#include "ui/settings/CodecCard.h"
#include "ui/settings/Controls.h"
#include "ui/settings/SettingsPanel.h"
#include "ui/table/LibraryView.h"
#include "ui/window/MainWindow.h"

// What a window shows and holds, found as a person would find it, and the windows of the tests.
namespace kestrel::test {

using testing::AllOf;
using testing::Contains;
using testing::Not;

inline bool isCalled(const QWidget &widget, const QString &name)
{
    return widget.accessibleName() == name ||
           widget.property("text").toString().remove(QLatin1Char('&')) == name;
}

// The child that a person would call so.
template <typename Widget>
Widget *named(const QWidget &window, const QString &name)
{
    for (auto *widget : window.findChildren<Widget *>())
        if (isCalled(*widget, name))
            return widget;
    ADD_FAILURE() << "no " << name.toStdString();
    return nullptr;
}

// The button with this text that shows; null where there is none.
inline QPushButton *button(const QWidget &window, const QString &text)
{
    for (auto *button : window.findChildren<QPushButton *>())
        if (isCalled(*button, text) && button->isVisibleTo(&window))
            return button;
    return nullptr;
}

// All labels that show, in no order.
inline std::vector<std::string> texts(const QWidget &window)
{
    std::vector<std::string> list;
    for (const auto *label : window.findChildren<QLabel *>())
        if (label->isVisibleTo(&window))
            list.push_back(label->text().remove(QChar(0x2060)).toStdString()); // the word joiner
    return list;
}

MATCHER_P(says, text, "")
{
    return testing::Value(texts(arg), Contains(HasSubstr(std::string(text))));
}

inline void click(QWidget &widget)
{
    QTest::mouseClick(&widget, Qt::LeftButton, {}, widget.rect().bottomRight() - QPoint(3, 3));
}

class UiTest : public ModelTest {
protected:
    Library &library() const { return model->library(); }
    template <typename Edit>
    void change(const std::string &name, Edit edit) const
    {
        library().change(item(name), edit);
    }
    void set(const std::string &name, const JobStatus &status) const
    {
        change(name, [&](FileItem &file) { file.status = status; });
    }
    void open(const std::vector<std::string> &names, int jobs = 2)
    {
        for (const auto &name : names)
            film(name);
        ready(jobs);
        scan();
    }
    void scan()
    {
        model->open(folder.path());
        EXPECT_TRUE(idle());
    }
    AppModel &ready(int jobs = 2)
    {
        ConversionSettings settings;
        settings.parallelJobs = jobs;
        return start({.settings = settings});
    }
};

class TableTest : public UiTest {
protected:
    using Column = Columns::Id;

    // The table on these files.
    LibraryView &show(const std::vector<std::string> &names, int width = 900, int height = 400)
    {
        open(names);
        table = std::make_unique<LibraryView>(*model);
        table->resize(width, height);
        table->show();
        settle();
        return *table;
    }
    QModelIndex at(const fs::path &name, Column column = Column::name) const
    {
        return table->rows().indexOf(folder / name).siblingAtColumn(column);
    }
    void clickMark(const char *name) const
    {
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {},
                          table->visualRect(at(name, Column::include)).center());
    }
    QVariant mark(const char *name) const { return at(name, Column::include).data(Qt::CheckStateRole); }
    std::string current() const { return table->rows().node(table->currentIndex()).name; }
    std::string currentAfter(Qt::Key key) const
    {
        QTest::keyClick(table.get(), key);
        return current();
    }
    auto expandedAfter(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) const
    {
        QTest::keyClick(table.get(), key, modifiers);
        return library().expandedFolders();
    }

    std::unique_ptr<LibraryView> table; // goes before the model
};

class SettingsTest : public UiTest {
protected:
    SettingsPanel &show(AppModel::Options options = {})
    {
        if (!model)
            start(std::move(options));
        panel = std::make_unique<SettingsPanel>(*model);
        panel->resize(320, 900);
        panel->show();
        settle();
        return *panel;
    }
    // A library whose files have this sound.
    void openFilms(const std::vector<MediaInfo> &films)
    {
        for (std::size_t i = 0; i < films.size(); ++i)
            film(std::to_string(i) + ".mkv");
        startAndScan();
        give(films);
    }
    void give(const std::vector<MediaInfo> &films)
    {
        for (std::size_t i = 0; i < films.size(); ++i)
            library().setInfo(item(std::to_string(i) + ".mkv"), films[i]);
        model->recompute();
        settle();
    }
    // "Deutsch: 2 Dateien", checked ones with a star, from top to bottom.
    std::vector<std::string> languages() const
    {
        std::map<int, std::string> rows;
        for (const auto *row : panel->findChildren<CheckRow *>())
            if (row->parentWidget()->inherits("kestrel::LanguageList"))
                rows[row->y()] = ((row->isChecked() ? "*" : "") + row->text() +
                                  (row->detail().isEmpty() ? "" : ": ") + row->detail())
                                     .toStdString();
        std::vector<std::string> list;
        for (const auto &[y, text] : rows)
            list.push_back(text);
        return list;
    }
    CodecCard &card(const QString &name) const { return *named<CodecCard>(*panel, name); }
    Picker &picker(const QString &name) const { return *named<Picker>(*panel, name); }
    CheckRow &row(const QString &name) const { return *named<CheckRow>(*panel, name); }

    std::unique_ptr<SettingsPanel> panel;
};

class WindowTest : public UiTest {
protected:
    void openWindow()
    {
        window = std::make_unique<MainWindow>(*model, home() / "window.conf");
        window->show();
    }
    // As when the program starts once more.
    void openFreshWindow()
    {
        window.reset();
        ready();
        openWindow();
    }
    // On these files, one job at a time.
    void openWindow(const std::vector<std::string> &names)
    {
        open(names, 1);
        openWindow();
    }
    void activate() const
    {
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    }
    QMessageBox *question() const { return window->findChild<QMessageBox *>(); }

    std::unique_ptr<MainWindow> window;
};

} // namespace kestrel::test
