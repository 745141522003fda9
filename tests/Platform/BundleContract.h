#pragma once

#include <Telvora/Platform/Bundle.h>

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>

namespace telvora {

/// What every Bundle promises. `Subject` is made without arguments and has
/// `Bundle& bundle(Dictionary info, std::optional<std::string> identifier)`, one that says just
/// that.
template<typename Subject> class BundleContract : public testing::Test {
protected:
    Subject subject;
};

TYPED_TEST_SUITE_P(BundleContract);

TYPED_TEST_P(BundleContract, GivesWhatTheHostSaidOfItself)
{
    Bundle& bundle = this->subject.bundle(
        { { "CFBundleShortVersionString", "1.4.2" }, { "Other", "text" } }, "com.example.app");

    EXPECT_EQ(bundle.objectForInfoDictionaryKey("CFBundleShortVersionString"), Value("1.4.2"));
    EXPECT_EQ(bundle.objectForInfoDictionaryKey("Other"), Value("text"));
    EXPECT_EQ(bundle.bundleIdentifier(), "com.example.app");
}

TYPED_TEST_P(BundleContract, AnEntryThatTheHostDidNotGiveIsAbsent)
{
    Bundle& bundle = this->subject.bundle({}, std::nullopt);

    EXPECT_EQ(bundle.objectForInfoDictionaryKey("CFBundleShortVersionString"), std::nullopt);
    EXPECT_EQ(bundle.objectForInfoDictionaryKey(""), std::nullopt);
    EXPECT_EQ(bundle.bundleIdentifier(), std::nullopt);
}

TYPED_TEST_P(BundleContract, AnEntryKeepsItsType)
{
    Bundle& bundle = this->subject.bundle(
        { { "CFBundleShortVersionString", 142 }, { "Null", nullptr } }, std::nullopt);

    EXPECT_EQ(bundle.objectForInfoDictionaryKey("CFBundleShortVersionString"), Value(142));
    EXPECT_EQ(bundle.objectForInfoDictionaryKey("Null"), Value(nullptr));
}

REGISTER_TYPED_TEST_SUITE_P(BundleContract, GivesWhatTheHostSaidOfItself,
    AnEntryThatTheHostDidNotGiveIsAbsent, AnEntryKeepsItsType);

} // namespace telvora
