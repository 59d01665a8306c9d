#pragma once

#include <QRadioButton>

#include "planning/ConversionSettings.h"
#include "ui/look/Parts.h"

namespace kestrel {

class Note;

// Offers one of the video codecs, as a radio button that is a card.
class CodecCard : public QRadioButton {
    Q_OBJECT

public:
    explicit CodecCard(VideoCodecChoice codec, QWidget *parent = nullptr);
    VideoCodecChoice codec() const { return m_codec; }
    // Says whether the installed ffmpeg has the encoder; otherwise the card explains why it cannot be chosen.
    void setSupported(bool isSupported);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    bool hitButton(const QPoint &position) const override;

private:
    void showMark();

    const VideoCodecChoice m_codec;
    IconLabel *m_mark;
    Label *m_title;
    Note *m_reason;
};

} // namespace kestrel
