#pragma once

#include <QLabel>
#include <QTest>
#include <QVariant>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// What a window shows and holds, found as a person would find it.
namespace kestrel::test {

// The child that a person would call so.
template <typename Widget>
Widget *named(const QWidget &window, const QString &name)
{
    for (auto *widget : window.findChildren<Widget *>())
        if (widget->accessibleName() == name ||
            widget->property("text").toString().remove(QLatin1Char('&')) == name)
            return widget;
    ADD_FAILURE() << "no " << name.toStdString();
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
    return testing::Value(texts(arg), testing::Contains(testing::HasSubstr(std::string(text))));
}

inline void click(QWidget &widget)
{
    QTest::mouseClick(&widget, Qt::LeftButton, {}, widget.rect().bottomRight() - QPoint(3, 3));
}

} // namespace kestrel::test
