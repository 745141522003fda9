#include <Telvora/Platform/Qt/FrameClock.h>
#include <Telvora/Platform/Qt/QtNames.h>
#include <Telvora/Platform/Qt/QtToolkit.h>

#include <QtCore/QDynamicPropertyChangeEvent>
#include <QtCore/QHash>
#include <QtGui/QWindow>
#include <QtWidgets/QApplication>
#include <QtWidgets/QStackedWidget>
#include <QtWidgets/QTabWidget>
#include <QtWidgets/QWidget>

#include <deque>
#include <utility>

namespace telvora::detail {

namespace {

/// QStackedWidget and QTabWidget, windows and dialogs of Qt Widgets.
class WidgetToolkit final : public QtToolkit {
public:
    QObject* screenOf(QWindow& window) override
    {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (widget->windowHandle() == &window)
                return widget;
        }
        return nullptr;
    }

    bool knows(const QObject& screen) const override { return screen.isWidgetType(); }

    // The first container, from the outside to the inside, that can be seen. Windows of their own,
    // such as dialogs, are children too.
    QtContent contentOf(QObject& screen) override
    {
        // The screen may be a container itself.
        if (const QtContent own = contentOf(static_cast<QWidget&>(screen)); own.screen)
            return own;
        std::deque<QWidget*> waiting { static_cast<QWidget*>(&screen) };
        while (!waiting.empty()) {
            QWidget* widget = waiting.front();
            waiting.pop_front();
            for (QObject* child : widget->children()) {
                if (!child->isWidgetType())
                    continue;
                auto* inner = static_cast<QWidget*>(child);
                if (inner->isWindow() || !inner->isVisible())
                    continue;
                const QtContent content = contentOf(*inner);
                if (content.kind == UIViewController::Kind::plain)
                    waiting.push_back(inner);
                else if (content.screen && !isOptedOutBelow(screen, inner))
                    return content;
            }
        }
        return {};
    }

    // "trading::MarketsPage" is "MarketsPage". Qt's own class says nothing, so there the object's
    // name is taken if it has one.
    std::string classNameOf(const QObject& screen) const override
    {
        std::string name = withoutNameSpaces(screen.metaObject()->className());
        const bool isQts = name.size() > 1 && name[0] == 'Q' && name[1] >= 'A' && name[1] <= 'Z';
        if (isQts && !screen.objectName().isEmpty())
            return screen.objectName().toStdString();
        return name;
    }

    void watch(QWindow& window, const std::shared_ptr<FrameClock>& frames) override
    {
        if (!screenOf(window))
            return;
        m_frames.insert(&window, frames);
        QObject::connect(&window, &QObject::destroyed, &m_context,
            [this, gone = &window] { m_frames.remove(gone); });
    }

    // A widget is painted in one go; what is painted is on the screen when something else comes.
    bool sees(QObject& receiver, QEvent& event) override
    {
        const QEvent::Type type = event.type();
        if (type == QEvent::Paint) {
            if (receiver.isWidgetType())
                paints(static_cast<QWidget&>(receiver));
            return false;
        }
        if (m_painted)
            waits();
        switch (type) {
        case QEvent::Show:
        case QEvent::Hide:
            return receiver.isWidgetType();
        case QEvent::DynamicPropertyChange:
            return receiver.isWidgetType()
                && static_cast<QDynamicPropertyChangeEvent&>(event).propertyName().startsWith(
                    "telvora");
        default:
            return false;
        }
    }

    void waits() override
    {
        if (const auto painted = std::exchange(m_painted, nullptr)) {
            painted->drawn();
            painted->shown();
        }
    }

private:
    // Of a container itself.
    static QtContent contentOf(QWidget& widget)
    {
        if (const auto* tabs = qobject_cast<QTabWidget*>(&widget))
            return { UIViewController::Kind::tabBar, tabs->currentWidget() };
        if (const auto* stack = qobject_cast<QStackedWidget*>(&widget))
            return { UIViewController::Kind::navigation, stack->currentWidget() };
        return {};
    }

    static bool isOptedOutBelow(const QObject& start, const QObject* object)
    {
        for (; object && object != &start; object = object->parent()) {
            if (isOptedOut(*object))
                return true;
        }
        return false;
    }

    void paints(const QWidget& widget)
    {
        if (m_painted)
            return;
        m_painted = m_frames.value(widget.window()->windowHandle());
        if (m_painted)
            m_painted->prepared();
    }

    QHash<QWindow*, std::shared_ptr<FrameClock>> m_frames;
    // The frame that is being painted.
    std::shared_ptr<FrameClock> m_painted;
    QObject m_context;
};

} // namespace

std::unique_ptr<QtToolkit> makeWidgetToolkit([[maybe_unused]] const QtToolkit::Touch& touch)
{
    return std::make_unique<WidgetToolkit>();
}

} // namespace telvora::detail
