#pragma once

#include <Telvora/Platform/ScreenHierarchy.h>

#include <gtest/gtest.h>

namespace telvora {

/// What every ScreenHierarchy promises. `Subject` is made without arguments and has
/// `ScreenHierarchy& screens()`, which has no window at first, `void open()`: a window whose root
/// is a page of class "Page" is the key window from now on, `void closeRoot()`: that page is gone
/// and the window empty, and `void close()`: there is no key window any more.
template<typename Subject> class ScreenHierarchyContract : public testing::Test {
protected:
    ScreenHierarchy& screens() { return subject.screens(); }

    Subject subject;
};

TYPED_TEST_SUITE_P(ScreenHierarchyContract);

TYPED_TEST_P(ScreenHierarchyContract, WithoutAWindowThereIsNoKeyWindow)
{
    EXPECT_EQ(this->screens().keyWindow(), nullptr);

    this->subject.open();
    this->subject.close();
    EXPECT_EQ(this->screens().keyWindow(), nullptr);
}

TYPED_TEST_P(ScreenHierarchyContract, TheKeyWindowShowsItsRoot)
{
    this->subject.open();

    const auto window = this->screens().keyWindow();
    ASSERT_TRUE(window && window->rootViewController());
    EXPECT_EQ(window->rootViewController()->className(), "Page");
}

TYPED_TEST_P(ScreenHierarchyContract, AWindowMayBeEmpty)
{
    this->subject.open();
    this->subject.closeRoot();

    ASSERT_NE(this->screens().keyWindow(), nullptr);
    EXPECT_EQ(this->screens().keyWindow()->rootViewController(), nullptr);
}

REGISTER_TYPED_TEST_SUITE_P(ScreenHierarchyContract, WithoutAWindowThereIsNoKeyWindow,
    TheKeyWindowShowsItsRoot, AWindowMayBeEmpty);

} // namespace telvora
