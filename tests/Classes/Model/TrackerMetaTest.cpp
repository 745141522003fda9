#include <Telvora/Classes/Model/TrackerMeta.h>

#include <Telvora/Classes/TrackerConfiguration.h>
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <gtest/gtest.h>

namespace telvora {
namespace {

class TrackerMetaTest : public testing::Test {
protected:
    TrackerMetaTest() { installPlatform(simulated.services()); }

    SimulatedPlatform& simulated = *new SimulatedPlatform;
};

TEST_F(TrackerMetaTest, AFreshRecordHas33EntriesInTheirOrder)
{
    EXPECT_EQ(encode(TrackerMeta(TrackerMeta::T("PAGE-VIEW")).asDictionary()),
        R"({"t":"PAGE-VIEW","d":1700000000.0,"f":null,"p":null,"ci":null,"batr":null,"wifi":null,)"
        R"("scb":null,"si":null,"ct":0.0,"at":0.0,"pageExpend":null,"fcp":0.0,"pt":0.0,)"
        R"("reqt":0.0,"ft":0.0,"fpt":0.0,"fp":0.0,"dcl":0.0,"ht":0.0,"u":null,"wt":null,)"
        R"("s":null,"bc":null,"wt_s":null,"status":null,"network":null,"msg_id":null,)"
        R"("content_type":null,"c":null,"cs":null,"extra":null,"ipaMode":"RELEASE"})");
}

TEST_F(TrackerMetaTest, EveryFieldHasItsNameAsKey)
{
    TrackerMeta record(TrackerMeta::T::custom("x"));
    record.f = 1;
    record.p = "p";
    record.ci = "ci";
    record.batr = -1;
    record.wifi = false;
    record.scb = 2;
    record.si = "si";
    record.pageExpend = StringDictionary { { "a", "1" } };
    record.u = "u";
    record.wt = "wt";
    record.s = 3;
    record.bc = "bc";
    record.wt_s = "wt_s";
    record.status = "status";
    record.network = "network";
    record.msg_id = "msg_id";
    record.content_type = "content_type";
    record.c = 4;
    record.cs = "cs";
    record.extra = Dictionary { { "e", Array { 5 } } };
    record.d = record.ct = record.at = record.fcp = record.pt = record.reqt = record.ft = 6;
    record.fpt = record.fp = record.dcl = record.ht = 7;
    record.ipaMode = "mine";

    EXPECT_EQ(encode(record.asDictionary()),
        R"({"t":"x","d":6.0,"f":1.0,"p":"p","ci":"ci","batr":-1,"wifi":false,"scb":2.0,)"
        R"("si":"si","ct":6.0,"at":6.0,"pageExpend":{"a":"1"},"fcp":6.0,"pt":6.0,"reqt":6.0,)"
        R"("ft":6.0,"fpt":7.0,"fp":7.0,"dcl":7.0,"ht":7.0,"u":"u","wt":"wt","s":3,"bc":"bc",)"
        R"("wt_s":"wt_s","status":"status","network":"network","msg_id":"msg_id",)"
        R"("content_type":"content_type","c":4,"cs":"cs","extra":{"e":[5]},"ipaMode":"mine"})");
}

TEST_F(TrackerMetaTest, ARecordHasTheTimeOfItsMaking)
{
    simulated.setWallTime(12.5);
    const TrackerMeta record(TrackerMeta::T("x"));
    simulated.setWallTime(99);

    EXPECT_EQ(record.d, 12.5);
}

TEST_F(TrackerMetaTest, ARecordHasTheModeOfItsMaking)
{
    const TrackerMeta released(TrackerMeta::T("x"));
    TrackerConfiguration::setMode(TrackerMode::debug);
    const TrackerMeta debugged(TrackerMeta::T("x"));
    TrackerConfiguration::setMode(TrackerMode::release);

    EXPECT_EQ(released.ipaMode, "RELEASE");
    EXPECT_EQ(debugged.ipaMode, "DEBUG");
}

TEST_F(TrackerMetaTest, ATypeKeepsItsName)
{
    EXPECT_EQ(TrackerMeta::T("a").name, "a");
    EXPECT_EQ(TrackerMeta::T::custom("b").name, "b");
}

} // namespace
} // namespace telvora
