#pragma once

#include <Telvora/Base/Build.h>

// What a host may link to. Everything else stays inside the library: it is built with hidden
// visibility, so that a name of ours cannot clash with one of the host's.
#if defined(TELVORA_STATIC)
#define TELVORA_EXPORT
#else
#define TELVORA_EXPORT __attribute__((visibility("default")))
#endif
