#include "ui/look/Accessibility.h"

#include <QAccessible>
#include <QAccessibleWidget>

#include "ui/look/Bar.h"

namespace kestrel {

namespace {

class AccessibleBar : public QAccessibleWidget, public QAccessibleValueInterface {
public:
    explicit AccessibleBar(Bar &bar) : QAccessibleWidget(&bar, QAccessible::ProgressBar), m_bar(bar) {}

    void *interface_cast(QAccessible::InterfaceType type) override
    {
        if (type == QAccessible::ValueInterface)
            return static_cast<QAccessibleValueInterface *>(this);
        return QAccessibleWidget::interface_cast(type);
    }
    QVariant currentValue() const override { return m_bar.value().value_or(0); }
    void setCurrentValue(const QVariant &) override {}
    QVariant minimumValue() const override { return 0.0; }
    QVariant maximumValue() const override { return 1.0; }
    QVariant minimumStepSize() const override { return 0.01; }

private:
    const Bar &m_bar;
};

QAccessibleInterface *make(const QString &, QObject *object)
{
    if (auto *bar = qobject_cast<Bar *>(object))
        return new AccessibleBar(*bar);
    if (auto *announcer = qobject_cast<Announcer *>(object))
        return new QAccessibleWidget(announcer, QAccessible::Notification);
    return nullptr;
}

} // namespace

void announce(QWidget &near, const QString &text)
{
    if (!QAccessible::isActive() || text.isEmpty())
        return;
    auto *announcer = near.window()->findChild<Announcer *>({}, Qt::FindDirectChildrenOnly);
    if (announcer == nullptr)
        announcer = new Announcer(near.window());
    announcer->setAccessibleName(text);
    QAccessibleEvent event(announcer, QAccessible::ObjectShow);
    QAccessible::updateAccessibility(&event);
}

void installAccessibility()
{
    QAccessible::installFactory(make);
}

} // namespace kestrel
