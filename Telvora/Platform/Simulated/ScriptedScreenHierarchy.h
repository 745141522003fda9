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
/// included, do not keep it alive, and may form cycles.
///
/// A link holds the id of a screen, or none. A call with the id of no screen changes nothing and
/// returns false.
///
/// Questions it reports: "keyWindow".
///
/// Threads: any.
///
/// Deliberate: every screen adopts TrackerDataLifeCycleControllerDelegate, because a test may
/// switch delegation on and off while the screen lives. A screen that does not delegate names
/// itself.
class TELVORA_EXPORT ScriptedScreenHierarchy final : public ScreenHierarchy {
public:
    /// Names a screen in a test.
    using ID = std::string;

    ScriptedScreenHierarchy();
    /// Releases every screen.
    ~ScriptedScreenHierarchy() override;

    /// Null at the start.
    std::shared_ptr<UIWindow> keyWindow() const override;

    /// Makes a plain screen without links; its class name is its id. False when the id exists.
    bool make(const ID& id);
    /// Whether a screen of that id was made and not released.
    bool contains(const ID& id) const;
    /// The screen, or null. The pointer keeps the screen alive.
    std::shared_ptr<UIViewController> screen(const ID& id) const;

    // What the screen's functions return; UIViewController describes them.

    /// Also sets the scene name, unless setSceneName() has set it.
    bool setClassName(const ID& id, std::string className);
    /// The class name until set.
    bool setSceneName(const ID& id, std::string sceneName);
    /// Plain until set.
    bool setKind(const ID& id, UIViewController::Kind kind);
    /// The link to the visible screen of a navigation controller.
    bool setVisible(const ID& id, const std::optional<ID>& other);
    /// The link to the selected screen of a tab-bar controller.
    bool setSelected(const ID& id, const std::optional<ID>& other);
    /// The link to the screen that it presents.
    bool setPresents(const ID& id, const std::optional<ID>& other);

    /// Whether the screen delegates to the screen of setDelegatesTo(), which may be itself. Without
    /// one it delegates to a destroyed screen.
    bool setDelegates(const ID& id, bool delegates);
    /// The link to the screen that it delegates to. Has no effect while it does not delegate.
    bool setDelegatesTo(const ID& id, const std::optional<ID>& other);
    /// The parameters that it supplies while it delegates; empty until set.
    bool setDelegateParams(const ID& id, StringDictionary params);

    /// From now on there is a key window, with that root or without content.
    bool setWindowRoot(const std::optional<ID>& root);
    /// From now on there is no key window.
    void removeWindow();

    /// Releases the screen: every link to it becomes null, and weak references to it expire once no
    /// caller uses it.
    bool release(const ID& id);

    /// Called for each question, before its answer is read.
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
