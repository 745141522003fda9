#pragma once

#include <Telvora/Platform/Telephony.h>

#include <gtest/gtest.h>

#include <optional>

namespace telvora {

/// What every Telephony promises. `Subject` is made without arguments and has
/// `Telephony& telephony()`, which starts without any telephony, and
/// `void publish(std::optional<Telephony::Carriers>, std::optional<Telephony::RadioTechnologies>)`.
template<typename Subject> class TelephonyContract : public testing::Test {
protected:
    Telephony& telephony() { return subject.telephony(); }

    Subject subject;
};

TYPED_TEST_SUITE_P(TelephonyContract);

TYPED_TEST_P(TelephonyContract, BothListsAreAbsentWithoutTelephony)
{
    EXPECT_EQ(this->telephony().serviceSubscriberCellularProviders(), std::nullopt);
    EXPECT_EQ(this->telephony().serviceCurrentRadioAccessTechnology(), std::nullopt);
}

TYPED_TEST_P(TelephonyContract, ServicesComeInTheSystemsOwnOrder)
{
    this->subject.publish(Telephony::Carriers { { "2", { "Second", "de" } }, { "1", {} } },
        Telephony::RadioTechnologies {
            { "b", "CTRadioAccessTechnologyNR" }, { "a", "CTRadioAccessTechnologyLTE" } });

    const auto carriers = this->telephony().serviceSubscriberCellularProviders();
    ASSERT_TRUE(carriers);
    ASSERT_EQ(carriers->size(), 2U);
    EXPECT_EQ(carriers->front().first, "2");
    EXPECT_EQ(carriers->front().second.carrierName, "Second");
    EXPECT_EQ(carriers->front().second.isoCountryCode, "de");
    EXPECT_EQ(carriers->back().first, "1");
    EXPECT_EQ(carriers->back().second.carrierName, std::nullopt);

    EXPECT_EQ(this->telephony().serviceCurrentRadioAccessTechnology(),
        (Telephony::RadioTechnologies {
            { "b", "CTRadioAccessTechnologyNR" }, { "a", "CTRadioAccessTechnologyLTE" } }));
}

TYPED_TEST_P(TelephonyContract, AnEmptyListIsNotAnAbsentOne)
{
    this->subject.publish(Telephony::Carriers {}, Telephony::RadioTechnologies {});

    EXPECT_TRUE(this->telephony().serviceSubscriberCellularProviders());
    EXPECT_TRUE(this->telephony().serviceCurrentRadioAccessTechnology());
}

TYPED_TEST_P(TelephonyContract, EveryAnswerIsOfTheMoment)
{
    this->subject.publish(Telephony::Carriers { { "1", {} } }, std::nullopt);
    EXPECT_TRUE(this->telephony().serviceSubscriberCellularProviders());

    this->subject.publish(std::nullopt, std::nullopt);
    EXPECT_FALSE(this->telephony().serviceSubscriberCellularProviders());
}

REGISTER_TYPED_TEST_SUITE_P(TelephonyContract, BothListsAreAbsentWithoutTelephony,
    ServicesComeInTheSystemsOwnOrder, AnEmptyListIsNotAnAbsentOne, EveryAnswerIsOfTheMoment);

} // namespace telvora
