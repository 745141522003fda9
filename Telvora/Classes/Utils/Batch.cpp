#include <Telvora/Classes/Utils/Batch.h>

namespace telvora {

namespace {

class OwnedDictionary {
public:
    explicit OwnedDictionary(Dictionary dictionary)
        : value(std::move(dictionary))
    {
    }
    ~OwnedDictionary() { dispose(std::move(value)); }

    OwnedDictionary(const OwnedDictionary&) = delete;
    OwnedDictionary& operator=(const OwnedDictionary&) = delete;

    Dictionary value;
};

} // namespace

Batch makeBatch(Dictionary dictionary)
{
    auto owner = std::make_shared<OwnedDictionary>(std::move(dictionary));
    return Batch(owner, &owner->value);
}

} // namespace telvora
