#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Version.h>
#include <Telvora/Platform/Clock.h>
#include <Telvora/Platform/Platform.h>

#include <cstdio>

int main()
{
    static_assert(TELVORA_VERSION >= 100);

    telvora::Dictionary event;
    event["name"] = "package.tried";
    const auto text = telvora::encode(event);
    const bool ticks = telvora::platform().clock.secondsSince1970() > 0;

    std::printf("Telvora %s %s\n", TELVORA_VERSION_TEXT, text.value_or("").c_str());
    return ticks && text == R"({"name":"package.tried"})" ? 0 : 1;
}
