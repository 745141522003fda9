#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Platform/ScreenHierarchy.h>

#include <array>
#include <functional>
#include <memory>
#include <string>

class QEvent;
class QObject;
class QWindow;

namespace telvora::detail {

class FrameClock;

/// What a screen shows inside itself.
struct QtContent {
    /// Plain for a page; otherwise `screen` is what it shows, or null.
    UIViewController::Kind kind = UIViewController::Kind::plain;
    QObject* screen = nullptr;
};

/// The part of the integration that knows one of Qt's toolkits.
///
/// Threads: the GUI thread.
/// Implementations: Widgets/WidgetToolkit, Quick/QuickToolkit.
class QtToolkit {
public:
    /// Says that pages may have changed; they are looked at once the events at hand are done.
    using Touch = std::function<void()>;

    virtual ~QtToolkit() = default;

    /// The object that stands for the window as a screen; null if it is of another toolkit.
    virtual QObject* screenOf(QWindow& window) = 0;

    /// Whether `screen` is an object of this toolkit.
    virtual bool knows(const QObject& screen) const = 0;
    /// What `screen` shows inside itself. Looks for containers in it, and calls `touch` from now on
    /// when one of them changes.
    virtual QtContent contentOf(QObject& screen) = 0;
    /// The popup that is open in a window in front of all else; null if there is none.
    virtual QObject* presentedIn([[maybe_unused]] QObject& screen) { return nullptr; }
    /// The name of its class or component, without name spaces.
    virtual std::string classNameOf(const QObject& screen) const = 0;

    /// A window came up. `frames` is told when its frames begin and are shown, for as long as the
    /// window lives.
    virtual void watch(QWindow& window, const std::shared_ptr<FrameClock>& frames) = 0;
    /// An event of the application, before its receiver gets it. Called for each one. Returns
    /// whether pages may have changed.
    virtual bool sees(QObject& receiver, QEvent& event) = 0;
    /// The GUI thread is about to wait for events.
    virtual void waits() { }
};

/// Makes the part for one toolkit; it calls the touch that it is given.
using MakeToolkit = std::unique_ptr<QtToolkit> (*)(const QtToolkit::Touch& touch);

/// Those that a program has; null ones are left out.
using QtToolkits = std::array<MakeToolkit, 2>;

TELVORA_EXPORT std::unique_ptr<QtToolkit> makeWidgetToolkit(const QtToolkit::Touch& touch);
TELVORA_EXPORT std::unique_ptr<QtToolkit> makeQuickToolkit(const QtToolkit::Touch& touch);

/// The toolkits that the program is linked with, as Qt's build settings say. In an unnamed
/// namespace, because each source of a program may be built with other settings.
namespace {

[[maybe_unused]] constexpr QtToolkits linkedToolkits()
{
    return {
#ifdef QT_WIDGETS_LIB
        makeWidgetToolkit,
#else
        nullptr,
#endif
#ifdef QT_QUICK_LIB
        makeQuickToolkit,
#else
        nullptr,
#endif
    };
}

} // namespace

} // namespace telvora::detail
