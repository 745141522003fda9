#pragma once

#include <Telvora/Platform/Host/HostLifeCycleChecker.h>
#include <Telvora/Platform/Host/HostScreenHierarchy.h>
#include <Telvora/Platform/Qt/QtScreen.h>
#include <Telvora/Platform/Qt/QtToolkit.h>

#include <QtCore/QHash>
#include <QtCore/QObject>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QWindow;

namespace telvora::detail {

/// Finds the page on top: follows the windows that the user sees, asks the toolkits for what is in
/// them, writes that down as screens, lets the library walk over these, and plays the lifecycle of
/// the page that came and of the one that left.
///
/// Life: as long as the application. Threads: the GUI thread.
/// Failure: look() throws std::bad_alloc; the look that touch() asks for does not.
class PageWatch final : public QObject {
public:
    /// Called with the name of a page that came to the top.
    using Appeared = std::function<void(const std::string& name)>;

    PageWatch(HostLifeCycleChecker& checker, HostScreenHierarchy& screens, Appeared appeared);
    ~PageWatch() override;

    void addToolkit(std::unique_ptr<QtToolkit> toolkit);

    /// The window came up, or got the input: it is in front of the others.
    void raise(QWindow& window);
    /// Looks once the events at hand are done.
    void touch();
    /// Looks now.
    void look();

    /// Whether a window can be seen that may have a page.
    bool hasVisibleWindow() const;

private:
    // A page or a container, for as long as its object lives.
    struct Screen {
        std::shared_ptr<QtScreen> values;
        // Made when it first comes to the top; null where the library did not ask for one.
        std::unique_ptr<LifeCycleTrace> adaptor {};
    };
    using ScreenPointer = std::shared_ptr<Screen>;

    // What a look has found: nothing to change, no page, or the root of the screens.
    struct Found {
        bool isOptedOut = false;
        std::shared_ptr<QtScreen> root {};
    };
    Found findScreens();
    // Absent where the user's input is in a part that is no page.
    std::optional<std::shared_ptr<QtScreen>> screensIn(QObject& top);
    const ScreenPointer& screenFor(QObject& object);
    QtToolkit* toolkitOf(const QObject& object) const;

    void appear(const ScreenPointer& screen);
    void leave();

    HostLifeCycleChecker& m_checker;
    HostScreenHierarchy& m_hierarchy;
    const Appeared m_appeared;
    std::vector<std::unique_ptr<QtToolkit>> m_toolkits;
    // Those that came up, the one in front last.
    std::vector<QWindow*> m_windows;
    QHash<const QObject*, ScreenPointer> m_screens;
    // What the library's walk sees.
    std::shared_ptr<UIWindow> m_window;
    // The page that the library was told of last; null for none.
    ScreenPointer m_top;
    // The object of it; only compared.
    const QObject* m_topObject = nullptr;
    bool m_isTouched = false;
};

} // namespace telvora::detail
