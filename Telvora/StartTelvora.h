#pragma once

/// All that a host on Linux includes: startTelvora() with the options of the Linux platform, and
/// what every host calls. A host on another platform includes <Telvora/Telvora.h>, which has
/// startTelvora() for a platform of its own.
#include <Telvora/Start/Linux/StartOnLinux.h>
#include <Telvora/Telvora.h>
