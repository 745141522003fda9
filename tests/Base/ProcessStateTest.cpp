#include <Telvora/Base/Lazy.h>
#include <Telvora/Base/ProcessValue.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace telvora {
namespace {

using detail::Lazy;
using detail::ProcessState;
using detail::ProcessValue;
using testing::ElementsAre;

TEST(ProcessStateTest, ALazyMakesAnotherObjectAndTheOldOneStays)
{
    static constinit Lazy<std::string> object;
    const std::string& old = object.get([] { return new std::string("old"); });

    ProcessState::renewAll();
    const std::string& renewed = object.get([] { return new std::string("renewed"); });

    EXPECT_EQ(renewed, "renewed");
    EXPECT_EQ(old, "old");
}

TEST(ProcessStateTest, AValueIsTheFirstOneAgainEachTime)
{
    static constinit ProcessValue<int> value { 7 };
    std::vector<int> seen;

    for (int round = 0; round < 3; ++round) {
        value.change().store(round);
        ProcessState::renewAll();
        seen.push_back(value->load());
    }

    EXPECT_THAT(seen, ElementsAre(7, 7, 7));
}

TEST(ProcessStateTest, WhatDidNotChangeIsAsItWas)
{
    static constinit Lazy<int> object;
    static constinit ProcessValue<int> value { 7 };

    ProcessState::renewAll();

    EXPECT_EQ(value->load(), 7);
    EXPECT_EQ(object.get([] { return new int(1); }), 1);
}

// Reads another object when it retires.
struct Reader {
    Lazy<int>* read;
    std::vector<int>* seen;

    void retire() const
    {
        seen->push_back(read->get([] { return new int(0); }));
    }
};

TEST(ProcessStateTest, NothingIsRenewedBeforeAllHaveRetired)
{
    static constinit Lazy<int> number;
    static constinit Lazy<Reader> first;
    static constinit Lazy<Reader> last;
    std::vector<int> seen;

    first.get([&] { return new Reader { &number, &seen }; });
    number.get([] { return new int(10); });
    last.get([&] { return new Reader { &number, &seen }; });
    ProcessState::renewAll();

    EXPECT_THAT(seen, ElementsAre(10, 10));
}

TEST(ProcessStateTest, AnObjectRetiresOnce)
{
    static constinit Lazy<int> number;
    static constinit Lazy<Reader> reader;
    std::vector<int> seen;
    reader.get([&] { return new Reader { &number, &seen }; });

    ProcessState::renewAll();
    ProcessState::renewAll();

    EXPECT_EQ(seen.size(), 1u);
}

// Makes an object when it retires, as a destructor of the host's does that calls the library.
struct Caller {
    Lazy<int>* lazy;

    void retire() const
    {
        lazy->get([] { return new int(1); });
    }
};

TEST(ProcessStateTest, WhatRetiringMakesIsRenewedToo)
{
    static constinit Lazy<int> made;
    static constinit Lazy<Caller> caller;
    caller.get([] { return new Caller { &made }; });

    ProcessState::renewAll();

    EXPECT_EQ(made.get([] { return new int(2); }), 2);
}

} // namespace
} // namespace telvora
