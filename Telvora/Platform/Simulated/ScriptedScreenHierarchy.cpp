#include <Telvora/Platform/Simulated/ScriptedScreenHierarchy.h>

#include <utility>

namespace telvora {

class ScriptedScreenHierarchy::Screen final : public UIViewController,
                                              public TrackerDataLifeCycleControllerDelegate {
public:
    struct Values {
        std::string className;
        std::optional<std::string> sceneName {};
        Kind kind = Kind::plain;
        std::weak_ptr<Screen> visible {};
        std::weak_ptr<Screen> selected {};
        std::weak_ptr<Screen> presents {};
        bool delegates = false;
        std::weak_ptr<Screen> delegatesTo {};
        StringDictionary delegateParams {};
    };

    explicit Screen(const ID& id)
        : m_values(Values { .className = id })
    {
    }

    std::string className() const override { return values().className; }
    std::string sceneName() const override
    {
        Values current = values();
        return current.sceneName.value_or(current.className);
    }
    Kind kind() const override { return values().kind; }

    std::shared_ptr<UIViewController> presentedViewController() const override
    {
        return values().presents.lock();
    }
    std::shared_ptr<UIViewController> visibleViewController() const override
    {
        return values().visible.lock();
    }
    std::shared_ptr<UIViewController> selectedViewController() const override
    {
        return values().selected.lock();
    }

    ViewControllerInfo trackerViewControllerInfo() const override
    {
        Values current = values();
        if (!current.delegates)
            return { std::const_pointer_cast<UIViewController>(shared_from_this()) };
        return { current.delegatesTo, std::move(current.delegateParams) };
    }

    Values values() const { return m_values.get(); }

    template<typename Change> void change(const Change& change)
    {
        m_values.with([&](Values& values) { change(values); });
    }

    void forget(const std::shared_ptr<Screen>& gone)
    {
        change([&](Values& values) {
            for (auto* link :
                { &values.visible, &values.selected, &values.presents, &values.delegatesTo }) {
                if (link->lock() == gone)
                    link->reset();
            }
        });
    }

private:
    detail::Guarded<Values> m_values;
};

class ScriptedScreenHierarchy::Window final : public UIWindow {
public:
    std::shared_ptr<UIViewController> rootViewController() const override
    {
        return m_root.get().lock();
    }

    void setRoot(std::weak_ptr<Screen> root) { m_root.set(std::move(root)); }

    void forget(const std::shared_ptr<Screen>& gone)
    {
        m_root.with([&](std::weak_ptr<Screen>& root) {
            if (root.lock() == gone)
                root.reset();
        });
    }

private:
    detail::Guarded<std::weak_ptr<Screen>> m_root;
};

ScriptedScreenHierarchy::ScriptedScreenHierarchy()
    : m_window(std::make_shared<Window>())
{
}

ScriptedScreenHierarchy::~ScriptedScreenHierarchy() = default;

std::shared_ptr<UIWindow> ScriptedScreenHierarchy::keyWindow() const
{
    m_questionObserver("keyWindow");
    return m_hasWindow ? m_window : nullptr;
}

bool ScriptedScreenHierarchy::make(const ID& id)
{
    return m_screens.with([&](Screens& screens) {
        return screens.try_emplace(id, std::make_shared<Screen>(id)).second;
    });
}

bool ScriptedScreenHierarchy::contains(const ID& id) const
{
    return find(id) != nullptr;
}

std::shared_ptr<UIViewController> ScriptedScreenHierarchy::screen(const ID& id) const
{
    return find(id);
}

std::shared_ptr<ScriptedScreenHierarchy::Screen> ScriptedScreenHierarchy::find(const ID& id) const
{
    return m_screens.with([&](const Screens& screens) {
        const auto found = screens.find(id);
        return found != screens.end() ? found->second : nullptr;
    });
}

std::optional<std::weak_ptr<ScriptedScreenHierarchy::Screen>> ScriptedScreenHierarchy::link(
    const std::optional<ID>& other) const
{
    if (!other)
        return std::weak_ptr<Screen>();
    const auto screen = find(*other);
    return screen ? std::optional<std::weak_ptr<Screen>>(screen) : std::nullopt;
}

template<typename Change> bool ScriptedScreenHierarchy::change(const ID& id, const Change& change)
{
    const auto screen = find(id);
    if (!screen)
        return false;
    screen->change(change);
    return true;
}

bool ScriptedScreenHierarchy::setClassName(const ID& id, std::string className)
{
    return change(id, [&](auto& values) { values.className = std::move(className); });
}

bool ScriptedScreenHierarchy::setSceneName(const ID& id, std::string sceneName)
{
    return change(id, [&](auto& values) { values.sceneName = std::move(sceneName); });
}

bool ScriptedScreenHierarchy::setKind(const ID& id, UIViewController::Kind kind)
{
    return change(id, [&](auto& values) { values.kind = kind; });
}

bool ScriptedScreenHierarchy::setVisible(const ID& id, const std::optional<ID>& other)
{
    const auto target = link(other);
    return target && change(id, [&](auto& values) { values.visible = *target; });
}

bool ScriptedScreenHierarchy::setSelected(const ID& id, const std::optional<ID>& other)
{
    const auto target = link(other);
    return target && change(id, [&](auto& values) { values.selected = *target; });
}

bool ScriptedScreenHierarchy::setPresents(const ID& id, const std::optional<ID>& other)
{
    const auto target = link(other);
    return target && change(id, [&](auto& values) { values.presents = *target; });
}

bool ScriptedScreenHierarchy::setDelegates(const ID& id, bool delegates)
{
    return change(id, [&](auto& values) { values.delegates = delegates; });
}

bool ScriptedScreenHierarchy::setDelegatesTo(const ID& id, const std::optional<ID>& other)
{
    const auto target = link(other);
    return target && change(id, [&](auto& values) { values.delegatesTo = *target; });
}

bool ScriptedScreenHierarchy::setDelegateParams(const ID& id, StringDictionary params)
{
    return change(id, [&](auto& values) { values.delegateParams = std::move(params); });
}

bool ScriptedScreenHierarchy::setWindowRoot(const std::optional<ID>& root)
{
    auto target = link(root);
    if (!target)
        return false;
    m_window->setRoot(std::move(*target));
    m_hasWindow = true;
    return true;
}

void ScriptedScreenHierarchy::removeWindow()
{
    m_window->setRoot({});
    m_hasWindow = false;
}

bool ScriptedScreenHierarchy::release(const ID& id)
{
    // A caller that uses the screen still owns it; no other caller can find it.
    std::shared_ptr<Screen> gone;
    m_screens.with([&](Screens& screens) {
        const auto found = screens.find(id);
        if (found == screens.end())
            return;
        gone = std::move(found->second);
        screens.erase(found);
        for (const auto& [otherID, other] : screens)
            other->forget(gone);
    });
    if (!gone)
        return false;
    m_window->forget(gone);
    return true;
}

void ScriptedScreenHierarchy::setQuestionObserver(QuestionObserver::Function observer)
{
    m_questionObserver.set(std::move(observer));
}

} // namespace telvora
