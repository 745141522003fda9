#pragma once

#include <Telvora/Base/Dictionary.h>

#include <cstddef>

/// The event that every figure is about: ten fields of the usual kinds, the same for Telvora and
/// for what it is compared with.
namespace telvora {

constexpr std::size_t sampleEventBytes = 254;

/// `sampleEventBytes` of compact JSON whatever the number. Has room for the stamp of the network,
/// as an event has that was built field by field.
Dictionary makeSampleEvent(int number);

/// The fields beside the event list of a batch.
Dictionary makeSampleCommonData();

/// Ends the program where the sample is not what the figures claim.
void checkSampleEvent();

} // namespace telvora
