#pragma once

#include <QDialog>
#include <filesystem>

#include "model/AppModel.h"

class QGridLayout;

namespace kestrel {

class CheckRow;
class CopyButton;
class Label;
class Note;
class QrCode;
class Section;

// Shows the switches that concern this computer: its sleep, whether quality is measured, the status page,
// ffmpeg, the log, and interrupted swaps.
class SettingsWindow : public QDialog {
    Q_OBJECT

public:
    // REQUIRES: the model outlives the window.
    explicit SettingsWindow(AppModel &model, QWidget *parent = nullptr);

    QSize sizeHint() const override; // fits all of its contents

signals:
    void revealRequested(const std::filesystem::path &file);

private:
    Section *sleepSection();
    Section *qualitySection();
    Section *pageSection();
    QWidget *servedPage();
    Section *toolSection();
    Section *swapSection();
    void addPlace(QGridLayout &rows);
    void showPage();
    void showTools();
    void showMeasuring();
    void showSwaps();
    void grow();

    AppModel &m_model;
    QWidget *m_sections;
    CheckRow *m_measures;
    Label *m_measuring;
    Note *m_measuringNote;

    Note *m_pageError;
    QWidget *m_served;
    QrCode *m_code;
    Label *m_address;
    CopyButton *m_copy;
    Label *m_otherAddresses;

    Label *m_program, *m_version;
    Note *m_toolError;
    QWidget *m_capabilities;

    Section *m_swaps;
    QWidget *m_swapList;
};

} // namespace kestrel
