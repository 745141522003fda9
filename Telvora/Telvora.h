#pragma once

/// Everything a host needs. Each of these headers can also be included alone.
#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Version.h>
#include <Telvora/Classes/Model/CommonTrackerModel.h>
#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/Classes/Model/TrackerDataLifeCycleTrace.h>
#include <Telvora/Classes/TrackerManager.h>
#include <Telvora/LoggableKit/Classes/QuorvexLog.h>
#include <Telvora/Platform/Platform.h>
