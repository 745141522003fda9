#include <tools/host/Operations.h>

#include <Telvora/Platform/Simulated/SimulatedPlatform.h>
#include <tools/host/ScriptError.h>

#include <utility>

// Screens and the window of the simulated platform.
namespace telvora::host {

namespace {

using Platform = Operation::Platform;

UIViewController::Kind kindNamed(const std::string& name)
{
    if (name == "plain")
        return UIViewController::Kind::plain;
    if (name == "navigation")
        return UIViewController::Kind::navigation;
    if (name == "tabBar")
        return UIViewController::Kind::tabBar;
    throw ScriptError("\"kind\" is \"plain\", \"navigation\" or \"tabBar\"");
}

// What a line says about one link of a screen.
struct Link {
    bool isGiven = false;
    std::optional<std::string> id;
};

// A screen may link to itself (`self`) in the line that makes it.
Link linkIn(const Arguments& arguments, std::string_view name,
    const ScriptedScreenHierarchy& screens, const std::string* self)
{
    if (!arguments.has(name))
        return {};
    Link link { true, arguments.textOrNull(name) };
    if (link.id && !(self && *link.id == *self) && !screens.contains(*link.id))
        throw ScriptError("No screen \"" + *link.id + "\" has been made");
    return link;
}

// Everything a line says about a screen, read before anything is changed.
struct ScreenLine {
    std::optional<std::string> className;
    std::optional<std::string> sceneName;
    std::optional<UIViewController::Kind> kind;
    Link visible;
    Link selected;
    Link presents;
    Link delegatesTo;
    std::optional<bool> delegates;
    std::optional<StringDictionary> delegateParams;
};

ScreenLine read(
    const Arguments& arguments, const ScriptedScreenHierarchy& screens, const std::string& id)
{
    ScreenLine line;
    line.className = arguments.optionalText("className");
    line.sceneName = arguments.optionalText("sceneName");
    if (arguments.given("kind"))
        line.kind = kindNamed(arguments.text("kind"));
    line.visible = linkIn(arguments, "visible", screens, &id);
    line.selected = linkIn(arguments, "selected", screens, &id);
    line.presents = linkIn(arguments, "presents", screens, &id);
    line.delegatesTo = linkIn(arguments, "delegatesTo", screens, &id);
    if (arguments.given("delegates"))
        line.delegates = arguments.flag("delegates");
    if (arguments.given("delegateParams"))
        line.delegateParams = arguments.strings("delegateParams");
    return line;
}

Result screen(const Call& call)
{
    ScriptedScreenHierarchy& screens = call.simulated().screens();
    const std::string id = call.arguments.text("id");
    ScreenLine line = read(call.arguments, screens, id);

    screens.make(id);
    if (line.className)
        screens.setClassName(id, std::move(*line.className));
    if (line.sceneName)
        screens.setSceneName(id, std::move(*line.sceneName));
    if (line.kind)
        screens.setKind(id, *line.kind);
    if (line.visible.isGiven)
        screens.setVisible(id, line.visible.id);
    if (line.selected.isGiven)
        screens.setSelected(id, line.selected.id);
    if (line.presents.isGiven)
        screens.setPresents(id, line.presents.id);
    if (line.delegates)
        screens.setDelegates(id, *line.delegates);
    if (line.delegatesTo.isGiven)
        screens.setDelegatesTo(id, line.delegatesTo.id);
    if (line.delegateParams)
        screens.setDelegateParams(id, std::move(*line.delegateParams));
    return {};
}

Result window(const Call& call)
{
    ScriptedScreenHierarchy& screens = call.simulated().screens();
    const bool isGone = call.arguments.flag("none", false);
    const Link root = linkIn(call.arguments, "root", screens, nullptr);
    if (isGone)
        screens.removeWindow();
    else if (root.isGiven)
        screens.setWindowRoot(root.id);
    return {};
}

Result release(const Call& call)
{
    const std::string id = call.arguments.text("id");
    if (!call.simulated().screens().release(id))
        throw ScriptError("No screen \"" + id + "\" has been made");
    return {};
}

} // namespace

void addScreenOperations(OperationTable& table)
{
    table["screen"] = { .run = screen, .platform = Platform::simulated };
    table["window"] = { .run = window, .platform = Platform::simulated };
    table["release"] = { .run = release, .platform = Platform::simulated };
}

} // namespace telvora::host
