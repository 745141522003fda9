#pragma once

#include <Telvora/Platform/ScreenHierarchy.h>

#include <memory>
#include <string>
#include <utility>

namespace telvora::detail {

/// A page, or what contains pages, as text and links. It owns nothing of Qt and calls nothing of
/// it, so that a report on any thread may be its last owner.
///
/// Threads: className() and sceneName() on any; the rest on the GUI thread.
class QtScreen : public UIViewController {
public:
    QtScreen(std::string className, std::string sceneName)
        : m_className(std::move(className))
        , m_sceneName(std::move(sceneName))
    {
    }

    std::string className() const override { return m_className; }
    std::string sceneName() const override { return m_sceneName; }
    Kind kind() const override { return m_kind; }
    std::shared_ptr<UIViewController> presentedViewController() const override
    {
        return m_presented.lock();
    }
    std::shared_ptr<UIViewController> visibleViewController() const override
    {
        return m_content.lock();
    }
    std::shared_ptr<UIViewController> selectedViewController() const override
    {
        return m_content.lock();
    }

    void setContent(Kind kind, std::weak_ptr<QtScreen> content)
    {
        m_kind = kind;
        m_content = std::move(content);
    }
    void setPresented(std::weak_ptr<QtScreen> presented) { m_presented = std::move(presented); }

private:
    const std::string m_className;
    const std::string m_sceneName;
    Kind m_kind = Kind::plain;
    std::weak_ptr<QtScreen> m_content;
    std::weak_ptr<QtScreen> m_presented;
};

/// A screen that another one is reported for.
class QtDelegatingScreen final : public QtScreen, public TrackerDataLifeCycleControllerDelegate {
public:
    using QtScreen::QtScreen;

    ViewControllerInfo trackerViewControllerInfo() const override { return { m_delegate }; }
    void setDelegate(std::weak_ptr<QtScreen> delegate) { m_delegate = std::move(delegate); }

private:
    std::weak_ptr<QtScreen> m_delegate;
};

/// The window that has the user's input.
class QtScreenWindow final : public UIWindow {
public:
    explicit QtScreenWindow(std::shared_ptr<UIViewController> root)
        : m_root(std::move(root))
    {
    }

    std::shared_ptr<UIViewController> rootViewController() const override { return m_root; }

private:
    const std::shared_ptr<UIViewController> m_root;
};

} // namespace telvora::detail
