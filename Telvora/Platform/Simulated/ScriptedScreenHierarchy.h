#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/ScreenHierarchy.h>
#include <Telvora/Platform/Simulated/Observer.h>

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace telvora {

/// The application's screens and its window, as the test builds them. A screen has an id, which
/// only the test sees, and lives from make() to release(): links to it, the window's root
/// included, do not keep it alive, and may form rings.
///
/// A link is to the id of a screen, or to none. Naming a screen that is not there changes nothing
/// and answers false.
///
/// Questions it reports: "keyWindow".
///
/// Threads: any.
///
/// Deliberate: every screen adopts TrackerDataLifeCycleControllerDelegate, because a test may
/// switch delegation on and off while the screen lives. One that does not delegate names itself,
/// which is what a screen that stands for itself answers.
class TELVORA_EXPORT ScriptedScreenHierarchy final : public ScreenHierarchy {
public:
    using ID = std::string;

    ScriptedScreenHierarchy();
    /// Releases every screen.
    ~ScriptedScreenHierarchy() override;

    /// Null at the start.
    std::shared_ptr<UIWindow> keyWindow() const override;

    /// Makes a plain screen without links, its class named as its id. False when there is one.
    bool make(const ID& id);
    bool contains(const ID& id) const;
    /// The screen itself, or null. Whoever keeps the pointer keeps the screen.
    std::shared_ptr<UIViewController> screen(const ID& id) const;

    /// Also names the scene, until setSceneName() does.
    bool setClassName(const ID& id, std::string className);
    bool setSceneName(const ID& id, std::string sceneName);
    bool setKind(const ID& id, UIViewController::Kind kind);
    bool setVisible(const ID& id, const std::optional<ID>& other);
    bool setSelected(const ID& id, const std::optional<ID>& other);
    bool setPresents(const ID& id, const std::optional<ID>& other);

    /// Whether the screen names another one to stand for it: that of setDelegatesTo(), itself
    /// perhaps, or without one a screen that is gone.
    bool setDelegates(const ID& id, bool delegates);
    bool setDelegatesTo(const ID& id, const std::optional<ID>& other);
    bool setDelegateParams(const ID& id, StringDictionary params);

    /// From now on there is a key window, with that root or without content.
    bool setWindowRoot(const std::optional<ID>& root);
    /// From now on there is no key window.
    void removeWindow();

    /// The screen goes away: every link to it is null, and weak references to it turn empty once
    /// nobody is using it.
    bool release(const ID& id);

    void setQuestionObserver(QuestionObserver::Function observer);

private:
    class Screen;
    class Window;
    using Screens = std::map<ID, std::shared_ptr<Screen>>;

    std::shared_ptr<Screen> find(const ID& id) const;
    std::optional<std::weak_ptr<Screen>> link(const std::optional<ID>& other) const;
    template<typename Change> bool change(const ID& id, const Change& change);

    QuestionObserver m_questionObserver;
    const std::shared_ptr<Window> m_window;
    std::atomic<bool> m_hasWindow { false };
    detail::Guarded<Screens> m_screens;
};

} // namespace telvora
