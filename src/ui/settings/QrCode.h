#pragma once

#include <QWidget>
#include <vector>

namespace kestrel {

// A text as a QR code to photograph: always black on white, drawn in whole device pixels. Nothing where
// the text is empty or too long.
class QrCode : public QWidget {
    Q_OBJECT

public:
    explicit QrCode(QWidget *parent = nullptr);
    void setText(const QString &text);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString m_text;
    int m_count = 0;            // modules on a side
    std::vector<bool> m_isDark; // row by row
};

} // namespace kestrel
