// [dictionary]
#include <Telvora/Base/Dictionary.h>

#include <iostream>

int main()
{
    telvora::Dictionary event { { "name", "order.submit" }, { "ms", 12.5 } };
    std::cout << telvora::encode(event).value_or("a number is not finite") << '\n';
}
// [dictionary]
