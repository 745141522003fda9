#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Platform/Qt/FrameMeter.h>
#include <Telvora/Platform/Qt/QtToolkit.h>

class QGuiApplication;

/// The integration of Qt 6: which page the user sees, frames, the launch, and whether the
/// application is in the background, without a change in the page classes.
///
///     QGuiApplication app(argc, argv);
///     telvora::startTelvora({ .channels = { ... } });
///     telvora::installQtIntegration(app);
///
/// Pages. A page is what QStackedWidget, QTabWidget, StackView, SwipeView and StackLayout show at
/// the moment, the innermost one; a dialog, popup or window in front of it; or the window itself.
/// Its name is its property "telvoraScene", else its class or QML component. Further properties,
/// which a widget, an item or a window may have:
///
///     telvoraScene     text: the page's name
///     telvoraParams    texts by name, sent with each report as "pageExpend"
///     telvoraPages     false: what is inside and changes is no page; the last page stands
///     telvoraDelegate  another object: that one is reported in its place
///
/// A property of another type is ignored, with a line in the log when its object is first looked
/// at.
///
/// Launch. One report "START" with the first frame of the application:
///
///     fp   from the loading of this library, just before main(), to the first frame
///     ct   from the start of the process (/proc/self/stat, in steps of 10 ms) to the first frame
///     d    when the process started
///     fpt, dcl, fcp, at, ht   0
///
/// The page on top is written down as text: reports from any thread use that text, own nothing of
/// Qt and call nothing of it.
namespace telvora {

/// What the integration does. Every member has a default.
struct QtIntegrationOptions {
    /// Whether a page that comes to the top is also reported with enrollPageViewTrack().
    bool reportsPageViews = true;
    /// Whether slow, frozen and first frames are reported.
    bool reportsFrames = true;
    /// Whether the launch is reported.
    bool reportsLaunch = true;
    /// Whether the application counts as in the background while none of its windows can be seen.
    /// For applications on a desktop, which Qt never calls suspended.
    bool isBackgroundWithoutWindow = false;
    /// What counts as a slow or a frozen frame.
    FrameLimits frames {};
};

/// Installs the integration for `app`, which it lasts as long as.
///
/// Call it on the GUI thread, after startTelvora() or after a platform was installed whose screens
/// and lifecycle are those of Platform/Host, as on Linux.
///
/// Returns false, with a line in the log, if it is installed already, the thread is another one, or
/// the platform is another one. Throws nothing.
TELVORA_EXPORT bool installQtIntegration(QGuiApplication& app,
    const QtIntegrationOptions& options = {},
    detail::QtToolkits toolkits = detail::linkedToolkits()) noexcept;

} // namespace telvora
