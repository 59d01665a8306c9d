#pragma once

#include <QDialog>
#include <filesystem>
#include <functional>
#include <optional>

#include "planning/SampleResult.h"
#include "ui/detail/DetailText.h"
#include "ui/detail/SearchText.h"
#include "ui/detail/TrackText.h"

class QPushButton;
class QVBoxLayout;

namespace kestrel {

class AppModel;
class Bar;
class CopyableText;
class FlowLabel;
class IconLabel;
class Section;
class VerticalScroll;

// Shows everything that is known of the file whose details are open, and what happens to it. It follows the
// model, and closes when the library holds other files; closing it sets the model's detail item to none. It
// stays hidden until it is shown explicitly. REQUIRES: the model outlives it.
class DetailSheet : public QDialog {
    Q_OBJECT

public:
    explicit DetailSheet(AppModel &model, QWidget *parent = nullptr);

signals:
    void revealRequested(const std::filesystem::path &file);
    void measureRequested(); // for the file that is shown

private:
    // Remembers the record that a part of the sheet shows, so that it is built again only where this has
    // changed.
    template <typename Record>
    struct Place {
        QVBoxLayout *layout = nullptr;
        std::optional<Record> shown;
    };
    struct SearchRecord {
        std::optional<SearchText::Search> search;
        SampleResult sample;
        QString why; // why there is no search
        bool canMeasure = false;
        bool operator==(const SearchRecord &) const = default;
    };
    template <typename Record, typename Build>
    static void put(Place<Record> &place, const Record &record, Build build);

    QWidget *makeHead();
    QWidget *makeContents();
    QLayout *makeButtons();
    void follow();
    void refresh();
    void closeIfOpen();
    void updateHead(const FileItem &item);
    void updateSections(const FileItem &item, const ConversionSettings &settings);
    void updateSearch(const FileItem &item, const ConversionSettings &settings);
    void updateButtons();
    void updateNeighbours();
    void step(int by);
    void makeProbeClip();

    AppModel &m_model;

    VerticalScroll *m_scroll;
    FlowLabel *m_name, *m_folder, *m_state;
    IconLabel *m_stateIcon;
    Bar *m_bar;
    Place<std::vector<DetailText::Fact>> m_facts;
    Section *m_errorSection, *m_trackSection, *m_estimateSection, *m_searchSection, *m_commandSection;
    CopyableText *m_error, *m_command;
    FlowLabel *m_commandNote;
    Place<TrackText::Tracks> m_tracks;
    Place<DetailText::Estimate> m_estimate;
    Place<SearchRecord> m_search;
    QPushButton *m_reveal, *m_clip, *m_previous, *m_next;
};

} // namespace kestrel
