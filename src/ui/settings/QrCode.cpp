#include "ui/settings/QrCode.h"

#include <QPainter>
#include <algorithm>
#include <memory>

#include "ui/look/Theme.h"

#include <qrencode.h>

namespace kestrel {

namespace {

constexpr int quietZone = 4; // modules; the standard requires them

} // namespace

QrCode::QrCode(QWidget *parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void QrCode::setText(const QString &text)
{
    if (text == m_text)
        return;
    m_text = text;
    setAccessibleName(text);
    const std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeString8bit(text.toUtf8().constData(), 0, QR_ECLEVEL_M), &QRcode_free);
    m_count = code ? code->width : 0;
    m_isDark.clear();
    for (int i = 0; i < m_count * m_count; ++i)
        m_isDark.push_back((code->data[i] & 1) != 0);
    const int module = std::max(3, Theme::em(0.27));
    const int side = m_count == 0 ? 0 : (m_count + 2 * quietZone) * module;
    setFixedSize(side, side);
    update();
}

void QrCode::paintEvent(QPaintEvent *)
{
    if (m_count == 0)
        return;
    QPainter painter(this);
    painter.fillRect(rect(), Qt::white);
    // Each module has whole device pixels, so that all are equal and sharp also at a scale of 1.5.
    const double scale = painter.deviceTransform().m11();
    const int side = static_cast<int>(width() * scale);
    const int module = side / (m_count + 2 * quietZone);
    const int margin = (side - m_count * module) / 2;
    painter.scale(1 / scale, 1 / scale);
    for (int y = 0; y < m_count; ++y)
        for (int x = 0; x < m_count; ++x) {
            const int at = y * m_count + x;
            if (m_isDark[static_cast<std::size_t>(at)])
                painter.fillRect(margin + x * module, margin + y * module, module, module, Qt::black);
        }
}

} // namespace kestrel
