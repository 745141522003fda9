// JSON text of a batch and back, beside Boost.JSON alone and nlohmann's library. All write the same
// events; the texts are compared before the clock starts. Left out: building the events.

#include <Telvora/Base/Dictionary.h>

#include <benchmarks/SampleEvent.h>

#include <benchmark/benchmark.h>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <nlohmann/json.hpp>

namespace telvora {
namespace {

Dictionary makeBatchOf(std::int64_t events)
{
    Dictionary batch = makeSampleCommonData();
    Array list;
    for (std::int64_t number = 0; number < events; ++number)
        list.emplace_back(makeSampleEvent(static_cast<int>(number)));
    batch["data"] = std::move(list);
    return batch;
}

void BM_BatchBody_Encode(benchmark::State& state)
{
    const Dictionary batch = makeBatchOf(state.range(0));
    if (boost::json::parse(encode(batch).value()) != Value(batch))
        state.SkipWithError("the text has another value");
    for (auto _ : state)
        benchmark::DoNotOptimize(encode(batch));
}

void BM_BoostJSON_Serialize(benchmark::State& state)
{
    const Dictionary batch = makeBatchOf(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(boost::json::serialize(batch));
}

void BM_Nlohmann_Dump(benchmark::State& state)
{
    const auto batch = nlohmann::ordered_json::parse(encode(makeBatchOf(state.range(0))).value());
    for (auto _ : state)
        benchmark::DoNotOptimize(batch.dump());
}

BENCHMARK(BM_BatchBody_Encode)->Arg(1)->Arg(100);
BENCHMARK(BM_BoostJSON_Serialize)->Arg(1)->Arg(100);
BENCHMARK(BM_Nlohmann_Dump)->Arg(1)->Arg(100);

// 0 events: an answer of a collector. Besides answers the library decodes only a host's `extra`.
std::string textOf(std::int64_t events)
{
    return events == 0 ? R"({"success":true})" : encode(makeBatchOf(events)).value();
}

void BM_Answer_Decode(benchmark::State& state)
{
    const std::string text = textOf(state.range(0));
    if (decode(text).value != boost::json::parse(text))
        state.SkipWithError("the value is another one");
    for (auto _ : state)
        benchmark::DoNotOptimize(decode(text).value);
}

void BM_BoostJSON_Parse(benchmark::State& state)
{
    const std::string text = textOf(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(boost::json::parse(text));
}

void BM_Nlohmann_Parse(benchmark::State& state)
{
    const std::string text = textOf(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(nlohmann::ordered_json::parse(text));
}

BENCHMARK(BM_Answer_Decode)->Arg(0)->Arg(100);
BENCHMARK(BM_BoostJSON_Parse)->Arg(0)->Arg(100);
BENCHMARK(BM_Nlohmann_Parse)->Arg(0)->Arg(100);

} // namespace
} // namespace telvora
