#pragma once

#include <Telvora/Platform/Application.h>

#include <gtest/gtest.h>

#include <string>

namespace telvora {

/// What every Application promises. `Subject` is made without arguments and has
/// `Application& application()`, which can open nothing at first, and
/// `void install(const std::string& url)`: a program handles that URL from now on.
template<typename Subject> class ApplicationContract : public testing::Test {
protected:
    static constexpr auto url = "cydia://package/com.example.package";

    bool canOpen(const std::string& text) { return subject.application().canOpenURL(text); }

    Subject subject;
};

TYPED_TEST_SUITE_P(ApplicationContract);

TYPED_TEST_P(ApplicationContract, AURLWithoutAHandlerCannotBeOpened)
{
    EXPECT_FALSE(this->canOpen(this->url));
}

TYPED_TEST_P(ApplicationContract, AURLWithAHandlerCanBeOpened)
{
    this->subject.install(this->url);

    EXPECT_TRUE(this->canOpen(this->url));
    EXPECT_FALSE(this->canOpen("other://package"));
}

TYPED_TEST_P(ApplicationContract, ATextThatIsNoURLCannotBeOpened)
{
    this->subject.install(this->url);

    for (const char* text : { "", "cydia", "://", "/cydia://package" })
        EXPECT_FALSE(this->canOpen(text)) << text;
}

REGISTER_TYPED_TEST_SUITE_P(ApplicationContract, AURLWithoutAHandlerCannotBeOpened,
    AURLWithAHandlerCanBeOpened, ATextThatIsNoURLCannotBeOpened);

} // namespace telvora
