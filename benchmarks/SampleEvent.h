#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/EventBuilder.h>

#include <cstddef>

/// The event of all benchmarks: ten fields of the usual kinds, the same for Telvora and for what it
/// is compared with.
namespace telvora {

constexpr std::size_t sampleEventBytes = 254;

/// An event of `sampleEventBytes` bytes of compact JSON, whatever the number. The dictionary has
/// room for the network field, as one built field by field has.
Dictionary makeSampleEvent(int number);

/// The same event in one block of memory.
EventBuilder buildSampleEvent(int number);

/// The fields beside the event list of a batch.
Dictionary makeSampleCommonData();

/// Ends the program where the sample event has another size.
void checkSampleEvent();

} // namespace telvora
