#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/LoggableKit/Classes/QuorvexLogCategory.h>

#include <string>
#include <vector>

namespace telvora {

/// Which categories would also be printed locally. A value; copy it freely.
///
/// Deliberate: nothing prints in this library, so the verdict is there for the host to ask for.
class TELVORA_EXPORT QuorvexLogFilter {
public:
    using Category = QuorvexLogCategory;

    /// Only the listed ones; with an empty list none.
    static QuorvexLogFilter including(std::vector<Category> list);
    /// All but the listed ones; with an empty list all.
    static QuorvexLogFilter excluding(std::vector<Category> list);
    static QuorvexLogFilter all();
    static QuorvexLogFilter none();

    static QuorvexLogFilter onlyUI() { return including(uiCategories()); }
    static QuorvexLogFilter hideUI() { return excluding(uiCategories()); }
    static QuorvexLogFilter onlyNetworking() { return including(networkingCategories()); }
    static QuorvexLogFilter hideNetworking() { return excluding(networkingCategories()); }
    static QuorvexLogFilter only(std::string category)
    {
        return including({ Category(std::move(category)) });
    }

    static std::vector<Category> uiCategories();
    static std::vector<Category> networkingCategories();

    bool needToPrint(const Category& category) const;

private:
    enum class Kind {
        including,
        excluding,
        all,
        none,
    };

    QuorvexLogFilter(Kind kind, std::vector<Category> list)
        : m_kind(kind)
        , m_list(std::move(list))
    {
    }

    Kind m_kind;
    std::vector<Category> m_list;
};

} // namespace telvora
