#pragma once

#include <Telvora/Platform/Host/HostLifeCycleChecker.h>
#include <Telvora/Platform/ScreenHierarchy.h>

#include <memory>
#include <string>

/// A page of the application, or the navigation that shows one at a time.
class Screen final : public telvora::UIViewController {
public:
    Screen(std::string className, Kind kind)
        : m_className(std::move(className))
        , m_kind(kind)
    {
    }

    std::string className() const override { return m_className; }
    std::string sceneName() const override { return "TradingSession." + m_className; }
    Kind kind() const override { return m_kind; }
    std::shared_ptr<telvora::UIViewController> visibleViewController() const override
    {
        return visible;
    }

    std::shared_ptr<telvora::UIViewController> visible;

private:
    std::string m_className;
    Kind m_kind;
};

class Window final : public telvora::UIWindow {
public:
    std::shared_ptr<telvora::UIViewController> rootViewController() const override { return root; }

    std::shared_ptr<Screen> root;
};

/// Shows one page after another and informs the library, as the integration of a toolkit would.
/// Only the main thread uses it.
class Navigator {
public:
    explicit Navigator(telvora::HostLifeCycleChecker& checker)
        : m_checker(checker)
    {
        m_window->root = std::make_shared<Screen>(
            "MainNavigation", telvora::UIViewController::Kind::navigation);
    }

    std::shared_ptr<telvora::UIWindow> keyWindow() const { return m_window; }

    void show(const std::string& className)
    {
        if (const auto leaving = m_window->root->visible)
            notify(leaving, telvora::LifeCycleTraceOccasion::viewDidDisappear);
        const auto page
            = std::make_shared<Screen>(className, telvora::UIViewController::Kind::plain);
        m_window->root->visible = page;
        notify(page, telvora::LifeCycleTraceOccasion::viewDidAppear);
    }

private:
    void notify(const std::shared_ptr<telvora::UIViewController>& page,
        telvora::LifeCycleTraceOccasion occasion)
    {
        const auto adaptor = m_checker.create(page->sceneName());
        if (!adaptor)
            return;
        adaptor->setScene(page);
        adaptor->activeActionHandler(occasion, telvora::LifeCycleTraceState::after);
    }

    telvora::HostLifeCycleChecker& m_checker;
    std::shared_ptr<Window> m_window = std::make_shared<Window>();
};
