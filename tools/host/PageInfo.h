#pragma once

#include <Telvora/Platform/ScreenHierarchy.h>
#include <tools/host/Operations.h>

#include <memory>
#include <string>

namespace telvora::host {

/// {"vc": class name or null, "params"} of the page on top; null without one.
Value topPage();

/// The screen of that id. Throws ScriptError for an unknown id and on the real platform, where
/// screens have no ids.
std::shared_ptr<UIViewController> screenNamed(Host& host, const std::string& id);

} // namespace telvora::host
