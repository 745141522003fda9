#include <Telvora/Platform/Qt/FrameClock.h>
#include <Telvora/Platform/Qt/QtNames.h>
#include <Telvora/Platform/Qt/QtToolkit.h>
#include <Telvora/Platform/Qt/Quick/QuickSignals.h>

#include <QtCore/QDynamicPropertyChangeEvent>
#include <QtCore/QHash>
#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>

#include <deque>
#include <utility>

namespace telvora::detail {

namespace {

/// What an item means for pages. Qt has no public classes for the types of QML, so they are known
/// by the names of theirs.
enum class Role {
    none,
    stackView,
    swipeView,
    stackLayout,
    overlay,
    /// A list makes and destroys many items; none is a page.
    list,
};

Role roleOf(const QMetaObject* type)
{
    for (; type; type = type->superClass()) {
        const std::string_view name = type->className();
        if (name == "QQuickStackView")
            return Role::stackView;
        if (name == "QQuickSwipeView")
            return Role::swipeView;
        if (name == "QQuickStackLayout")
            return Role::stackLayout;
        if (name == "QQuickOverlay")
            return Role::overlay;
        if (name == "QQuickItemView")
            return Role::list;
    }
    return Role::none;
}

// StackView, SwipeView, StackLayout, Popup and Dialog of Qt Quick.
class QuickToolkit final : public QtToolkit {
public:
    explicit QuickToolkit(Touch touch)
        : m_signals(std::move(touch))
    {
    }

    QObject* screenOf(QWindow& window) override { return qobject_cast<QQuickWindow*>(&window); }

    bool knows(const QObject& screen) const override
    {
        return qobject_cast<const QQuickItem*>(&screen)
            || qobject_cast<const QQuickWindow*>(&screen) || screen.inherits("QQuickPopup");
    }

    // The first container, from the outside to the inside, that can be seen.
    QtContent contentOf(QObject& screen) override
    {
        m_signals.watchNames(screen);
        QQuickItem* const start = itemOf(screen);
        std::deque<QQuickItem*> waiting;
        if (start)
            waiting.push_back(start);
        while (!waiting.empty()) {
            QQuickItem* item = waiting.front();
            waiting.pop_front();
            const Role role = knownRole(*item);
            const QtContent content = contentOf(*item, role);
            if (content.screen && !isOptedOutBelow(*start, item))
                return content;
            if (role == Role::list || role == Role::overlay || role == Role::stackLayout)
                continue;
            for (QQuickItem* child : item->childItems()) {
                if (child->isVisible())
                    waiting.push_back(child);
            }
        }
        return {};
    }

    QObject* presentedIn(QObject& screen) override
    {
        const auto* window = qobject_cast<QQuickWindow*>(&screen);
        if (!window)
            return nullptr;
        m_signals.watchChildren(*window->contentItem());
        QObject* top = nullptr;
        for (QQuickItem* item : window->contentItem()->childItems()) {
            if (knownRole(*item) != Role::overlay)
                continue;
            m_signals.watchChildren(*item);
            for (const QQuickItem* child : item->childItems()) {
                QObject* popup = child->parent();
                if (popup && popup->inherits("QQuickPopup") && isPage(*popup))
                    top = popup;
            }
        }
        return top;
    }

    std::string classNameOf(const QObject& screen) const override
    {
        const std::string_view name = screen.metaObject()->className();
        if (const std::size_t end = name.find("_QMLTYPE_"); end != std::string_view::npos)
            return std::string(name.substr(0, end));
        // The outermost object of a file has the file's name.
        const QQmlContext* context = QQmlEngine::contextForObject(&screen);
        if (context && context->contextObject() == &screen) {
            const std::string file = context->baseUrl().fileName().toStdString();
            if (const std::size_t dot = file.rfind('.'); dot != std::string::npos && dot > 0)
                return file.substr(0, dot);
        }
        if (!screen.objectName().isEmpty())
            return screen.objectName().toStdString();
        std::string plain = withoutNameSpaces(name.substr(0, name.find("_QML_")));
        constexpr std::string_view prefix = "QQuick";
        return plain.starts_with(prefix) && plain.size() > prefix.size()
            ? plain.substr(prefix.size())
            : plain;
    }

    void watch(QWindow& window, const std::shared_ptr<FrameClock>& frames) override
    {
        auto* quick = qobject_cast<QQuickWindow*>(&window);
        if (!quick)
            return;
        QObject::connect(quick, &QQuickWindow::afterAnimating, &m_signals, [frames, this] {
            if (m_looks > 0) {
                --m_looks;
                m_signals.touch();
            }
            frames->prepared();
        });
        // On the thread that renders, which calls nothing of the library's but the clock.
        QObject::connect(
            quick, &QQuickWindow::afterSynchronizing, quick, [frames] { frames->drawn(); },
            Qt::DirectConnection);
        QObject::connect(
            quick, &QQuickWindow::frameSwapped, quick, [frames] { frames->shown(); },
            Qt::DirectConnection);
    }

    // Items come without a word. What the user does, and what the first frames of a window make,
    // is looked at with the frames that follow.
    bool sees(QObject& receiver, QEvent& event) override
    {
        switch (event.type()) {
        case QEvent::MouseButtonRelease:
        case QEvent::KeyRelease:
        case QEvent::TouchEnd:
        case QEvent::Show:
            if (receiver.isWindowType())
                m_looks = framesLookedAt;
            return false;
        case QEvent::DynamicPropertyChange:
            return static_cast<QDynamicPropertyChangeEvent&>(event).propertyName().startsWith(
                "telvora");
        default:
            return false;
        }
    }

private:
    static constexpr int framesLookedAt = 3;

    static QQuickItem* itemOf(QObject& screen)
    {
        if (auto* item = qobject_cast<QQuickItem*>(&screen))
            return item;
        if (const auto* window = qobject_cast<QQuickWindow*>(&screen))
            return window->contentItem();
        return screen.property("contentItem").value<QQuickItem*>();
    }

    static bool isOptedOutBelow(const QQuickItem& start, const QQuickItem* item)
    {
        for (; item && item != &start; item = item->parentItem()) {
            if (isOptedOut(*item))
                return true;
        }
        return false;
    }

    // Menus and tool tips are no pages, and the list of a combo box is none.
    static bool isPage(const QObject& popup)
    {
        return popup.property("visible").toBool() && !popup.inherits("QQuickMenu")
            && !popup.inherits("QQuickToolTip")
            && !(popup.parent() && popup.parent()->inherits("QQuickComboBox"));
    }

    Role knownRole(const QQuickItem& item)
    {
        // Those that QML makes come and go, and another one may be at the same address.
        const QMetaObject* type = item.metaObject();
        while (std::string_view(type->className()).find("_QML") != std::string_view::npos)
            type = type->superClass();
        const auto known = m_roles.constFind(type);
        if (known != m_roles.constEnd())
            return *known;
        return *m_roles.insert(type, roleOf(type));
    }

    QtContent contentOf(QQuickItem& item, Role role)
    {
        switch (role) {
        case Role::stackView:
            m_signals.watch(item, "currentItem");
            return { UIViewController::Kind::navigation,
                item.property("currentItem").value<QQuickItem*>() };
        case Role::swipeView:
            m_signals.watch(item, "currentItem");
            return { UIViewController::Kind::tabBar,
                item.property("currentItem").value<QQuickItem*>() };
        case Role::stackLayout: {
            m_signals.watch(item, "currentIndex");
            const int index = item.property("currentIndex").toInt();
            const auto children = item.childItems();
            return { UIViewController::Kind::tabBar,
                index >= 0 && index < children.size() ? children[index] : nullptr };
        }
        case Role::none:
        case Role::overlay:
        case Role::list:
            break;
        }
        return {};
    }

    QuickSignals m_signals;
    // One for each C++ class of item.
    QHash<const QMetaObject*, Role> m_roles;
    // With how many further frames pages are looked for.
    int m_looks = framesLookedAt;
};

} // namespace

std::unique_ptr<QtToolkit> makeQuickToolkit(const QtToolkit::Touch& touch)
{
    return std::make_unique<QuickToolkit>(touch);
}

} // namespace telvora::detail
