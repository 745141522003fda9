#include <Telvora/Classes/TrackerManager.h>
#include <tests/Classes/ImmediatePlatform.h>

#include <gtest/gtest.h>

namespace telvora {
namespace {

class ClientFaultTest : public testing::Test {
protected:
    ClientFaultTest() { TrackerManager::shared().register_(config); }

    void append(ImmediateClient::Manner manner)
    {
        client.manner = manner;
        TrackerManager::shared().appendTracker({ { "n", 1 } }, "APM");
        client.manner = ImmediateClient::Manner::accepts;
    }

    ImmediateClient& client = immediate().client;
    const std::shared_ptr<TrackerConfig> config = std::make_shared<TrackerConfig>(
        "APM", 1, StringDictionary(), Array(), false, [] { return "http://collector.example/"; });
};

TEST_F(ClientFaultTest, ARequestThatTheClientAnswersAfterThrowingIsCountedByItsAnswer)
{
    append(ImmediateClient::Manner::keepsAndThrows);
    EXPECT_EQ(config->ledger().events.inFlight, 1);

    client.complete();

    EXPECT_EQ(config->ledger().events.delivered, 1);
    EXPECT_EQ(config->ledger().events.accepted, config->ledger().events.accountedFor());
}

TEST_F(ClientFaultTest, ARequestThatTheClientForgetsIsAnInternalError)
{
    append(ImmediateClient::Manner::forgets);

    EXPECT_EQ(config->ledger().events.dropped.internalError, 1);
    EXPECT_EQ(config->ledger().batches.dropped.internalError, 1);
    EXPECT_TRUE(config->apiDatas().empty());
}

TEST_F(ClientFaultTest, TheLedgersDictionaryShowsInternalErrorsOnceThereAreSome)
{
    const auto dropped = [&](const char* account) {
        return ledgerDictionary(config->ledger()).at(account).at("dropped").as_object();
    };
    EXPECT_FALSE(dropped("events").contains("internalError"));

    append(ImmediateClient::Manner::forgets);

    EXPECT_EQ(dropped("events").at("internalError"), 1);
    EXPECT_EQ(dropped("batches").at("internalError"), 1);
}

} // namespace
} // namespace telvora
