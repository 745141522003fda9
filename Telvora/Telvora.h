#pragma once

/// What every host calls. Each of these headers can also be included alone. Beside it a host
/// includes its platform, such as <Telvora/Platform/Linux/LinuxPlatform.h> or
/// <Telvora/Platform/Simulated/SimulatedPlatform.h>, unless the default one suffices.
/// <Telvora/StartTelvora.h> has this and the Linux platform.
#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/EventBuilder.h>
#include <Telvora/Base/Version.h>
#include <Telvora/Classes/Model/CommonTrackerModel.h>
#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/Classes/Model/TrackerDataLifeCycleTrace.h>
#include <Telvora/Classes/TrackerManager.h>
#include <Telvora/LoggableKit/Classes/QuorvexLog.h>
#include <Telvora/Platform/Platform.h>
#include <Telvora/Start/ApplicationState.h>
#include <Telvora/Start/StartTelvora.h>
