#pragma once

#include <QWidget>
#include <vector>

namespace kestrel {

// Draws a text as a QR code to photograph: always black on white, in whole device pixels. Draws nothing where
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
