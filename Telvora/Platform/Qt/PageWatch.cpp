#include <Telvora/Platform/Qt/PageWatch.h>

#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/LoggableKit/Classes/QuorvexLog.h>
#include <Telvora/Platform/Qt/QtNames.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QMetaObject>
#include <QtCore/QVariant>
#include <QtGui/QWindow>

#include <algorithm>
#include <utility>

namespace telvora::detail {

namespace {

constexpr auto handled = LifeCycleTraceState::after;

// No application nests so deep; reached where containers contain each other.
constexpr int mostScreens = 1000;

void warn(const QObject& object, std::string_view what)
{
    QuorvexLog::log(QuorvexLog::Category::trackerData(),
        [&] { return std::string(object.metaObject()->className()) + ": " + std::string(what); });
}

bool isText(const QVariant& value)
{
    return value.typeId() == QMetaType::QString || value.typeId() == QMetaType::QByteArray;
}

std::optional<std::string> sceneOf(const QObject& object)
{
    const QVariant scene = object.property("telvoraScene");
    if (!isText(scene) || scene.toString().isEmpty())
        return std::nullopt;
    return scene.toString().toStdString();
}

QObject* delegateOf(const QObject& object)
{
    return object.property("telvoraDelegate").value<QObject*>();
}

// The parameters that the page names; those that are no text are left out.
StringDictionary paramsOf(const QObject& object)
{
    StringDictionary params;
    const QVariantMap given = object.property("telvoraParams").toMap();
    for (auto entry = given.begin(); entry != given.end(); ++entry) {
        if (isText(entry.value()))
            params.insert_or_assign(
                entry.key().toStdString(), entry.value().toString().toStdString());
        else
            warn(object, "a value in telvoraParams is no text");
    }
    return params;
}

// Says which of its properties are ignored because they are of another type.
void checkProperties(const QObject& object)
{
    const auto check = [&](const char* name, auto&& isRight, std::string_view what) {
        const QVariant value = object.property(name);
        if (value.isValid() && !value.isNull() && !isRight(value))
            warn(object, what);
    };
    check("telvoraScene", isText, "telvoraScene is no text");
    check(
        "telvoraParams", [](const QVariant& value) { return value.canConvert<QVariantMap>(); },
        "telvoraParams is no object of texts");
    check(
        "telvoraPages", [](const QVariant& value) { return value.typeId() == QMetaType::Bool; },
        "telvoraPages is neither true nor false");
    check(
        "telvoraDelegate", [](const QVariant& value) { return value.canConvert<QObject*>(); },
        "telvoraDelegate is no object");
}

bool canHavePage(const QWindow& window)
{
    const Qt::WindowType type = window.type();
    return window.isVisible() && !(window.windowStates() & Qt::WindowMinimized)
        && (type == Qt::Window || type == Qt::Dialog || type == Qt::Sheet || type == Qt::Tool);
}

} // namespace

PageWatch::PageWatch(HostLifeCycleChecker& checker, HostScreenHierarchy& screens, Appeared appeared)
    : m_checker(checker)
    , m_hierarchy(screens)
    , m_appeared(std::move(appeared))
{
}

PageWatch::~PageWatch()
{
    m_hierarchy.setKeyWindowSupplier({});
}

void PageWatch::addToolkit(std::unique_ptr<QtToolkit> toolkit)
{
    m_toolkits.push_back(std::move(toolkit));
}

void PageWatch::raise(QWindow& window)
{
    const auto known = std::ranges::find(m_windows, &window);
    if (known != m_windows.end())
        m_windows.erase(known);
    else
        // It is no QWindow any more then, so only its address is used.
        connect(&window, &QObject::destroyed, this, [this, gone = &window] {
            std::erase(m_windows, gone);
            touch();
        });
    m_windows.push_back(&window);
    touch();
}

bool PageWatch::hasVisibleWindow() const
{
    return std::ranges::any_of(
        m_windows, [](const QWindow* window) { return canHavePage(*window); });
}

void PageWatch::touch()
{
    if (std::exchange(m_isTouched, true))
        return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            try {
                look();
            } catch (...) {
                // There is no memory: the page stands until the next look.
            }
        },
        Qt::QueuedConnection);
}

void PageWatch::look()
{
    m_isTouched = false;
    const Found found = findScreens();
    if (found.isOptedOut)
        return;
    m_window = found.root ? std::make_shared<QtScreenWindow>(found.root) : nullptr;
    m_hierarchy.setKeyWindowSupplier([window = m_window] { return window; });

    const auto top = m_window ? m_window->topViewController_monitorTracker() : std::nullopt;
    const auto screen = top ? top->vc.lock() : nullptr;
    if (screen && m_top && screen == m_top->values)
        return;
    leave();
    if (!screen)
        return;
    for (auto entry = m_screens.begin(); entry != m_screens.end(); ++entry) {
        if (entry.value()->values == screen) {
            m_topObject = entry.key();
            appear(entry.value());
            return;
        }
    }
}

PageWatch::Found PageWatch::findScreens()
{
    const auto front = std::find_if(m_windows.rbegin(), m_windows.rend(),
        [](const QWindow* window) { return canHavePage(*window); });
    if (front == m_windows.rend())
        return {};
    // A dialog is in front of the window that it belongs to.
    std::vector<QWindow*> windows { *front };
    while (QWindow* parent = windows.back()->transientParent()) {
        if (!canHavePage(*parent) || std::ranges::find(windows, parent) != windows.end())
            break;
        windows.push_back(parent);
    }

    Found found;
    std::shared_ptr<QtScreen> behind;
    for (auto window = windows.rbegin(); window != windows.rend(); ++window) {
        QObject* top = nullptr;
        QtToolkit* toolkit = nullptr;
        for (const auto& candidate : m_toolkits) {
            top = candidate->screenOf(**window);
            if (top) {
                toolkit = candidate.get();
                break;
            }
        }
        if (!top)
            continue;
        const auto root = screensIn(*top);
        if (!root)
            return { .isOptedOut = true };
        (*root)->setPresented({});
        if (behind)
            behind->setPresented(*root);
        else
            found.root = *root;
        behind = *root;
        if (QObject* popup = toolkit->presentedIn(*top)) {
            const auto presented = screensIn(*popup);
            if (!presented)
                return { .isOptedOut = true };
            (*presented)->setPresented({});
            behind->setPresented(*presented);
            behind = *presented;
        }
    }
    return found;
}

std::optional<std::shared_ptr<QtScreen>> PageWatch::screensIn(QObject& top)
{
    std::shared_ptr<QtScreen> root;
    QObject* object = &top;
    for (int count = 0; object && count < mostScreens; ++count) {
        if (isOptedOut(*object))
            return std::nullopt;
        const std::shared_ptr<QtScreen> screen = screenFor(*object)->values;
        if (!root)
            root = screen;
        if (auto* delegating = dynamic_cast<QtDelegatingScreen*>(screen.get())) {
            object = delegateOf(*object);
            delegating->setDelegate(
                object ? screenFor(*object)->values : std::shared_ptr<QtScreen>());
            continue;
        }
        QtToolkit* toolkit = toolkitOf(*object);
        const QtContent content = toolkit ? toolkit->contentOf(*object) : QtContent();
        screen->setContent(content.kind,
            content.screen ? screenFor(*content.screen)->values : std::shared_ptr<QtScreen>());
        object = content.screen;
    }
    return root;
}

const PageWatch::ScreenPointer& PageWatch::screenFor(QObject& object)
{
    const QtToolkit* toolkit = toolkitOf(object);
    std::string name = sceneOf(object).value_or(
        toolkit ? toolkit->classNameOf(object) : std::string(object.metaObject()->className()));
    const bool isDelegating = delegateOf(object) != nullptr;

    ScreenPointer& screen = m_screens[&object];
    if (!screen) {
        checkProperties(object);
        connect(&object, &QObject::destroyed, this, [this](QObject* gone) {
            const ScreenPointer lost = m_screens.take(gone);
            // Whoever reports on another thread may own it for a moment longer.
            if (lost)
                lost->values.reset();
            touch();
        });
    }
    const bool isSame = screen && screen->values->className() == name
        && isDelegating == (dynamic_cast<QtDelegatingScreen*>(screen->values.get()) != nullptr);
    if (!isSame) {
        // A page with another name is another page.
        std::string scene = QCoreApplication::applicationName().toStdString() + '.' + name;
        std::shared_ptr<QtScreen> values;
        if (isDelegating)
            values = std::make_shared<QtDelegatingScreen>(std::move(name), std::move(scene));
        else
            values = std::make_shared<QtScreen>(std::move(name), std::move(scene));
        screen = std::make_shared<Screen>(Screen { .values = std::move(values) });
    }
    return screen;
}

QtToolkit* PageWatch::toolkitOf(const QObject& object) const
{
    for (const auto& toolkit : m_toolkits) {
        if (toolkit->knows(object))
            return toolkit.get();
    }
    return nullptr;
}

void PageWatch::appear(const ScreenPointer& screen)
{
    m_top = screen;
    if (!screen->adaptor)
        screen->adaptor = m_checker.create(screen->values->sceneName());
    if (screen->adaptor) {
        screen->adaptor->setScene(screen->values);
        screen->adaptor->activeActionHandler(LifeCycleTraceOccasion::viewDidAppear, handled);
        for (auto& [key, value] : paramsOf(*m_topObject))
            TrackerDataExcavator::addViewControllerInfo(key, value);
    }
    m_appeared(screen->values->className());
}

void PageWatch::leave()
{
    const ScreenPointer left = std::exchange(m_top, nullptr);
    m_topObject = nullptr;
    if (left && left->adaptor)
        left->adaptor->activeActionHandler(LifeCycleTraceOccasion::viewDidDisappear, handled);
}

} // namespace telvora::detail
